// Memory shared by name.
//
// A named object is a file in the machine's folder `objects`. Each handle is an open file description with a shared
// lock on it, so that the kernel tells whether anybody holds the object, and forgets a killed holder by itself. A file
// that nobody holds is left over: the next creation replaces it by a new one, and views of the old one keep theirs.
// One lock file makes creating, opening and closing atomic between the processes of a machine.

#include "Descriptor.h"
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hostwindows
{
namespace
{

constexpr std::size_t longestFileName = 255;
constexpr std::uint64_t viewGranularity = 0x10000;

const std::string& ObjectFolder()
{
    static const std::string folder = MachineFolder() + "/objects";
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
        if (c == '/')
            file += "%2F";
        else if (c == '%')
            file += "%25";
        else
            file += c;
    if (file.size() > longestFileName)
        return ERROR_FILENAME_EXCED_RANGE;
    path = ObjectFolder() + "/" + file;
    return NO_ERROR;
}

/// All objects of the machine, locked against other processes and threads while it lives.
class ObjectsLock
{
public:
    ObjectsLock()
    {
        // Made once: the last handle is closed in a destructor, which cannot tell that memory ran out.
        static const std::string file = ObjectFolder() + "/.lock";
        m_file.Open(file, O_RDWR | O_CREAT, 0666);
        if (!m_file.IsOpen() && errno == ENOENT && (::mkdir(ObjectFolder().c_str(), 0777) == 0 || errno == EEXIST))
            m_file.Open(file, O_RDWR | O_CREAT, 0666);
        if (!m_file.IsOpen() || !m_file.LockWhole(F_WRLCK, true))
            m_error = ErrorFromErrno(errno);
    }
    DWORD Error() const { return m_error; }

private:
    Descriptor m_file;
    DWORD m_error = NO_ERROR;
};

/// One handle of a mapping.
class MappingHandle : public HandleObject
{
public:
    MappingHandle(Descriptor file, std::string path, std::uint64_t size, bool writable)
        : m_file(std::move(file)),
          m_path(std::move(path)),
          m_size(size),
          m_writable(writable)
    {
    }
    ~MappingHandle() override
    {
        if (m_path.empty())
            return;
        const ObjectsLock objects;
        // Unlocked by hand: a view that is still mapped keeps the open file description, and with it the lock.
        m_file.LockWhole(F_UNLCK, false);
        if (objects.Error() == NO_ERROR && !m_file.IsLockedElsewhere())
            ::unlink(m_path.c_str());
    }

    int File() const { return m_file.Number(); }
    std::uint64_t Size() const { return m_size; }
    bool IsWritable() const { return m_writable; }

private:
    Descriptor m_file;
    std::string m_path; // empty: no name
    std::uint64_t m_size;
    bool m_writable;
};

struct OpenedObject
{
    Descriptor file;
    std::uint64_t size = 0;
    bool writable = false;
};

/// Opens and holds an object that somebody holds already; nothing when there is none. The lock must be held.
std::optional<OpenedObject> OpenHeld(const std::string& path)
{
    struct ::stat status;
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    OpenedObject object;
    object.size = static_cast<std::uint64_t>(status.st_size);
    object.writable = (status.st_mode & S_IWUSR) != 0;
    object.file.Open(path, object.writable ? O_RDWR : O_RDONLY);
    if (!object.file.IsOpen() || !object.file.IsLockedElsewhere() || !object.file.LockWhole(F_RDLCK, false))
        return std::nullopt;
    return object;
}

/// Makes a new object of zeros; an empty path makes one without a name. @return 0 or the error code
DWORD MakeNew(const std::string& path, OpenedObject& object)
{
    if (path.empty())
        object.file = Descriptor(::memfd_create("mapping", MFD_CLOEXEC));
    else
    {
        ::unlink(path.c_str());
        object.file.Open(path, O_RDWR | O_CREAT | O_EXCL, object.writable ? 0600 : 0400);
    }
    if (!object.file.IsOpen())
        return ErrorFromErrno(errno);
    // Room on the disk is taken now: a full one would otherwise show when the memory is written, as a signal.
    int error = ::posix_fallocate(object.file.Number(), 0, static_cast<::off_t>(object.size));
    if (error == 0 && !path.empty() && !object.file.LockWhole(F_RDLCK, false))
        error = errno;
    if (error != 0 && !path.empty())
        ::unlink(path.c_str());
    return error == 0 ? NO_ERROR : ErrorFromErrno(error);
}

HANDLE HandleOf(OpenedObject object, const std::string& path, bool writable)
{
    return MakeHandle(
        std::make_unique<MappingHandle>(std::move(object.file), path, object.size, writable && object.writable));
}

HANDLE Refused(DWORD error)
{
    ::SetLastError(error);
    return nullptr;
}

/// The views of this process, by their address.
struct Views
{
    std::mutex mutex;
    std::map<const void*, std::size_t> sizes;
};
Views& AllViews()
{
    static auto* const views = new Views;
    return *views;
}

std::uint64_t Whole(DWORD high, DWORD low)
{
    return (std::uint64_t{high} << 32) | low;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

HANDLE
CreateFileMappingW(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection, DWORD sizeHigh, DWORD sizeLow, LPCWSTR name)
{
    if (file != INVALID_HANDLE_VALUE)
        return Refused(ERROR_INVALID_HANDLE);
    const std::uint64_t size = Whole(sizeHigh, sizeLow);
    const bool writable = protection == PAGE_READWRITE;
    if (size == 0 || size > INT64_MAX || (!writable && protection != PAGE_READONLY))
        return Refused(ERROR_INVALID_PARAMETER);

    OpenedObject object;
    object.size = size;
    object.writable = writable;
    std::string path;
    if (name == nullptr || *name == 0)
    {
        if (const DWORD error = MakeNew(path, object); error != NO_ERROR)
            return Refused(error);
        ::SetLastError(NO_ERROR);
        return HandleOf(std::move(object), path, writable);
    }
    if (const DWORD error = PathOfName(name, path); error != NO_ERROR)
        return Refused(error);
    DWORD known = NO_ERROR;
    {
        const ObjectsLock objects;
        if (objects.Error() != NO_ERROR)
            return Refused(objects.Error());
        if (auto held = OpenHeld(path))
        {
            object = std::move(*held);
            known = ERROR_ALREADY_EXISTS;
        }
        else if (const DWORD error = MakeNew(path, object); error != NO_ERROR)
            return Refused(error);
    }
    // Without the lock, which the object's own end takes where there is no memory for its handle.
    ::SetLastError(known);
    return HandleOf(std::move(object), path, writable);
}

HANDLE OpenFileMappingW(DWORD access, BOOL, LPCWSTR name)
{
    if (name == nullptr || *name == 0)
        return Refused(ERROR_INVALID_PARAMETER);
    std::string path;
    if (const DWORD error = PathOfName(name, path); error != NO_ERROR)
        return Refused(error);
    std::optional<OpenedObject> held;
    {
        const ObjectsLock objects;
        if (objects.Error() != NO_ERROR)
            return Refused(objects.Error());
        held = OpenHeld(path);
    }
    if (!held)
        return Refused(ERROR_FILE_NOT_FOUND);
    return HandleOf(std::move(*held), path, (access & FILE_MAP_WRITE) != 0);
}

LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes)
{
    const auto* object = ObjectOf<MappingHandle>(mapping);
    if (object == nullptr)
        return nullptr;
    const std::uint64_t offset = Whole(offsetHigh, offsetLow);
    if (offset % viewGranularity != 0)
        return Refused(ERROR_MAPPED_ALIGNMENT);
    if (offset >= object->Size())
        return Refused(ERROR_INVALID_PARAMETER);
    // A view may reach to the end of the last page.
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const std::uint64_t end = (object->Size() + page - 1) / page * page;
    const bool writes = (access & FILE_MAP_WRITE) != 0;
    if (bytes > end - offset || (writes && !object->IsWritable()))
        return Refused(ERROR_ACCESS_DENIED);
    const std::size_t size = bytes == 0 ? object->Size() - offset : bytes;
    void* address = ::mmap(
        nullptr, size, writes ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, object->File(),
        static_cast<::off_t>(offset));
    if (address == MAP_FAILED)
        return Refused(ErrorFromErrno(errno));
    try
    {
        Views& views = AllViews();
        const std::lock_guard lock(views.mutex);
        views.sizes[address] = size;
    }
    catch (const std::bad_alloc&)
    {
        ::munmap(address, size);
        return Refused(ERROR_NOT_ENOUGH_MEMORY);
    }
    return address;
}

BOOL UnmapViewOfFile(LPCVOID address)
{
    Views& views = AllViews();
    const std::lock_guard lock(views.mutex);
    // Any address within a view names it.
    auto view = views.sizes.upper_bound(address);
    if (view == views.sizes.begin() ||
        static_cast<const char*>(std::prev(view)->first) + std::prev(view)->second <= static_cast<const char*>(address))
    {
        ::SetLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    --view;
    ::munmap(const_cast<void*>(view->first), view->second);
    views.sizes.erase(view);
    return TRUE;
}
