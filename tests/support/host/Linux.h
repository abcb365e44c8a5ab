// The Linux side of what the tests of the stand-in look at.
#pragma once

#include "TestSupport.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace test
{

/// Of a path whose letter case is right.
inline std::string LinuxPath(const Wide& windowsPath)
{
    std::string path = ToUtf8(windowsPath).substr(2);
    std::replace(path.begin(), path.end(), '\\', '/');
    return windowsPath.front() == 'C' ? std::getenv("HOSTWINDOWS_ROOT") + ("/drive_c" + path) : path;
}

inline std::string FileText(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::size_t EntriesIn(const std::filesystem::path& folder)
{
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

} // namespace test
