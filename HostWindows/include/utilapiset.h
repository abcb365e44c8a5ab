#pragma once

#include "windef.h"

extern "C" {
/// Rings the terminal's bell, where standard error is one, and returns at once; the pitch and the length are not heard.
BOOL Beep(DWORD hertz, DWORD milliseconds);
}
