// Owner of a Linux file descriptor, and the locks on it that belong to its open file description.
#pragma once

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace hostwindows
{

/// Its locks hold between descriptors as well as between processes, and a killed process loses them. They are of the
/// whole file unless a first byte and a number of bytes are given.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Descriptor()
    {
        if (IsOpen())
            ::close(m_number);
    }

    /// On failure it is not open, and errno says why.
    void Open(const std::string& path, int flags, unsigned mode = 0)
    {
        *this = Descriptor(::open(path.c_str(), flags | O_CLOEXEC, mode));
    }
    bool IsOpen() const { return m_number >= 0; }
    int Number() const { return m_number; }

    /// @return the bytes read, 0 at the end, or -1 with errno
    ::ssize_t Read(void* bytes, std::size_t room) const
    {
        ::ssize_t count = 0;
        do
            count = ::read(m_number, bytes, room);
        while (count < 0 && errno == EINTR);
        return count;
    }

    /// Takes or gives back (F_UNLCK) a lock. @return false with errno when it cannot be had
    bool Lock(short type, int command = F_OFD_SETLK, ::off_t first = 0, ::off_t count = 0) const
    {
        struct ::flock lock = {type, SEEK_SET, first, count, 0};
        int result = 0;
        while ((result = ::fcntl(m_number, command, &lock)) != 0 && errno == EINTR)
            continue;
        return result == 0;
    }
    /// Whether another open file description holds a lock there.
    bool IsLockedElsewhere(::off_t first = 0, ::off_t count = 0) const
    {
        struct ::flock lock = {F_WRLCK, SEEK_SET, first, count, 0};
        return ::fcntl(m_number, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    }

private:
    int m_number;
};

} // namespace hostwindows
