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

/// Gives the object a handle; null when there is no memory for it.
HANDLE MakeHandle(std::unique_ptr<HandleObject> object);

/// The object behind a handle, or null (last error 6) when it is none, was closed, or is of another kind.
HandleObject* ObjectOf(HANDLE handle);
template <class Kind>
Kind* ObjectOf(HANDLE handle)
{
    auto* kind = dynamic_cast<Kind*>(ObjectOf(handle));
    if (kind == nullptr)
        ::SetLastError(ERROR_INVALID_HANDLE);
    return kind;
}

} // namespace hostwindows
