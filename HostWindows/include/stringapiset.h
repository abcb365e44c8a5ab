// Conversion between UTF-16 and 8-bit texts.
#pragma once

#include "windef.h"

inline constexpr UINT CP_ACP = 0; // UTF-8 too
inline constexpr UINT CP_UTF8 = 65001;

extern "C" {
/// What is malformed becomes U+FFFD; the flags are not looked at.
/// @param length  of the text, -1 when it is terminated; the terminator is then converted too
/// @param room  0 asks for the room needed
/// @return units written or needed; 0 on failure
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer, int room);
int WideCharToMultiByte(
    UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer, int room, LPCSTR defaultCharacter,
    LPBOOL defaultUsed);
}
