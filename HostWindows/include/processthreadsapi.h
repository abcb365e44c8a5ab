// Processes and threads.
#pragma once

#include "minwinbase.h"

struct STARTUPINFOW
{
    DWORD cb; // and nothing else is looked at
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
/// the caller's own, and the start information is not looked at. A Linux program reads its arguments split at the
/// blanks outside of quotes; GetCommandLine gives the line exactly.
BOOL CreateProcessW(
    LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES processAttributes,
    LPSECURITY_ATTRIBUTES threadAttributes, BOOL inheritHandles, DWORD flags, LPVOID environment, LPCWSTR currentFolder,
    LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information);

/// Linux keeps the low 8 bits; a program that was ended has 128 and the signal's number, whatever code was asked.
BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
BOOL TerminateProcess(HANDLE process, UINT exitCode);
[[noreturn]] void ExitProcess(UINT exitCode);
}
