#include "SharedFile.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace hostwindows
{
namespace
{

// Each opening claims bytes far behind any contents with shared locks: they belong to the opening, not to the
// process, and go with it, however the process ends. In this order what most openings claim lies side by side.
constexpr ::off_t deniesReading = ::off_t{1} << 62;
constexpr ::off_t deniesWriting = deniesReading + 1;
constexpr ::off_t deniesDeleting = deniesReading + 2;
constexpr ::off_t reads = deniesReading + 3;
constexpr ::off_t writes = deniesReading + 4;
constexpr ::off_t claimCount = 5;

constexpr int patienceMilliseconds = 2000;

struct ::flock Claim(short type, ::off_t first, ::off_t count)
{
    struct ::flock claim
    {
    };
    claim.l_type = type;
    claim.l_whence = SEEK_SET;
    claim.l_start = first;
    claim.l_len = count;
    return claim;
}

bool ClaimedByOthers(int descriptor, ::off_t first, ::off_t count)
{
    struct ::flock claim = Claim(F_WRLCK, first, count);
    return ::fcntl(descriptor, F_OFD_GETLK, &claim) == 0 && claim.l_type != F_UNLCK;
}

/// Takes the file's lock unless another has it; on a file system without locks there is nothing to keep apart.
bool LockAtOnce(int descriptor)
{
    return ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR);
}

bool ClaimSharing(int descriptor, DWORD access, DWORD sharing)
{
    struct Rule
    {
        bool applies;
        ::off_t conflict; // another's claim that stands against this opening
        ::off_t claim;
    };
    const Rule rules[] = {
        {(sharing & FILE_SHARE_READ) == 0, reads, deniesReading},
        {(sharing & FILE_SHARE_WRITE) == 0, writes, deniesWriting},
        {(sharing & FILE_SHARE_DELETE) == 0, 0, deniesDeleting},
        {(access & GENERIC_READ) != 0, deniesReading, reads},
        {(access & GENERIC_WRITE) != 0, deniesWriting, writes},
        {(access & DELETE) != 0, deniesDeleting, 0},
    };
    if (ClaimedByOthers(descriptor, deniesReading, claimCount))
        for (const Rule& rule : rules)
            if (rule.applies && rule.conflict != 0 && ClaimedByOthers(descriptor, rule.conflict, 1))
                return false;
    // The claims ascend: neighbours are taken in one call.
    ::off_t first = 0;
    ::off_t count = 0;
    const auto take = [&] {
        struct ::flock claim = Claim(F_RDLCK, first, count);
        if (count != 0)
            ::fcntl(descriptor, F_OFD_SETLK, &claim);
    };
    for (const Rule& rule : rules)
        if (rule.applies && rule.claim != 0)
        {
            if (rule.claim != first + count)
            {
                take();
                first = rule.claim;
                count = 0;
            }
            ++count;
        }
    take();
    return true;
}

DWORD WriteAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ::ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return ErrorFromErrno(errno);
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return NO_ERROR;
}

/// The sibling that becomes the new file. Its writer holds its lock; one whose lock is free was left by a killed
/// writer and is removed. Its name is the same each time, so that no second one can be left behind.
class Sibling
{
public:
    explicit Sibling(const std::string& path)
    {
        constexpr std::size_t longestName = 240;
        const std::size_t nameAt = path.rfind('/') + 1;
        m_path = path.substr(0, nameAt) + "." + path.substr(nameAt, longestName) + ".new";
    }
    Sibling(const Sibling&) = delete;
    Sibling& operator=(const Sibling&) = delete;
    ~Sibling()
    {
        if (m_descriptor < 0)
            return;
        if (!m_placed)
            ::unlink(m_path.c_str());
        ::close(m_descriptor);
    }

    DWORD Create()
    {
        for (int waited = 0; waited < patienceMilliseconds; ++waited)
        {
            const int made = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (made >= 0)
            {
                if (LockAtOnce(made) && ::fstat(made, &m_status) == 0 && m_status.st_nlink != 0)
                {
                    m_descriptor = made;
                    return NO_ERROR;
                }
                ::close(made); // taken for a leftover between the two calls
            }
            else if (errno != EEXIST)
                return ErrorFromErrno(errno);
            else if (const DWORD error = RemoveLeftover(); error == ERROR_BUSY)
            {
                const ::timespec millisecond{0, 1000000};
                ::nanosleep(&millisecond, nullptr);
            }
            else if (error != NO_ERROR)
                return error;
        }
        return ERROR_SHARING_VIOLATION;
    }

