// Files as cheaply as Linux has them, for the floors.
#pragma once

#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace benchmarks
{

inline std::string ReadWhole(const std::string& path)
{
    const int file = ::open(path.c_str(), O_RDONLY);
    struct ::stat status
    {
    };
    ::fstat(file, &status);
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    if (::read(file, bytes.data(), bytes.size()) != static_cast<::ssize_t>(bytes.size()))
        throw std::runtime_error("cannot read " + path);
    ::close(file);
    return bytes;
}

inline void WriteWhole(const std::string& path, std::string_view bytes)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (::write(file, bytes.data(), bytes.size()) != static_cast<::ssize_t>(bytes.size()))
        throw std::runtime_error("cannot write " + path);
    ::close(file);
}

inline void ReplaceWhole(const std::string& path, std::string_view bytes)
{
    WriteWhole(path + ".new", bytes);
    ::rename((path + ".new").c_str(), path.c_str());
}

} // namespace benchmarks
