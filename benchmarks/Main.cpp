// Runs the works that google-benchmark's own arguments choose, on a machine folder of their own.
#include "Works.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

const std::string& benchmarks::WorkFolder()
{
    static const std::string folder = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "scankelv-benchmarks-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::filesystem::filesystem_error(
                "cannot be made", pattern, std::error_code(errno, std::generic_category()));
        return pattern;
    }();
    return folder;
}

int main(int count, char** arguments)
try
{
#ifndef __OPTIMIZE__
    throw std::runtime_error("built without optimisation, nothing is measured");
#endif
    const std::string folder = benchmarks::WorkFolder();
    // Before the first use of anything that looks for the machine.
    ::setenv("HOSTWINDOWS_ROOT", (folder + "/machine").c_str(), 1);
    ::setenv("HOSTWINDOWS_DEBUG_CONSOLE", (folder + "/console.txt").c_str(), 1);
    ::setenv("LOGNAME", "bench", 1);
    benchmarks::AddTextWorks();
    benchmarks::AddStorageWorks();
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return EXIT_SUCCESS;
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "benchmarks: %s\n", error.what());
    return EXIT_FAILURE;
}
