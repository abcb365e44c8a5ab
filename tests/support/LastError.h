// The last error that one call leaves.
#pragma once

#include <type_traits>
#include <windows.h>

namespace test
{

constexpr DWORD kept = 7777;   ///< no function sets it: the call left the last error alone
constexpr DWORD silent = 8888; ///< the call failed and gave no reason

/// LastError().Of(Function(...)) is the last error after the call. The object, made before the call's arguments are,
/// sets the one before it.
class LastError
{
public:
    LastError() { ::SetLastError(kept); }
    template <class Result>
    DWORD Of(Result result) const
    {
        const DWORD error = ::GetLastError();
        bool failed = result == Result{};
        if constexpr (std::is_same_v<Result, HANDLE>)
            failed = failed || result == INVALID_HANDLE_VALUE;
        return failed && (error == kept || error == 0) ? silent : error;
    }
};

} // namespace test
