// Processes and threads.
#pragma once

#include "minwinbase.h"

struct STARTUPINFOW
{
    DWORD cb;
    LPWSTR lpReserved;
    LPWSTR lpDesktop;
    LPWSTR lpTitle;
    DWORD dwX;
    DWORD dwY;
    DWORD dwXSize;
    DWORD dwYSize;
    DWORD dwXCountChars;
    DWORD dwYCountChars;
    DWORD dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    LPBYTE lpReserved2;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};
using LPSTARTUPINFOW = STARTUPINFOW*;

struct PROCESS_INFORMATION
{
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};
using LPPROCESS_INFORMATION = PROCESS_INFORMATION*;

extern "C" {
DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

/// Starts a program. The program must be named by its path, and the command line be given; the environment is always
/// the caller's own, and the start information is not looked at. A Linux program reads its arguments split as the
/// Windows C runtime splits a command line; GetCommandLine gives the line exactly.
BOOL CreateProcessW(
    LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processAttributes,
    LPSECURITY_ATTRIBUTES threadAttributes, BOOL inheritHandles, DWORD flags, LPVOID environment, LPCWSTR currentFolder,
    LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information);

/// Of the exit code that a program ends with by itself, Linux keeps the low 8 bits.
BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
BOOL TerminateProcess(HANDLE process, UINT exitCode);
[[noreturn]] void ExitProcess(UINT exitCode);
}
