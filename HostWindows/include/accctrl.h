// Access entries in the form in which a program states them.
#pragma once

#include "winnt.h"

inline constexpr DWORD SET_ACCESS = 2;
inline constexpr DWORD TRUSTEE_IS_SID = 0;
inline constexpr DWORD TRUSTEE_IS_WELL_KNOWN_GROUP = 5;
inline constexpr DWORD SUB_CONTAINERS_AND_OBJECTS_INHERIT = 0x3;

struct TRUSTEE_W
{
    DWORD TrusteeForm;
    DWORD TrusteeType;
    LPWSTR ptstrName; ///< the identifier itself when the form is TRUSTEE_IS_SID
};
struct EXPLICIT_ACCESSW
{
    DWORD grfAccessPermissions;
    DWORD grfAccessMode;
    DWORD grfInheritance;
    TRUSTEE_W Trustee;
};
using PEXPLICIT_ACCESSW = EXPLICIT_ACCESSW*;
