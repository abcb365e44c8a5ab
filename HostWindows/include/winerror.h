// System error codes and COM results, with Windows' values.
#pragma once

#include "windef.h"

inline constexpr DWORD NO_ERROR = 0;
inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_OUTOFMEMORY = 14;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_INVALID_ADDRESS = 487;
inline constexpr DWORD ERROR_NOACCESS = 998;
inline constexpr DWORD ERROR_REGISTRY_CORRUPT = 1015;
inline constexpr DWORD ERROR_REGISTRY_IO_FAILED = 1016;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_CHILD_MUST_BE_VOLATILE = 1021;
inline constexpr DWORD ERROR_MAPPED_ALIGNMENT = 1132;
inline constexpr DWORD ERROR_NO_ASSOCIATION = 1155;
inline constexpr DWORD ERROR_UNKNOWN_REVISION = 1305;
inline constexpr DWORD ERROR_INVALID_SID = 1337;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_RESOURCE_LANG_NOT_FOUND = 1815;

inline constexpr HRESULT HResultOf(std::uint32_t bits)
{
    return static_cast<HRESULT>(bits);
}
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOINTERFACE = HResultOf(0x80004002);
inline constexpr HRESULT E_POINTER = HResultOf(0x80004003);
inline constexpr HRESULT E_FAIL = HResultOf(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = HResultOf(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = HResultOf(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = HResultOf(0x80070057);
inline constexpr HRESULT RPC_E_CHANGED_MODE = HResultOf(0x80010106);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = HResultOf(0x80040154);
inline constexpr HRESULT CO_E_NOTINITIALIZED = HResultOf(0x800401F0);

inline constexpr bool SUCCEEDED(HRESULT result)
{
    return result >= 0;
}
inline constexpr bool FAILED(HRESULT result)
{
    return result < 0;
}
inline constexpr HRESULT HRESULT_FROM_WIN32(DWORD code)
{
    return code == 0 ? S_OK : HResultOf((code & 0xFFFF) | 0x80070000);
}
