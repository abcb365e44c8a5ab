// Memory shared by name.
#pragma once

#include "minwinbase.h"
#include "winnt.h"

inline constexpr DWORD FILE_MAP_WRITE = 0x0002;
inline constexpr DWORD FILE_MAP_READ = 0x0004;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0x000F001F;

extern "C" {
/// Memory of its own only: `file` must be INVALID_HANDLE_VALUE. The last error tells a new object (0) from an existing
/// one (183).
HANDLE CreateFileMappingW(
    HANDLE file, LPSECURITY_ATTRIBUTES attributes, DWORD protection, DWORD sizeHigh, DWORD sizeLow, LPCWSTR name);
HANDLE OpenFileMappingW(DWORD access, BOOL inherit, LPCWSTR name);
/// From the object's start only. @param bytes  0 for the whole object
LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
BOOL UnmapViewOfFile(LPCVOID address);
}
