// The command line and the environment.
#pragma once

#include "windef.h"

extern "C" {
/// The line exactly as the process that started this one gave it; started by another Linux program, the line is made of
/// the arguments.
LPWSTR GetCommandLineW();

/// @return characters copied, terminator not counted; the room needed, terminator counted, when `size` is too small; 0
/// with last error 203 when there is no such variable
DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size);
/// A null value removes the variable.
BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value);
}
