// Starting programs.
#pragma once

#include <string>
#include <string_view>
#include <windows.h>

namespace hostwindows
{

/// Hands the exact command line down to a started program, in UTF-8.
inline constexpr const char* commandLineVariable = "HOSTWINDOWS_COMMAND_LINE";

/// Starts a program by its Linux path, with the caller's environment and standard streams and no other descriptor.
/// Closing the handle does not end the program.
/// @param folder  Linux path of its current folder; empty: the caller's
/// @return 0 or the error code: 2, 3, 5, 193 (no program) ...
DWORD StartProcess(
    const std::string& program, std::u16string_view commandLine, const std::string& folder,
    PROCESS_INFORMATION& started);

} // namespace hostwindows
