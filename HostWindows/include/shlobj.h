// Special folders and item identifier lists.
#pragma once

#include "minwinbase.h"
#include "objidl.h"

inline constexpr int CSIDL_CONTROLS = 0x3; ///< a folder without a path
inline constexpr int CSIDL_LOCAL_APPDATA = 0x1C;
inline constexpr int CSIDL_COMMON_APPDATA = 0x23;
inline constexpr int CSIDL_CDBURN_AREA = 0x3B;
inline constexpr int CSIDL_FLAG_CREATE = 0x8000;
inline constexpr DWORD SHGFP_TYPE_CURRENT = 0;

struct ITEMIDLIST; // looked into by the shell alone
using LPITEMIDLIST = ITEMIDLIST*;

extern "C" {
HRESULT SHGetMalloc(IMalloc** allocator);
/// @param list  receives the folder's list, to be released through the shell's allocator
HRESULT SHGetSpecialFolderLocation(HWND owner, int folder, LPITEMIDLIST* list);
/// @param path  of 260 characters; empty after a failure
BOOL SHGetPathFromIDListA(const ITEMIDLIST* list, LPSTR path);
/// @param path  of 260 characters; empty after a failure
HRESULT SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path);
/// Makes a folder with all its missing parents. @return 0 or the error code: 183 when it is there already
int SHCreateDirectoryExW(HWND owner, LPCWSTR path, const SECURITY_ATTRIBUTES* attributes);
}
