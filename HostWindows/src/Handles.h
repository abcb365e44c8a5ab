// What a HANDLE stands for.
#pragma once

#include <memory>
#include <windows.h>

namespace hostwindows
{

/// A kernel object as one handle sees it: closing the handle destroys it.
class HandleObject
{
public:
    HandleObject() = default;
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;
    virtual ~HandleObject() = default;
};

/// What a function gives that failed: null, FALSE, 0. The last error says why.
template <class Result = BOOL>
Result Refused(DWORD error)
{
    ::SetLastError(error);
    return Result{};
}

/// Gives the object a handle, a new one unless it is told; null when there is no memory for it.
HANDLE MakeHandle(std::unique_ptr<HandleObject> object, HANDLE handle = nullptr);

/// The object behind a handle, or null when it is none, or was closed; below, or is of another kind (last error 6).
HandleObject* ObjectOf(HANDLE handle);
template <class Kind>
Kind* ObjectOf(HANDLE handle)
{
    auto* kind = dynamic_cast<Kind*>(ObjectOf(handle));
    return kind != nullptr ? kind : Refused<Kind*>(ERROR_INVALID_HANDLE);
}

} // namespace hostwindows
