// The base functions, but for files and handles, mappings and the registry.
#pragma once

#include "minwinbase.h"

#include <cstdarg>

inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000; // a hint, and not taken
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_END = 2;

extern "C" {
// The calling thread's last error, and the process's error mode.
DWORD GetLastError();
void SetLastError(DWORD code);

inline constexpr UINT SEM_FAILCRITICALERRORS = 0x0001;
inline constexpr UINT SEM_NOOPENFILEERRORBOX = 0x8000;

/// Only remembered: no call here opens a box. @return the mode before
UINT SetErrorMode(UINT mode);

/// Appends the text as it is, in one piece, to the debugger console: the file that the environment variable
/// HOSTWINDOWS_DEBUG_CONSOLE names (looked at in every call), else to standard error. Keeps the last error.
void OutputDebugStringA(LPCSTR text);

// The command line and the environment.
/// The line exactly as the process that started this one gave it; started by another Linux program, the line is made of
/// the arguments.
LPWSTR GetCommandLineW();

/// @return characters copied, terminator not counted; the room needed, terminator counted, when `size` is too small; 0
/// with last error 203 when there is no such variable
DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size);
/// A null value removes the variable.
BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value);

// Libraries and modules. A module's handle is the address it is loaded at.
HMODULE LoadLibraryA(LPCSTR name);
HMODULE LoadLibraryW(LPCWSTR name);
BOOL FreeLibrary(HMODULE module);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);

inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 0x2;
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x4;

/// The program, by a null name: no other module is found by its name.
HMODULE GetModuleHandleW(LPCWSTR name);
/// Only by an address, and without counting.
BOOL GetModuleHandleExW(DWORD flags, LPCWSTR address, HMODULE* module);

/// @param size  characters that fit, terminator counted
/// @return characters copied, terminator not counted; `size` with last error 122 when the path was cut
DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size);
DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD size);

// Processes and threads.
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

// Waiting.
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

void Sleep(DWORD milliseconds);

/// Waits for the end of a process, the one kind of object that is waited for. @return WAIT_OBJECT_0, WAIT_TIMEOUT or
/// WAIT_FAILED
DWORD WaitForSingleObject(HANDLE process, DWORD milliseconds);

// The time of day, the bell.
void GetLocalTime(LPSYSTEMTIME time);
/// Rings the terminal's bell, where standard error is one, and returns at once; the pitch and the length are not heard.
BOOL Beep(DWORD hertz, DWORD milliseconds);

// Conversion between UTF-16 and 8-bit texts.
inline constexpr UINT CP_ACP = 0; // UTF-8 too
inline constexpr UINT CP_UTF8 = 65001;

/// What is malformed becomes U+FFFD; the flags are not looked at.
/// @param length  of the text, -1 when it is terminated; the terminator is then converted too
/// @param room  0 asks for the room needed
/// @return units written or needed; 0 on failure
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer, int room);
int WideCharToMultiByte(
    UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer, int room, LPCSTR defaultCharacter,
    LPBOOL defaultUsed);

// Profile files.
UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT preset, LPCSTR file);
UINT GetPrivateProfileIntW(LPCWSTR section, LPCWSTR key, INT preset, LPCWSTR file);
/// @param size  characters that fit, terminator counted. @return characters copied, terminator not counted
DWORD
GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR preset, LPWSTR buffer, DWORD size, LPCWSTR file);
BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file);

// Message texts, local memory.
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

/// The system's text of a code, closing CR LF included; both flags must be given. @return its length in bytes, 0 on
/// failure, the buffer being untouched then
DWORD
FormatMessageA(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer, DWORD size, va_list* arguments);

inline constexpr UINT LPTR = 0x0040; ///< zeroed, as all of it is

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
HLOCAL LocalFree(HLOCAL memory);

/// The entry of a windowless program, defined by the program; its exit code is what this returns. The arguments are
/// null: the command line has them.
int wWinMain(HINSTANCE instance, HINSTANCE previous, LPWSTR arguments, int show);
}
