// The debugger console.
#pragma once

#include "windef.h"

extern "C" {
/// Appends the text as it is, in one piece, to the file that the environment variable HOSTWINDOWS_DEBUG_CONSOLE names
/// (looked at in every call), else to standard error. Keeps the last error.
void OutputDebugStringA(LPCSTR text);
}
