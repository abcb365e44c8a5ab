// Files, folders and the temporary path.
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

namespace hostwindows
{
namespace
{

struct FileObject final : HandleObject
{
    FileObject(Descriptor opened, DWORD allowed) : file(std::move(opened)), access(allowed) {}

    Descriptor file;
    DWORD access; // GENERIC_READ and GENERIC_WRITE
};

BOOL Result(int status)
{
    return status == 0 ? TRUE : Refused(ErrorFromErrno(errno));
}

/// @return 0 or why a file or folder that is there, or is not, cannot be opened this way
DWORD Refusal(const FoundPath& found, DWORD disposition, DWORD flags)
{
    if (found.error != NO_ERROR)
        return found.error;
    if (!found.exists && disposition == OPEN_EXISTING)
        return ERROR_FILE_NOT_FOUND;
    if (found.exists && disposition == CREATE_NEW)
        return ERROR_FILE_EXISTS;
    if (found.isFolder)
        return disposition == OPEN_EXISTING && (flags & FILE_FLAG_BACKUP_SEMANTICS) != 0 ? NO_ERROR
                                                                                         : ERROR_ACCESS_DENIED;
    return found.folderNeeded ? ERROR_INVALID_NAME : NO_ERROR;
}

/// The file behind a handle, when it allows the access; else null.
const FileObject* FileOf(HANDLE handle, DWORD access, LPDWORD count)
{
    *count = 0;
    const auto* object = ObjectOf<FileObject>(handle);
    return object == nullptr || (object->access & access) != 0 ? object
                                                               : Refused<const FileObject*>(ERROR_ACCESS_DENIED);
}

std::u16string TemporaryPath()
{
    std::string value;
    for (const char* name : {"TMP", "TEMP", "USERPROFILE"})
        if (const char* text = std::getenv(name); value.empty() && text != nullptr)
            value = text;
    std::u16string path = value.empty() ? UserProfile() + u"\\AppData\\Local\\Temp" : Utf16FromUtf8(value);
    if (path.front() == u'/') // a Linux path lies on the drive of the Linux root
        path.insert(0, u"Z:");
    if (const FoundPath found = FindPath(path); !found.path.empty())
        path = WindowsPath(found.path);
    return path.substr(0, path.find_last_not_of(u'\\') + 1) + u"\\";
}

template <class Char>
DWORD CopyWhole(const std::basic_string<Char>& text, DWORD room, Char* buffer)
{
    if (room <= text.size())
        return static_cast<DWORD>(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    return static_cast<DWORD>(text.size());
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

HANDLE
CreateFileW(LPCWSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD flags, HANDLE)
{
    const FoundPath found = FindPath(ViewOf(name));
    constexpr int openFlags[] = {0, O_CREAT | O_EXCL, O_CREAT | O_TRUNC, 0, O_CREAT}; // by the disposition
    const bool known = disposition >= CREATE_NEW && disposition <= OPEN_ALWAYS;
    DWORD error = known ? Refusal(found, disposition, flags) : ERROR_INVALID_PARAMETER;
    if (found.isFolder) // never opened for writing in Linux; its handle only proves that it is there
        access = 0;
    Descriptor file;
    if (error == NO_ERROR)
        error = OpenShared(file, found.path, access, sharing, found.isFolder ? O_DIRECTORY : openFlags[disposition]);
    const HANDLE handle =
        error == NO_ERROR ? MakeHandle(std::make_unique<FileObject>(std::move(file), access)) : Refused<HANDLE>(error);
    if (handle == nullptr)
        return INVALID_HANDLE_VALUE;
    const bool tolerant = disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    ::SetLastError(tolerant && found.exists ? ERROR_ALREADY_EXISTS : NO_ERROR);
    return handle;
}

HANDLE
CreateFileA(
    LPCSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
    HANDLE pattern)
{
    return ::CreateFileW(WideOf(name).c_str(), access, sharing, security, disposition, flags, pattern);
}

BOOL ReadFile(HANDLE file, LPVOID bytes, DWORD room, LPDWORD count, LPOVERLAPPED)
{
    const FileObject* const object = FileOf(file, GENERIC_READ, count);
    if (object == nullptr)
        return FALSE;
    const ::ssize_t got = object->file.Read(bytes, room);
    if (got < 0)
        return Refused(ErrorFromErrno(errno));
    *count = static_cast<DWORD>(got);
    return TRUE;
}

BOOL WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD count, LPOVERLAPPED)
{
    const FileObject* const object = FileOf(file, GENERIC_WRITE, count);
    if (object == nullptr)
        return FALSE;
    if (const DWORD error = WriteAll(object->file.Number(), {static_cast<const char*>(bytes), size}); error != NO_ERROR)
        return Refused(error);
    *count = size;
    return TRUE;
}

DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method)
{
    const auto* object = ObjectOf<FileObject>(file);
    constexpr int whence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (object == nullptr)
        return INVALID_SET_FILE_POINTER;
    if (method >= std::size(whence))
        return Refused(ERROR_INVALID_PARAMETER), INVALID_SET_FILE_POINTER;
    ::off_t offset = distance;
    if (distanceHigh != nullptr)
        offset = static_cast<::off_t>(
            (static_cast<ULONGLONG>(static_cast<DWORD>(*distanceHigh)) << 32) | static_cast<DWORD>(distance));
    const ::off_t position = ::lseek(object->file.Number(), offset, whence[method]);
    if (position < 0)
        return Refused(ERROR_NEGATIVE_SEEK), INVALID_SET_FILE_POINTER;
    if (distanceHigh != nullptr)
        *distanceHigh = static_cast<LONG>(position >> 32);
    return static_cast<DWORD>(position & 0xFFFFFFFF);
}

BOOL DeleteFileW(LPCWSTR name)
{
    const FoundPath found = FindExisting(name);
    if (found.error != NO_ERROR || found.folderNeeded)
        return Refused(found.error != NO_ERROR ? found.error : ERROR_INVALID_NAME);
    Descriptor file;
    constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    if (const DWORD error = OpenShared(file, found.path, DELETE, shared); error != NO_ERROR)
        return Refused(error);
    return Result(::unlink(found.path.c_str()));
}

DWORD GetFileAttributesW(LPCWSTR name)
{
    const FoundPath found = FindExisting(name);
    if (found.error != NO_ERROR)
        return Refused(found.error), INVALID_FILE_ATTRIBUTES;
    return found.isFolder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
}

BOOL CreateDirectoryW(LPCWSTR name, LPSECURITY_ATTRIBUTES)
{
    const FoundPath found = FindPath(ViewOf(name));
    if (found.error != NO_ERROR || found.exists)
        return Refused(found.error != NO_ERROR ? found.error : ERROR_ALREADY_EXISTS);
    return Result(::mkdir(found.path.c_str(), 0777));
}

BOOL CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES security)
{
    return ::CreateDirectoryW(WideOf(name).c_str(), security);
}

BOOL RemoveDirectoryW(LPCWSTR name)
{
    const FoundPath found = FindExisting(name);
    return found.error != NO_ERROR ? Refused(found.error) : Result(::rmdir(found.path.c_str()));
}

DWORD GetTempPathW(DWORD room, LPWSTR path)
{
    if (room != 0)
        *path = 0; // emptied when there is too little room, unlike the 8-bit one
    return CopyWhole(TemporaryPath(), room, path);
}

DWORD GetTempPathA(DWORD room, LPSTR path)
{
    return CopyWhole(Utf8FromUtf16(TemporaryPath()), room, path);
}
