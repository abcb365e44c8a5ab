// Handles of kernel objects.
#pragma once

#include "windef.h"

#define INVALID_HANDLE_VALUE reinterpret_cast<HANDLE>(LONG_PTR{-1})

extern "C" {
BOOL CloseHandle(HANDLE object);
}
