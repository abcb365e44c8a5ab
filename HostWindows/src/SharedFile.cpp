#include "SharedFile.h"

#include <bit>
#include <ctime>
#include <sys/file.h>
#include <sys/stat.h>

namespace hostwindows
{
namespace
{

// Each opening claims bytes far behind any contents with shared locks: they belong to the opening, not to the
// process, and go with it, however the process ends. In this order what most openings claim lies side by side.
constexpr ::off_t firstClaim = ::off_t{1} << 62;
enum Claim : unsigned
{
    deniesReading = 1,
    deniesWriting = 2,
    deniesDeleting = 4,
    reads = 8,
    writes = 16,
};
constexpr int claimCount = 5;

constexpr int patienceMilliseconds = 2000;
constexpr std::size_t largestFile = std::size_t{64} * 1024 * 1024;
constexpr ::mode_t writeBits = S_IWUSR | S_IWGRP | S_IWOTH;

/// Takes a file's one lock, which goes with the descriptor; true as well on a file system without locks, where there is
/// nothing to keep apart. @return false when another has kept it all the time
bool LockInTime(int descriptor)
{
    constexpr ::timespec millisecond{0, 1000000};
    for (int waited = 0; ::flock(descriptor, LOCK_EX | LOCK_NB) != 0; ++waited)
    {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return true;
        if (waited == patienceMilliseconds)
            return false;
        ::nanosleep(&millisecond, nullptr);
    }
    return true;
}

bool ClaimSharing(const Descriptor& file, DWORD access, DWORD sharing)
{
    const struct
    {
        bool applies;
        unsigned conflict; // another's claim that stands against this opening
        unsigned claim;
    } rules[] = {
        {(sharing & FILE_SHARE_READ) == 0, reads, deniesReading},
        {(sharing & FILE_SHARE_WRITE) == 0, writes, deniesWriting},
        {(sharing & FILE_SHARE_DELETE) == 0, 0, deniesDeleting},
        {(access & GENERIC_READ) != 0, deniesReading, reads},
        {(access & GENERIC_WRITE) != 0, deniesWriting, writes},
        {(access & DELETE) != 0, deniesDeleting, 0},
    };
    unsigned claims = 0;
    const bool claimed = file.IsLockedElsewhere(firstClaim, claimCount);
    for (const auto& [applies, conflict, claim] : rules)
        if (applies)
        {
            if (claimed && conflict != 0 && file.IsLockedElsewhere(firstClaim + std::countr_zero(conflict), 1))
                return false;
            claims |= claim;
        }
    // Neighbours are taken in one call.
    for (int first = 0, count = 0; claims >> first != 0; first += count)
    {
        first += std::countr_zero(claims >> first);
        count = std::countr_one(claims >> first);
        file.Lock(firstClaim + first, count);
    }
    return true;
}

/// Gives a new file the owner, if that can be, and the mode of another.
DWORD TakeAfter(int descriptor, const struct ::stat& other)
{
    struct ::stat made;
    if (::fstat(descriptor, &made) != 0)
        return ErrorFromErrno(errno);
    if (other.st_uid != made.st_uid || other.st_gid != made.st_gid)
        (void)!::fchown(descriptor, other.st_uid, other.st_gid);
    const bool same = other.st_mode == made.st_mode;
    return same || ::fchmod(descriptor, other.st_mode & 07777) == 0 ? NO_ERROR : ErrorFromErrno(errno);
}

} // namespace

DWORD OpenShared(Descriptor& file, const std::string& path, DWORD access, DWORD sharing, int flags)
{
    access |= (flags & O_TRUNC) != 0 ? GENERIC_WRITE : 0;
    const bool writing = (access & GENERIC_WRITE) != 0;
    const bool claiming = (access & (GENERIC_READ | GENERIC_WRITE | DELETE)) != 0;
    int accessFlags = writing ? O_RDWR : O_RDONLY; // claims are shared locks, and those need reading
    if (!claiming && (flags & O_CREAT) == 0)
        accessFlags = O_PATH;
    // Truncated only when the sharing allows it. Nothing here may wait for the other end of a pipe.
    Descriptor opened;
    opened.Open(path, accessFlags | (flags & ~O_TRUNC) | O_NOCTTY | O_NONBLOCK, 0666);
    struct ::stat status;
    if (!opened.IsOpen() || ::fstat(opened.Number(), &status) != 0)
        return errno == EEXIST ? ERROR_FILE_EXISTS : ErrorFromErrno(errno);
    const bool folder = S_ISDIR(status.st_mode);
    // Windows' read-only mark binds everybody, the administrator too.
    const bool readOnly = !folder && (status.st_mode & writeBits) == 0;
    if ((!S_ISREG(status.st_mode) && !folder) || (folder && (flags & O_DIRECTORY) == 0) ||
        (readOnly && (access & (GENERIC_WRITE | DELETE)) != 0))
        return ERROR_ACCESS_DENIED;
    if (claiming && !folder)
    {
        if (!LockInTime(opened.Number()))
            return ERROR_SHARING_VIOLATION;
        const bool claimed = ClaimSharing(opened, access, sharing);
        ::flock(opened.Number(), LOCK_UN);
        if (!claimed)
            return ERROR_SHARING_VIOLATION;
    }
    if ((flags & O_TRUNC) != 0 && status.st_size != 0 && ::ftruncate(opened.Number(), 0) != 0)
        return ErrorFromErrno(errno);
    file = std::move(opened);
    return NO_ERROR;
}

std::string FolderOf(const std::string& path)
{
    return path.find('/') == std::string::npos ? "./" : path.substr(0, path.rfind('/') + 1);
}

FolderLock::FolderLock(const std::string& folder)
{
    m_folder.Open(folder, O_RDONLY | O_DIRECTORY);
    if (m_folder.IsOpen())
        Take();
    else
        m_error = errno == ENOENT ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(errno);
}

void FolderLock::Release()
{
    ::flock(m_folder.Number(), LOCK_UN);
}

void FolderLock::Take()
{
    m_error = LockInTime(m_folder.Number()) ? NO_ERROR : ERROR_SHARING_VIOLATION;
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
        {ENXIO, ERROR_ACCESS_DENIED}, // a pipe or a terminal without its other end
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

DWORD WriteAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ::ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return ErrorFromErrno(errno);
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return NO_ERROR;
}

DWORD KeptFile::Read(const std::string& path, const struct ::stat& now)
{
    const bool same = path == m_path && now.st_ino == m_status.st_ino && now.st_dev == m_status.st_dev &&
                      now.st_size == m_status.st_size && now.st_ctim.tv_sec == m_status.st_ctim.tv_sec &&
                      now.st_ctim.tv_nsec == m_status.st_ctim.tv_nsec;
    if (!same)
    {
        m_path.clear();
        m_file.Open(path, O_RDONLY | O_NOCTTY | O_NONBLOCK);
        if (!m_file.IsOpen() || ::fstat(m_file.Number(), &m_status) != 0)
            return ErrorFromErrno(errno);
        if (!S_ISREG(m_status.st_mode))
            return ERROR_ACCESS_DENIED;
    }
    // It claims nothing itself; it respects who keeps readers out.
    if (m_file.IsLockedElsewhere(firstClaim + std::countr_zero(+deniesReading), 1))
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
    // At first one byte more than there is, so that the end shows in the first call; more when it grows meanwhile.
    std::size_t filled = 0;
    for (auto room = static_cast<std::size_t>(m_status.st_size) + 1; room <= largestFile + 1; room *= 2)
    {
        m_bytes.resize(room);
        const ::ssize_t count = m_file.Read(m_bytes.data() + filled, room - filled);
        if (count < 0)
            return ErrorFromErrno(errno);
        filled += static_cast<std::size_t>(count);
        if (filled < room)
            return m_bytes.resize(filled), NO_ERROR;
    }
    return ERROR_NOT_ENOUGH_MEMORY;
}

DWORD ReadWholeFile(const std::string& path, std::string& bytes)
{
    KeptFile file;
    const DWORD error = file.Read(path);
    bytes = error == NO_ERROR ? std::move(file.Bytes()) : std::string();
    return error;
}

DWORD ReplaceWholeFile(const FolderLock& lock, const std::string& path, std::string_view bytes)
{
    if (lock.Error() != NO_ERROR)
        return lock.Error();
    // The old file is held while it is replaced. A link is replaced itself: what it points to is none of ours.
    Descriptor old;
    struct ::stat status;
    if (::lstat(path.c_str(), &status) == 0 && !S_ISLNK(status.st_mode))
        if (const DWORD error = OpenShared(old, path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, O_NOFOLLOW);
            error != NO_ERROR && error != ERROR_FILE_NOT_FOUND)
            return error;

    // Of the same name each time: what is there was left by a killed writer, which no second one can be.
    constexpr std::size_t longestName = 240;
    const std::size_t nameAt = path.rfind('/') + 1;
    const std::string sibling = path.substr(0, nameAt) + "." + path.substr(nameAt, longestName) + ".new";
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL;
    Descriptor file;
    file.Open(sibling, flags, 0666);
    if (!file.IsOpen() && errno == EEXIST && ::unlink(sibling.c_str()) == 0)
        file.Open(sibling, flags, 0666);
    if (!file.IsOpen())
        return ErrorFromErrno(errno);
    DWORD error = WriteAll(file.Number(), bytes);
    if (error == NO_ERROR && old.IsOpen())
        error = TakeAfter(file.Number(), status);
    if (error == NO_ERROR && ::rename(sibling.c_str(), path.c_str()) != 0)
        error = ErrorFromErrno(errno);
    if (error != NO_ERROR)
        ::unlink(sibling.c_str());
    return error;
}

} // namespace hostwindows
