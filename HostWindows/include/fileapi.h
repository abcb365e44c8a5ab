// Files and folders.
#pragma once

#include "minwinbase.h"
#include "winnt.h"

inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

extern "C" {
HANDLE CreateFileW(
    LPCWSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
    HANDLE pattern);
HANDLE CreateFileA(
    LPCSTR name, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
    HANDLE pattern);
BOOL ReadFile(HANDLE file, LPVOID bytes, DWORD room, LPDWORD count, LPOVERLAPPED overlapped);
BOOL WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD count, LPOVERLAPPED overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method);
DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh);
BOOL DeleteFileW(LPCWSTR name);
DWORD GetFileAttributesA(LPCSTR name);
DWORD GetFileAttributesW(LPCWSTR name);
BOOL SetFileAttributesW(LPCWSTR name, DWORD attributes);
BOOL CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES security);
BOOL CreateDirectoryW(LPCWSTR name, LPSECURITY_ATTRIBUTES security);
BOOL RemoveDirectoryW(LPCWSTR name);
DWORD GetTempPathA(DWORD room, LPSTR path);
DWORD GetTempPathW(DWORD room, LPWSTR path);
}
