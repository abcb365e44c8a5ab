// The version that a system library tells of itself.
#pragma once

#include "windef.h"

struct DLLVERSIONINFO
{
    DWORD cbSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformID;
};
using DLLGETVERSIONPROC = HRESULT (*)(DLLVERSIONINFO* version);
