// Runs the target once for each file of a folder, without the fuzzer.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int, char** arguments)
{
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) // throws when there is none
    {
        std::cerr << entry.path() << std::endl; // the last one is the finding
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string input(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    }
}
