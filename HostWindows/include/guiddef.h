// Identifiers of interfaces and classes.
#pragma once

#include "windef.h"

struct GUID
{
    ULONG Data1;
    USHORT Data2;
    USHORT Data3;
    UCHAR Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr bool operator==(REFGUID left, REFGUID right)
{
    bool equal = left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3;
    for (int i = 0; i < 8; ++i)
        equal = equal && left.Data4[i] == right.Data4[i];
    return equal;
}
