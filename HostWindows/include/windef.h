// The basic types of the Windows headers, with Windows' widths: LONG and DWORD are 32-bit whatever `long` is, and the
// wide character is UTF-16.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using WCHAR = char16_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using WORD = std::uint16_t;
using INT = int;
using UINT = unsigned int;
using BOOL = int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using ULONGLONG = std::uint64_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using LPBOOL = BOOL*;
using LPDWORD = DWORD*;
using PLONG = LONG*;
using PUINT = UINT*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;

using HANDLE = void*;
using HLOCAL = HANDLE;
using HRESULT = LONG;

// As with the Windows headers under STRICT, handles of different kinds are different types.
struct HINSTANCE__;
struct HWND__;
struct HKEY__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE;
using HWND = HWND__*;
using HKEY = HKEY__*;
using PHKEY = HKEY*;

using FARPROC = INT_PTR (*)();

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr std::size_t MAX_PATH = 260;

#define WINAPI
#define CALLBACK

inline constexpr WORD LOWORD(DWORD_PTR value)
{
    return static_cast<WORD>(value & 0xFFFF);
}
inline constexpr WORD HIWORD(DWORD_PTR value)
{
    return static_cast<WORD>((value >> 16) & 0xFFFF);
}
