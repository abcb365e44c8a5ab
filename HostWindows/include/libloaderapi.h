// Libraries and modules. A module's handle is the address it is loaded at.
#pragma once

#include "windef.h"

extern "C" {
HMODULE LoadLibraryA(LPCSTR name);
HMODULE LoadLibraryW(LPCWSTR name);
BOOL FreeLibrary(HMODULE module);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);

inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 0x2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x4;

/// The program, by a null name: no other module is found by its name.
HMODULE GetModuleHandleW(LPCWSTR name);
/// Only by an address, and without counting.
BOOL GetModuleHandleExW(DWORD flags, LPCWSTR address, HMODULE* module);

/// @param size  characters that fit, terminator counted
/// @return characters copied, terminator not counted; `size` with last error 122 when the path was cut
DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size);
DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD size);
}
