// Length-prefixed texts, and variants of them.
#pragma once

#include "wtypes.h"

using VARIANT_BOOL = SHORT;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

using VARTYPE = USHORT;
inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_I4 = 3;
inline constexpr VARTYPE VT_BSTR = 8;

struct VARIANT
{
    VARTYPE vt;
    union
    {
        LONG lVal;
        BSTR bstrVal;
    };
};

extern "C" {
/// Null when memory runs out.
/// @param text  `length` characters, zeros among them or not; null leaves the new text's content unset
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
void SysFreeString(BSTR text);
/// Characters, terminator not counted; 0 for null.
UINT SysStringLen(BSTR text);
}
