// Runs a target once for each file of a folder, without the fuzzer.
#include "Fuzz.h"

#include <filesystem>
#include <set>

int main(int count, char** arguments)
{
    namespace fs = std::filesystem;
    const fs::directory_iterator folder(count == 2 ? arguments[1] : "");
    const std::set<fs::path> files(begin(folder), end(folder));
    fuzz::Require(!files.empty(), "the folder holds inputs");
    for (const fs::path& path : files)
    {
        std::cerr << path.filename().string() << std::endl; // a finding is the last one
        const std::string bytes = fuzz::BytesOf(path);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
}
