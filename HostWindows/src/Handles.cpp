#include "Handles.h"

#include <mutex>
#include <new>
#include <unordered_map>
#include <utility>

namespace hostwindows
{
namespace
{

// Numbers are not used again, so that a handle closed twice is not another object's.
struct HandleTable
{
    std::mutex mutex;
    std::unordered_map<HANDLE, std::unique_ptr<HandleObject>> objects;
    std::uintptr_t next = 4;
};

// Never destroyed: owners with static storage close their handles in the process's last moments.
HandleTable& Table()
{
    static auto* const table = new HandleTable;
    return *table;
}

} // namespace

HANDLE MakeHandle(std::unique_ptr<HandleObject> object, HANDLE handle)
try
{
    HandleTable& table = Table();
    const std::lock_guard lock(table.mutex);
    if (handle == nullptr)
        handle = reinterpret_cast<HANDLE>(std::exchange(table.next, table.next + 4));
    table.objects.emplace(handle, std::move(object));
    return handle;
}
catch (const std::bad_alloc&)
{
    return Refused<HANDLE>(ERROR_NOT_ENOUGH_MEMORY);
}

HandleObject* ObjectOf(HANDLE handle)
{
    HandleTable& table = Table();
    const std::lock_guard lock(table.mutex);
    const auto found = table.objects.find(handle);
    return found == table.objects.end() ? nullptr : found->second.get();
}

} // namespace hostwindows

BOOL CloseHandle(HANDLE object)
{
    using namespace hostwindows;
    if (object == INVALID_HANDLE_VALUE) // the process's pseudo handle
        return TRUE;
    HandleTable& table = Table();
    decltype(table.objects)::node_type closed; // destroyed without the lock
    {
        const std::lock_guard lock(table.mutex);
        closed = table.objects.extract(object);
    }
    if (closed.empty())
        return Refused(ERROR_INVALID_HANDLE);
    const DWORD kept = ::GetLastError();
    closed = {};
    ::SetLastError(kept);
    return TRUE;
}
