// COM for one thread, and the creation of objects.
#pragma once

#include "unknwn.h"

inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;

inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
inline constexpr DWORD CLSCTX_INPROC_HANDLER = 0x2;
inline constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
inline constexpr DWORD CLSCTX_REMOTE_SERVER = 0x10;

extern "C" {
/// S_OK for the thread's first call, S_FALSE for a further one; each of them needs one CoUninitialize.
HRESULT CoInitializeEx(LPVOID reserved, DWORD model);
void CoUninitialize();
/// The classes known are DOMDocument alone, in process, and never part of another. `object` is null after a failure.
HRESULT CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD classContext, REFIID interfaceId, LPVOID* object);
}
