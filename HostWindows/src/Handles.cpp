#include "Handles.h"

#include <mutex>
#include <new>
#include <unordered_map>

namespace hostwindows
{
namespace
{

// Numbers are not used again, so that a handle closed twice is not another object's.
struct HandleTable
{
    std::mutex mutex;
    std::unordered_map<std::uintptr_t, std::unique_ptr<HandleObject>> objects;
    std::uintptr_t next = 4;
};

// Never destroyed: owners with static storage close their handles in the process's last moments.
HandleTable& Table()
{
    static auto* const table = new HandleTable;
    return *table;
}

std::uintptr_t NumberOf(HANDLE handle)
{
    return reinterpret_cast<std::uintptr_t>(handle);
}

} // namespace

HANDLE MakeHandle(std::unique_ptr<HandleObject> object)
{
    HandleTable& table = Table();
    const std::lock_guard lock(table.mutex);
    try
    {
        const std::uintptr_t number = table.next;
        table.objects.emplace(number, std::move(object));
        table.next += 4;
        return reinterpret_cast<HANDLE>(number);
    }
    catch (const std::bad_alloc&)
    {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

HandleObject* ObjectOf(HANDLE handle)
{
    HandleTable& table = Table();
    const std::lock_guard lock(table.mutex);
    const auto found = table.objects.find(NumberOf(handle));
    if (found == table.objects.end())
    {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return found->second.get();
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
        closed = table.objects.extract(NumberOf(object));
    }
    if (closed.empty())
    {
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const DWORD kept = ::GetLastError();
    closed = {};
    ::SetLastError(kept);
    return TRUE;
}
