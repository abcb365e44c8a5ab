// The registry. Every function returns its Windows status and leaves the last error as it was.
#pragma once

#include "minwinbase.h"

struct FILETIME; // no times are kept: always null
using PFILETIME = FILETIME*;

using LSTATUS = LONG;
using REGSAM = DWORD;

// Casts to a pointer are no constants, so these stay macros as they are on Windows.
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(INT32_MIN + 1)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<LONG_PTR>(INT32_MIN + 2)))

inline constexpr REGSAM KEY_QUERY_VALUE = 0x1;
inline constexpr REGSAM KEY_SET_VALUE = 0x2;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x8;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_OPTION_VOLATILE = 1;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

extern "C" {

LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, PHKEY key);
LSTATUS RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD options, REGSAM access, PHKEY key);
LSTATUS RegCreateKeyExA(
    HKEY parent, LPCSTR path, DWORD reserved, LPSTR className, DWORD options, REGSAM access,
    LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition);
LSTATUS RegCreateKeyExW(
    HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR className, DWORD options, REGSAM access,
    LPSECURITY_ATTRIBUTES attributes, PHKEY key, LPDWORD disposition);
LSTATUS RegCloseKey(HKEY key);

/// Sizes are bytes, a stored terminator counted.
LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS RegDeleteValueA(HKEY key, LPCSTR name);
LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name);

/// Refuses a key with sub-keys.
LSTATUS RegDeleteKeyW(HKEY parent, LPCWSTR path);
/// Deletes a sub-key with all below it.
LSTATUS RegDeleteTreeW(HKEY parent, LPCWSTR path);

/// Lengths are characters: in with the terminator, out without it. The parameters without a name are not looked at.
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD, PFILETIME);
LSTATUS
RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size);

/// Lets a predefined key of this process mean another key; null ends that.
LSTATUS RegOverridePredefKey(HKEY predefined, HKEY key);
}