    DWORD Place(const std::string& path)
    {
        if (::rename(m_path.c_str(), path.c_str()) != 0)
            return ErrorFromErrno(errno);
        m_placed = true;
        return NO_ERROR;
    }

    int Descriptor() const { return m_descriptor; }
    const struct ::stat& Status() const { return m_status; } ///< as it was made

private:
    DWORD Unlink() const { return ::unlink(m_path.c_str()) == 0 || errno == ENOENT ? NO_ERROR : ErrorFromErrno(errno); }

    /// @return 0, or ERROR_BUSY when it is no leftover but has a writer, or why it cannot be removed
    DWORD RemoveLeftover() const
    {
        const int left = ::open(m_path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (left < 0) // a link, or closed to us
            return Unlink();
        struct ::stat opened
        {
        };
        struct ::stat named
        {
        };
        const bool isLeftover = LockAtOnce(left) && ::fstat(left, &opened) == 0 &&
                                ::lstat(m_path.c_str(), &named) == 0 && opened.st_ino == named.st_ino;
        const DWORD error = isLeftover ? Unlink() : ERROR_BUSY;
        ::close(left);
        return error;
    }

    std::string m_path;
    struct ::stat m_status
    {
    };
    int m_descriptor = -1;
    bool m_placed = false;
};

} // namespace

