// Files, folders and the temporary path.
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace hostwindows
{
namespace
{

class FileObject final : public HandleObject
{
public:
    FileObject(SharedFile file, DWORD access) : m_file(std::move(file)), m_access(access) {}

    int Descriptor() const { return m_file.Descriptor(); }
    bool MayRead() const { return (m_access & (GENERIC_READ | GENERIC_ALL)) != 0; }
    bool MayWrite() const { return (m_access & (GENERIC_WRITE | GENERIC_ALL)) != 0; }

private:
    SharedFile m_file;
    DWORD m_access;
};

BOOL Failed(DWORD error)
{
    ::SetLastError(error);
    return FALSE;
}

BOOL Result(int status)
{
    return status == 0 ? TRUE : Failed(ErrorFromErrno(errno));
}

FoundPath Find(LPCWSTR name)
{
    return FindPath(name == nullptr ? std::u16string_view() : std::u16string_view(name));
}

/// Of what exists; a missing file gives 2.
FoundPath FindExisting(LPCWSTR name)
{
    FoundPath found = Find(name);
    if (found.error == NO_ERROR && !found.exists)
        found.error = ERROR_FILE_NOT_FOUND;
    return found;
}

/// @return 0 or why a file or folder that is there, or is not, cannot be opened this way
DWORD Refusal(const FoundPath& found, DWORD disposition, DWORD flags)
{
    const bool mustExist = disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING;
    if (!found.exists && mustExist)
        return ERROR_FILE_NOT_FOUND;
    if (found.exists && disposition == CREATE_NEW)
        return ERROR_FILE_EXISTS;
    if (found.isFolder)
        return disposition == OPEN_EXISTING && (flags & FILE_FLAG_BACKUP_SEMANTICS) != 0 ? NO_ERROR
                                                                                         : ERROR_ACCESS_DENIED;
    return found.folderNeeded ? ERROR_INVALID_NAME : NO_ERROR;
}

int OpenFlags(const FoundPath& found, DWORD disposition)
{
    if (found.isFolder)
        return O_DIRECTORY;
    switch (disposition)
    {
    case CREATE_NEW:
        return O_CREAT | O_EXCL;
    case CREATE_ALWAYS:
        return O_CREAT | O_TRUNC;
    case OPEN_ALWAYS:
        return O_CREAT;
    case TRUNCATE_EXISTING:
        return O_TRUNC;
    default:
        return 0;
    }
}

HANDLE OpenFile(const FoundPath& found, DWORD access, DWORD sharing, DWORD disposition, DWORD flags)
{
    DWORD error = found.error;
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING)
        error = ERROR_INVALID_PARAMETER;
    if (error == NO_ERROR)
        error = Refusal(found, disposition, flags);
    SharedFile file;
    if (error == NO_ERROR)
    {
        const DWORD both = GENERIC_READ | GENERIC_WRITE;
        // A folder is never opened for writing in Linux; its handle only proves that it is there.
        const DWORD wanted = found.isFolder ? 0 : access | ((access & GENERIC_ALL) != 0 ? both : 0);
        error = file.Open(found.path, wanted, sharing, OpenFlags(found, disposition));
    }
    if (error != NO_ERROR)
    {
        ::SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    HANDLE handle = MakeHandle(std::make_unique<FileObject>(std::move(file), found.isFolder ? 0 : access));
    if (handle == nullptr)
        return INVALID_HANDLE_VALUE;
    const bool tolerant = disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    ::SetLastError(tolerant && found.exists ? ERROR_ALREADY_EXISTS : NO_ERROR);
    return handle;
}

BOOL MakeFolder(const FoundPath& found)
{
    if (found.error != NO_ERROR)
        return Failed(found.error);
    return found.exists ? Failed(ERROR_ALREADY_EXISTS) : Result(::mkdir(found.path.c_str(), 0777));
}

std::u16string TemporaryPath()
{
    std::string value;
    for (const char* name : {"TMP", "TEMP", "USERPROFILE"})
        if (const char* text = std::getenv(name); value.empty() && text != nullptr)
            value = text;
    std::u16string path = value.empty() ? UserProfile() + u"\\AppData\\Local\\Temp" : Utf16FromUtf8(value);
    // On Windows a full path; a Linux one lies on the drive of the Linux root.
    if (path.front() == u'/')
        path = WindowsPath(value);
    else if (const FoundPath found = FindPath(path); !found.path.empty())
        path = WindowsPath(found.path);
    while (!path.empty() && path.back() == u'\\')
        path.pop_back();
    return path + u"\\";
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

HANDLE
CreateFileW(LPCWSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD flags, HANDLE)
{
    return OpenFile(Find(name), access, sharing, disposition, flags);
}

HANDLE
CreateFileA(LPCSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD flags, HANDLE)
{
    return OpenFile(
        FindPath(Utf16FromUtf8(name == nullptr ? std::string_view() : name)), access, sharing, disposition, flags);
}

BOOL ReadFile(HANDLE file, LPVOID bytes, DWORD room, LPDWORD count, LPOVERLAPPED)
{
    if (count != nullptr)
        *count = 0;
    const auto* object = ObjectOf<FileObject>(file);
    if (object == nullptr)
        return FALSE;
    if (!object->MayRead())
        return Failed(ERROR_ACCESS_DENIED);
    ::ssize_t got = 0;
    do
        got = ::read(object->Descriptor(), bytes, room);
    while (got < 0 && errno == EINTR);
    if (got < 0)
        return Failed(ErrorFromErrno(errno));
    if (count != nullptr)
        *count = static_cast<DWORD>(got);
    return TRUE;
}

BOOL WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD count, LPOVERLAPPED)
{
    if (count != nullptr)
        *count = 0;
    const auto* object = ObjectOf<FileObject>(file);
    if (object == nullptr)
        return FALSE;
    if (!object->MayWrite())
        return Failed(ERROR_ACCESS_DENIED);
    for (DWORD written = 0; written < size;)
    {
        const ::ssize_t got = ::write(object->Descriptor(), static_cast<const char*>(bytes) + written, size - written);
        if (got < 0 && errno != EINTR)
            return Failed(ErrorFromErrno(errno));
        written += got > 0 ? static_cast<DWORD>(got) : 0;
        if (count != nullptr)
            *count = written;
    }
    return TRUE;
}

DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method)
{
    const auto* object = ObjectOf<FileObject>(file);
    if (object == nullptr)
        return INVALID_SET_FILE_POINTER;
    constexpr int whence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (method > FILE_END)
    {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    ::off_t offset = distance;
    if (distanceHigh != nullptr)
        offset = static_cast<::off_t>(
            (static_cast<ULONGLONG>(static_cast<DWORD>(*distanceHigh)) << 32) | static_cast<DWORD>(distance));
    const ::off_t position = ::lseek(object->Descriptor(), offset, whence[method]);
    if (position < 0)
    {
        ::SetLastError(errno == EINVAL ? ERROR_NEGATIVE_SEEK : ErrorFromErrno(errno));
        return INVALID_SET_FILE_POINTER;
    }
    if (distanceHigh != nullptr)
        *distanceHigh = static_cast<LONG>(position >> 32);
    return static_cast<DWORD>(position & 0xFFFFFFFF);
}

BOOL DeleteFileW(LPCWSTR name)
{
    const FoundPath found = FindExisting(name);
    if (found.error != NO_ERROR)
        return Failed(found.error);
    if (found.folderNeeded)
        return Failed(ERROR_INVALID_NAME);
    SharedFile file;
    constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    if (const DWORD error = file.Open(found.path, DELETE, shared, 0); error != NO_ERROR)
        return Failed(error);
    return Result(::unlink(found.path.c_str()));
}

DWORD GetFileAttributesW(LPCWSTR name)
{
    const FoundPath found = FindExisting(name);
    struct ::stat status;
    if (found.error != NO_ERROR || !Result(::stat(found.path.c_str(), &status)))
    {
        if (found.error != NO_ERROR)
            ::SetLastError(found.error);
        return INVALID_FILE_ATTRIBUTES;
    }
    if (found.isFolder)
        return FILE_ATTRIBUTE_DIRECTORY;
    const bool writable = (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0;
    return FILE_ATTRIBUTE_ARCHIVE | (writable ? 0 : FILE_ATTRIBUTE_READONLY);
}

BOOL SetFileAttributesW(LPCWSTR name, DWORD attributes)
{
    const FoundPath found = FindExisting(name);
    struct ::stat status;
    if (found.error != NO_ERROR)
        return Failed(found.error);
    if (!Result(::stat(found.path.c_str(), &status)))
        return FALSE;
    constexpr ::mode_t modeBits = 07777;
    constexpr ::mode_t writeBits = S_IWUSR | S_IWGRP | S_IWOTH;
    const ::mode_t mode = status.st_mode & modeBits;
    if (found.isFolder || ((attributes & FILE_ATTRIBUTE_READONLY) != 0) == ((mode & writeBits) == 0))
        return TRUE; // as it is; on a folder the mark says nothing about writing
    return Result(::chmod(found.path.c_str(), (mode & writeBits) != 0 ? mode & ~writeBits : mode | S_IWUSR));
}

BOOL CreateDirectoryW(LPCWSTR name, LPSECURITY_ATTRIBUTES)
{
    return MakeFolder(Find(name));
}

BOOL CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES)
{
    return MakeFolder(FindPath(Utf16FromUtf8(name == nullptr ? std::string_view() : name)));
}

BOOL RemoveDirectoryW(LPCWSTR name)
{
    const FoundPath found = FindExisting(name);
    if (found.error != NO_ERROR)
        return Failed(found.error);
    return Result(::rmdir(found.path.c_str()));
}

DWORD GetTempPathW(DWORD room, LPWSTR path)
{
    const std::u16string text = TemporaryPath();
    if (room <= text.size())
    {
        if (room != 0)
            *path = 0;
        return static_cast<DWORD>(text.size() + 1);
    }
    std::copy_n(text.c_str(), text.size() + 1, path);
    return static_cast<DWORD>(text.size());
}

DWORD GetTempPathA(DWORD room, LPSTR path)
{
    const std::string text = Utf8FromUtf16(TemporaryPath());
    if (room <= text.size())
        return static_cast<DWORD>(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, path);
    return static_cast<DWORD>(text.size());
}
