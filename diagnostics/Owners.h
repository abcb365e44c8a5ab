// Owners of what Windows functions return: each releases it when destroyed, and none can be copied.
#pragma once

#include <memory>
#include <windows.h>

namespace scankelv
{

struct HandleRelease
{
    void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};
/// A handle of a file, process or mapping.
using OwnedHandle = std::unique_ptr<void, HandleRelease>;

/// Takes ownership of a handle. INVALID_HANDLE_VALUE, which some functions return on failure, becomes null.
inline OwnedHandle Own(HANDLE handle) noexcept
{
    return OwnedHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

struct ViewRelease
{
    void operator()(void* view) const noexcept { ::UnmapViewOfFile(view); }
};
/// A view of a mapping.
template <class Content>
using OwnedView = std::unique_ptr<Content, ViewRelease>;

struct ModuleRelease
{
    void operator()(HMODULE module) const noexcept { ::FreeLibrary(module); }
};
using OwnedModule = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleRelease>;

} // namespace scankelv
