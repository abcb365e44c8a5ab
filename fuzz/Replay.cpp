// Runs a target once for each file of a folder, without the fuzzer.
#include "Fuzz.h"

#include <filesystem>
#include <set>

int main(int count, char** arguments)
{
    namespace fs = std::filesystem;
    std::error_code error;
    std::set<fs::path> files;
    if (count == 2)
        for (const fs::directory_entry& entry : fs::directory_iterator(arguments[1], error))
            files.insert(entry.path());
    if (files.empty())
    {
        std::cerr << "usage: " << arguments[0] << " FOLDER (of inputs, at least one)\n";
        return 2;
    }
    for (const fs::path& path : files)
    {
        std::cerr << path.filename().string() << std::endl; // a finding is the last one
        std::ifstream file(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
}
