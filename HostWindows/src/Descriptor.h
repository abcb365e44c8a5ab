// Owner of a Linux file descriptor, and the locks on it that belong to its open file description.
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace hostwindows
{

/// Its locks hold between descriptors as well as between processes, and a killed process loses them.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
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

    /// Takes or gives back (F_UNLCK) a lock of the whole file. @return false with errno when it cannot be had
    bool LockWhole(short type, bool wait) const
    {
        struct ::flock lock = WholeFile(type);
        while (::fcntl(m_number, wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock) != 0)
            if (errno != EINTR)
                return false;
        return true;
    }
    /// Whether another open file description holds a lock on the file.
    bool IsLockedElsewhere() const
    {
        struct ::flock lock = WholeFile(F_WRLCK);
        return ::fcntl(m_number, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    }

private:
    static struct ::flock WholeFile(short type)
    {
        struct ::flock lock
        {
        };
        lock.l_type = type;
        lock.l_whence = SEEK_SET;
        return lock;
    }

    int m_number = -1;
};

} // namespace hostwindows