SharedFile::SharedFile(SharedFile&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

SharedFile& SharedFile::operator=(SharedFile&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

SharedFile::~SharedFile()
{
    Close();
}

DWORD SharedFile::Open(const std::string& path, DWORD access, DWORD sharing, int flags, unsigned mode)
{
    Close();
    if ((flags & O_TRUNC) != 0)
        access |= GENERIC_WRITE;
    const bool writing = (access & GENERIC_WRITE) != 0;
    int accessFlags = writing ? O_RDWR : O_RDONLY; // claims are shared locks, and those need reading
    if ((access & (GENERIC_READ | GENERIC_WRITE | DELETE)) == 0 && (flags & O_CREAT) == 0)
        accessFlags = O_PATH;
    // Truncated only when the sharing allows it. Nothing here may wait for the other end of a pipe.
    const int descriptor =
        ::open(path.c_str(), accessFlags | (flags & ~O_TRUNC) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
    if (descriptor < 0)
        return errno == EEXIST ? ERROR_FILE_EXISTS : (errno == ENXIO ? ERROR_ACCESS_DENIED : ErrorFromErrno(errno));
    SharedFile opened;
    opened.m_descriptor = descriptor;

    struct ::stat status
    {
    };
    if (::fstat(descriptor, &status) != 0)
        return ErrorFromErrno(errno);
    const bool folder = S_ISDIR(status.st_mode);
    if ((!S_ISREG(status.st_mode) && !folder) || (folder && (flags & O_DIRECTORY) == 0))
        return ERROR_ACCESS_DENIED;
    // Windows' read-only mark binds everybody, the administrator too.
    const bool readOnly = !folder && (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    if (readOnly && (writing || (access & DELETE) != 0))
        return ERROR_ACCESS_DENIED;
    if ((access & (GENERIC_READ | GENERIC_WRITE | DELETE)) != 0 && !folder)
    {
        if (!LockInTime(descriptor))
            return ERROR_SHARING_VIOLATION;
        const bool claimed = ClaimSharing(descriptor, access, sharing);
        ::flock(descriptor, LOCK_UN);
        if (!claimed)
            return ERROR_SHARING_VIOLATION;
    }
    if ((flags & O_TRUNC) != 0 && status.st_size != 0 && ::ftruncate(descriptor, 0) != 0)
        return ErrorFromErrno(errno);
    std::swap(m_descriptor, opened.m_descriptor);
    return NO_ERROR;
}

void SharedFile::Close()
{
    if (m_descriptor >= 0)
        ::close(std::exchange(m_descriptor, -1));
}

bool LockInTime(int descriptor)
{
    for (int waited = 0; !LockAtOnce(descriptor); ++waited)
    {
        if (waited == patienceMilliseconds)
            return false;
        const ::timespec millisecond{0, 1000000};
        ::nanosleep(&millisecond, nullptr);
    }
    return true;
}

DWORD ErrorFromErrno(int number)
{
    constexpr struct
    {
        int number;
        DWORD error;
    } table[] = {
        {ENOENT, ERROR_FILE_NOT_FOUND},
        {ENOTDIR, ERROR_PATH_NOT_FOUND},
        {ELOOP, ERROR_PATH_NOT_FOUND},
        {EACCES, ERROR_ACCESS_DENIED},
        {EPERM, ERROR_ACCESS_DENIED},
        {EISDIR, ERROR_ACCESS_DENIED},
        {ETXTBSY, ERROR_SHARING_VIOLATION},
        {EEXIST, ERROR_ALREADY_EXISTS},
        {EROFS, ERROR_WRITE_PROTECT},
        {ENOSPC, ERROR_DISK_FULL},
        {EDQUOT, ERROR_DISK_FULL},
        {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
        {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
        {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
        {EBADF, ERROR_INVALID_HANDLE},
        {EINVAL, ERROR_INVALID_PARAMETER},
        {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
        {EBUSY, ERROR_BUSY},
    };
    for (const auto& row : table)
        if (row.number == number)
            return row.error;
    return ERROR_GEN_FAILURE;
}

DWORD KeptFile::Read(const std::string& path)
{
    struct ::stat now
    {
    };
    const bool same = !m_path.empty() && path == m_path && ::stat(path.c_str(), &now) == 0 &&
                      now.st_ino == m_status.st_ino && now.st_dev == m_status.st_dev &&
                      now.st_size == m_status.st_size && now.st_ctim.tv_sec == m_status.st_ctim.tv_sec &&
                      now.st_ctim.tv_nsec == m_status.st_ctim.tv_nsec;
    if (!same)
    {
        m_path.clear();
        m_file.Open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK);
        if (!m_file.IsOpen() || ::fstat(m_file.Number(), &m_status) != 0)
            return errno == ENXIO ? ERROR_ACCESS_DENIED : ErrorFromErrno(errno);
        if (!S_ISREG(m_status.st_mode))
            return ERROR_ACCESS_DENIED;
    }
    // It claims nothing itself; it respects who keeps readers out.
    if (ClaimedByOthers(m_file.Number(), deniesReading, 1))
        return ERROR_SHARING_VIOLATION;
    if (same)
        return NO_ERROR;
    ::timespec clock{};
    ::clock_gettime(CLOCK_REALTIME, &clock);
    const DWORD error = ReadToEnd();
    // A change within the same tick of a file system's clock, a second at the most, would not show.
    if (error == NO_ERROR && clock.tv_sec > m_status.st_ctim.tv_sec + 1)
        m_path = path;
    return error;
}

DWORD KeptFile::ReadToEnd()
{
    if (static_cast<std::size_t>(m_status.st_size) > largestFile)
        return ERROR_NOT_ENOUGH_MEMORY;
    std::size_t filled = 0;
    constexpr std::size_t smallest = 4096;
    m_bytes.resize(static_cast<std::size_t>(m_status.st_size) + 1); // one more: the end shows in the first call
    for (;;)
    {
        const ::ssize_t count = ::read(m_file.Number(), m_bytes.data() + filled, m_bytes.size() - filled);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return ErrorFromErrno(errno);
        filled += static_cast<std::size_t>(count);
        if (count == 0 || filled < m_bytes.size())
            break;
        if (filled > largestFile) // it grows while it is read
            return ERROR_NOT_ENOUGH_MEMORY;
        m_bytes.resize(filled + smallest);
    }
    m_bytes.resize(filled);
    return NO_ERROR;
}

DWORD ReadWholeFile(const std::string& path, std::string& bytes)
{
    KeptFile file;
    const DWORD error = file.Read(path);
    bytes = error == NO_ERROR ? std::move(file.Bytes()) : std::string();
    return error;
}

DWORD ReplaceWholeFile(const std::string& path, std::string_view bytes)
{
    // The old file is held while it is replaced. A link is replaced itself: what it points to is none of ours.
    SharedFile old;
    struct ::stat status
    {
    };
    const bool present = ::lstat(path.c_str(), &status) == 0;
    const bool isLink = present && S_ISLNK(status.st_mode);
    if (present && !isLink)
        if (const DWORD error = old.Open(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, O_NOFOLLOW);
            error != NO_ERROR && error != ERROR_FILE_NOT_FOUND)
            return error;

    Sibling sibling(path);
    if (const DWORD error = sibling.Create(); error != NO_ERROR)
        return error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error;
    if (const DWORD error = WriteAll(sibling.Descriptor(), bytes); error != NO_ERROR)
        return error;
    const struct ::stat& made = sibling.Status();
    if (old.IsOpen() && (status.st_uid != made.st_uid || status.st_gid != made.st_gid))
        (void)!::fchown(sibling.Descriptor(), status.st_uid, status.st_gid);
    if (old.IsOpen() && status.st_mode != made.st_mode && ::fchmod(sibling.Descriptor(), status.st_mode & 07777) != 0)
        return ErrorFromErrno(errno);
    return sibling.Place(path);
}

} // namespace hostwindows
