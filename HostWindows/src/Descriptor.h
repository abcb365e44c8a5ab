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

/// Its locks on bytes hold between descriptors as well as between processes, and a killed process loses them.
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

    /// Takes a shared lock where no other kind is.
    void Lock(::off_t first, ::off_t count) const
    {
        struct ::flock lock = {F_RDLCK, SEEK_SET, first, count, 0};
        while (::fcntl(m_number, F_OFD_SETLK, &lock) != 0 && errno == EINTR)
            continue;
    }
    /// Whether another open file description holds a lock there.
    bool IsLockedElsewhere(::off_t first, ::off_t count) const
    {
        struct ::flock lock = {F_WRLCK, SEEK_SET, first, count, 0};
        return ::fcntl(m_number, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    }

private:
    int m_number;
};

} // namespace hostwindows
