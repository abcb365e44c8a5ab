// Waiting.
#pragma once

#include "minwinbase.h"

inline constexpr DWORD INFINITE = 0xFFFFFFFF;

extern "C" {
void Sleep(DWORD milliseconds);

/// Waits for the end of a process, the one kind of object that is waited for. @return WAIT_OBJECT_0, WAIT_TIMEOUT or
/// WAIT_FAILED
DWORD WaitForSingleObject(HANDLE process, DWORD milliseconds);
}
