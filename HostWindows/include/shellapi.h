// Starting a program through the shell.
#pragma once

#include "winuser.h"

inline constexpr ULONG SEE_MASK_NOCLOSEPROCESS = 0x40;
inline constexpr ULONG SEE_MASK_NOASYNC = 0x100;
inline constexpr ULONG SEE_MASK_FLAG_NO_UI = 0x400; ///< no message box about a failure; there is never one

struct SHELLEXECUTEINFOW
{
    DWORD cbSize;
    ULONG fMask;
    HWND hwnd;
    LPCWSTR lpVerb;
    LPCWSTR lpFile;
    LPCWSTR lpParameters;
    LPCWSTR lpDirectory;
    int nShow;
    HINSTANCE hInstApp; ///< out: above 32, or the reason of a failure
    HANDLE hProcess;    ///< out: the caller's to close, with SEE_MASK_NOCLOSEPROCESS
};

extern "C" {
/// Starts a program named by its path; no file type is associated with one, so that a document is refused (1155).
BOOL ShellExecuteExW(SHELLEXECUTEINFOW* info);
}
