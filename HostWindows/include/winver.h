// Version information of a program file.
#pragma once

#include "windef.h"

struct VS_FIXEDFILEINFO
{
    DWORD dwSignature; ///< 0xFEEF04BD
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS; ///< major version in the upper half, minor in the lower
    DWORD dwFileVersionLS; ///< build in the upper half, revision in the lower
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
};

extern "C" {
/// @param handle  set to 0. @return the bytes that the version information takes, 0 on failure
DWORD GetFileVersionInfoSizeW(LPCWSTR file, LPDWORD handle);
/// @param size  of the buffer in bytes; what does not fit is cut off
BOOL GetFileVersionInfoW(LPCWSTR file, DWORD handle, DWORD size, LPVOID data);
/// @param part  "\", "\VarFileInfo\Translation" or "\StringFileInfo\<language and code page>\<name>"
/// @param value  receives a pointer into the block
/// @param length  receives bytes, of a text characters with the terminator; 0 when the block holds no such value
BOOL VerQueryValueW(LPCVOID block, LPCWSTR part, LPVOID* value, PUINT length);
}
