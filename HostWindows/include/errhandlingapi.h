// The calling thread's last error, and the process's error mode.
#pragma once

#include "windef.h"

extern "C" {
DWORD GetLastError();
void SetLastError(DWORD code);

inline constexpr UINT SEM_FAILCRITICALERRORS = 0x0001;
inline constexpr UINT SEM_NOOPENFILEERRORBOX = 0x8000;

/// Only remembered: no call here opens a box. @return the mode before
UINT SetErrorMode(UINT mode);
}
