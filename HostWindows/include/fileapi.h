// Files and folders.
#pragma once

#include "minwinbase.h"
#include "winnt.h"

inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

extern "C" {
/// Security attributes, pattern and the attributes among the flags are not looked at.
HANDLE CreateFileW(
    LPCWSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
    HANDLE pattern);
HANDLE CreateFileA(
    LPCSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
    HANDLE pattern);
/// @param count  receives the bytes read, 0 at the end of the file
BOOL ReadFile(HANDLE file, LPVOID bytes, DWORD room, LPDWORD count, LPOVERLAPPED overlapped);
BOOL WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD count, LPOVERLAPPED overlapped);
/// @param distanceHigh  the upper half of the distance, in and out; null for distances of 32 bits
/// @return the lower half of the new position
DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method);

BOOL DeleteFileW(LPCWSTR name);
/// Whether it is there, and a folder: no attribute is kept.
DWORD GetFileAttributesW(LPCWSTR name);

BOOL CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES security);
BOOL CreateDirectoryW(LPCWSTR name, LPSECURITY_ATTRIBUTES security);
BOOL RemoveDirectoryW(LPCWSTR name);

/// The folder named by TMP, TEMP or USERPROFILE, whether it exists or not, with one closing backslash. A variable
/// that holds a Linux path counts.
/// @param room  characters that fit, terminator counted
/// @return characters written without the terminator; when they do not fit, the room needed with it
DWORD GetTempPathA(DWORD room, LPSTR path);
DWORD GetTempPathW(DWORD room, LPWSTR path);
}
