// Memory shared by name.
//
// A named object is a file in the machine's folder `objects`. Each handle is an open file description with a shared
// lock on it, so that the kernel tells whether anybody holds the object, and forgets a killed holder by itself. A file
// that nobody holds is left over: the next creation replaces it by a new one, and views of the old one keep theirs.
// The folder's lock makes creating, opening and closing atomic between the processes of a machine.

#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <new>
#include <optional>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace hostwindows
{
namespace
{

constexpr std::size_t longestFileName = 255;

const std::string& ObjectFolder()
{
    static const std::string folder = MachineFolder() + "/objects/";
    return folder;
}

/// Turns a name into the path of its file; letter case counts. @return 0 or the error code
DWORD PathOfName(std::u16string_view name, std::string& path)
{
    constexpr std::u16string_view global = u"Global\\";
    constexpr std::u16string_view local = u"Local\\";
    const bool isGlobal = name.starts_with(global);
    if (isGlobal || name.starts_with(local))
        name.remove_prefix(isGlobal ? global.size() : local.size());
    if (name.find(u'\\') != std::u16string_view::npos)
        return ERROR_PATH_NOT_FOUND;

    std::string file = isGlobal ? "global-" : "local-";
    for (const char c : Utf8FromUtf16(name))
        if (c == '/' || c == '%')
            file += c == '/' ? "%2F" : "%25";
        else
            file += c;
    path = ObjectFolder() + file;
    return file.size() > longestFileName ? ERROR_FILENAME_EXCED_RANGE : NO_ERROR;
}

/// All objects of the machine, locked against other processes and threads.
FolderLock LockObjects()
{
    FolderLock lock(ObjectFolder());
    if (lock.Error() == ERROR_PATH_NOT_FOUND && (::mkdir(ObjectFolder().c_str(), 0777) == 0 || errno == EEXIST))
        lock = FolderLock(ObjectFolder());
    return lock;
}

/// One handle of a mapping.
struct Mapping : HandleObject
{
    Mapping() = default;
    ~Mapping() override
    {
        if (path.empty() || !file.IsOpen())
            return;
        objects->Take();
        // Where others hold it, the wish to be alone costs ours as well. By hand: a view that is still mapped keeps the
        // open file description, and with it the lock.
        const bool alone = ::flock(file.Number(), LOCK_EX | LOCK_NB) == 0;
        if (alone && objects->Error() == NO_ERROR)
            ::unlink(path.c_str());
    }

    Descriptor file;
    std::string path; // empty: no name
    std::optional<FolderLock> objects;
    std::uint64_t size = 0;
    bool isWritable = false;
};

/// Opens and holds an object that somebody holds already. The lock must be held. @return false when there is none
bool OpenHeld(Mapping& object)
{
    struct ::stat status;
    if (::stat(object.path.c_str(), &status) != 0)
        return false;
    const bool writable = (status.st_mode & S_IWUSR) != 0;
    Descriptor file;
    file.Open(object.path, writable ? O_RDWR : O_RDONLY);
    const bool isHeld = file.IsOpen() && ::flock(file.Number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (!isHeld || ::flock(file.Number(), LOCK_SH | LOCK_NB) != 0)
        return false;
    object.file = std::move(file);
    object.size = static_cast<std::uint64_t>(status.st_size);
    object.isWritable = object.isWritable && writable;
    return true;
}

/// Makes a new object of zeros. @return 0 or the error code
DWORD MakeNew(Mapping& object)
{
    Descriptor file;
    ::unlink(object.path.c_str());
    if (object.path.empty())
        file = Descriptor(::memfd_create("mapping", MFD_CLOEXEC));
    else
        file.Open(object.path, O_RDWR | O_CREAT | O_EXCL, object.isWritable ? 0600 : 0400);
    if (!file.IsOpen())
        return ErrorFromErrno(errno);
    // Room on the disk is taken now: a full one would otherwise show when the memory is written, as a signal.
    int error = ::posix_fallocate(file.Number(), 0, static_cast<::off_t>(object.size));
    if (error == 0 && ::flock(file.Number(), LOCK_SH | LOCK_NB) != 0)
        error = errno;
    if (error != 0)
        return ::unlink(object.path.c_str()), ErrorFromErrno(error);
    object.file = std::move(file);
    return NO_ERROR;
}

/// Of a name, or without one, where `mayMake`; its name, size and rights are set. The last error tells a new object (0)
/// from an existing one (183).
HANDLE Open(std::unique_ptr<Mapping> object, LPCWSTR name, bool mayMake)
{
    const bool named = !ViewOf(name).empty();
    if (const DWORD error = named ? PathOfName(name, object->path) : NO_ERROR; error != NO_ERROR)
        return Refused<HANDLE>(error);
    DWORD known = ERROR_ALREADY_EXISTS;
    DWORD error = NO_ERROR;
    if (!named)
        error = MakeNew(*object);
    else
    {
        object->objects = LockObjects();
        error = object->objects->Error();
        if (error == NO_ERROR && !OpenHeld(*object))
            error = mayMake ? known = NO_ERROR, MakeNew(*object) : ERROR_FILE_NOT_FOUND;
        object->objects->Release();
    }
    if (error != NO_ERROR)
        return Refused<HANDLE>(error);
    ::SetLastError(named ? known : NO_ERROR);
    return MakeHandle(std::move(object));
}

/// A mapped part of this process's memory. It is found by its address, which no handle of another object is.
struct View : HandleObject
{
    View(int descriptor, std::size_t bytes, int protection)
        : address(::mmap(nullptr, bytes, protection, MAP_SHARED, descriptor, 0)),
          size(bytes)
    {
    }
    ~View() override
    {
        if (address != MAP_FAILED)
            ::munmap(address, size);
    }

    void* const address;
    const std::size_t size;
};

} // namespace
} // namespace hostwindows

using namespace hostwindows;

HANDLE
CreateFileMappingW(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection, DWORD sizeHigh, DWORD sizeLow, LPCWSTR name)
{
    if (file != INVALID_HANDLE_VALUE)
        return Refused<HANDLE>(ERROR_INVALID_HANDLE);
    auto object = std::make_unique<Mapping>();
    object->size = (std::uint64_t{sizeHigh} << 32) | sizeLow;
    object->isWritable = protection == PAGE_READWRITE;
    if (object->size == 0 || object->size > INT64_MAX || (!object->isWritable && protection != PAGE_READONLY))
        return Refused<HANDLE>(ERROR_INVALID_PARAMETER);
    return Open(std::move(object), name, true);
}

HANDLE OpenFileMappingW(DWORD access, BOOL, LPCWSTR name)
{
    if (ViewOf(name).empty())
        return Refused<HANDLE>(ERROR_INVALID_PARAMETER);
    auto object = std::make_unique<Mapping>();
    object->isWritable = (access & FILE_MAP_WRITE) != 0;
    return Open(std::move(object), name, false);
}

LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes)
{
    const auto* object = ObjectOf<Mapping>(mapping);
    if (object == nullptr)
        return nullptr;
    if (offsetHigh != 0 || offsetLow != 0)
        return Refused<LPVOID>(ERROR_MAPPED_ALIGNMENT);
    // A view may reach to the end of the last page.
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const bool writes = (access & FILE_MAP_WRITE) != 0;
    if (bytes > (object->size + page - 1) / page * page || (writes && !object->isWritable))
        return Refused<LPVOID>(ERROR_ACCESS_DENIED);
    std::unique_ptr<View> view(new (std::nothrow) View(
        object->file.Number(), bytes == 0 ? object->size : bytes, writes ? PROT_READ | PROT_WRITE : PROT_READ));
    if (view == nullptr)
        return Refused<LPVOID>(ERROR_NOT_ENOUGH_MEMORY);
    void* const address = view->address;
    return address != MAP_FAILED ? MakeHandle(std::move(view), address) : Refused<LPVOID>(ErrorFromErrno(errno));
}

BOOL UnmapViewOfFile(LPCVOID address)
{
    const HANDLE view = const_cast<void*>(address);
    return ObjectOf<View>(view) != nullptr ? ::CloseHandle(view) : Refused(ERROR_INVALID_ADDRESS);
}
