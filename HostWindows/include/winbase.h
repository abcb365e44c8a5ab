// Profile files, message texts, local memory.
#pragma once

#include "minwinbase.h"

#include <cstdarg>

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000; // a hint, and not taken
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_END = 2;

extern "C" {
UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT preset, LPCSTR file);
UINT GetPrivateProfileIntW(LPCWSTR section, LPCWSTR key, INT preset, LPCWSTR file);
/// @param size  characters that fit, terminator counted. @return characters copied, terminator not counted
DWORD
GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR preset, LPWSTR buffer, DWORD size, LPCWSTR file);
BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file);

inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

/// The system's text of a code, closing CR LF included; both flags must be given. @return its length in bytes, 0 on
/// failure, the buffer being untouched then
DWORD
FormatMessageA(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer, DWORD size, va_list* arguments);

inline constexpr UINT LPTR = 0x0040; ///< zeroed, as all of it is

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
HLOCAL LocalFree(HLOCAL memory);

/// The entry of a windowless program, defined by the program; its exit code is what this returns. The arguments are
/// null: the command line has them.
int wWinMain(HINSTANCE instance, HINSTANCE previous, LPWSTR arguments, int show);
}
