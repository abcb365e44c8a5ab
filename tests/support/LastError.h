// The last error that one call leaves.
#pragma once

#include <string>
#include <type_traits>
#include <windows.h>

namespace test
{

constexpr DWORD kept = 7777;   ///< no function sets it: the call left the last error alone
constexpr DWORD silent = 8888; ///< the call failed and gave no reason

/// A code as the files of cases name it.
inline std::string ErrorName(DWORD error)
{
    const struct
    {
        DWORD code;
        const char* name;
    } names[] = {
        {0, "success"},
        {kept, "kept"},
        {ERROR_FILE_NOT_FOUND, "FILE_NOT_FOUND"},
        {ERROR_PATH_NOT_FOUND, "PATH_NOT_FOUND"},
        {ERROR_ACCESS_DENIED, "ACCESS_DENIED"},
        {ERROR_INVALID_HANDLE, "INVALID_HANDLE"},
        {ERROR_SHARING_VIOLATION, "SHARING_VIOLATION"},
        {ERROR_FILE_EXISTS, "FILE_EXISTS"},
        {ERROR_INVALID_PARAMETER, "INVALID_PARAMETER"},
        {ERROR_INVALID_NAME, "INVALID_NAME"},
        {ERROR_BAD_PATHNAME, "BAD_PATHNAME"},
        {ERROR_ALREADY_EXISTS, "ALREADY_EXISTS"},
        {ERROR_MORE_DATA, "MORE_DATA"},
        {ERROR_KEY_DELETED, "KEY_DELETED"},
        {ERROR_CHILD_MUST_BE_VOLATILE, "CHILD_MUST_BE_VOLATILE"}};
    for (const auto& [code, name] : names)
        if (code == error)
            return name;
    return std::to_string(error);
}

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
