// Runs a target once for each file of a folder, without the fuzzer.
#include "Fuzz.h"

#include <filesystem>
#include <fstream>

int main(int, char** arguments)
{
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) // throws when there is none
    {
        std::fprintf(stderr, "%s\n", entry.path().c_str()); // the last one is the finding
        std::ifstream file(entry.path(), std::ios::binary);
        fuzz::Try(std::string(std::istreambuf_iterator<char>(file), {}));
    }
}
