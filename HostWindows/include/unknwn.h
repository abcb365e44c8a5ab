// The interface that every COM object has.
#pragma once
// Interfaces have virtual members and no virtual destructor: objects go by Release.
#pragma GCC system_header

#include "guiddef.h"

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct IUnknown
{
    virtual HRESULT QueryInterface(REFIID interfaceId, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};
using LPUNKNOWN = IUnknown*;
