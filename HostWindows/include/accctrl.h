// Access entries in the form in which a program states them.
#pragma once

#include "winnt.h"

enum ACCESS_MODE
{
    NOT_USED_ACCESS,
    GRANT_ACCESS,
    SET_ACCESS
};
enum MULTIPLE_TRUSTEE_OPERATION
{
    NO_MULTIPLE_TRUSTEE
};
enum TRUSTEE_FORM
{
    TRUSTEE_IS_SID
};
enum TRUSTEE_TYPE
{
    TRUSTEE_IS_UNKNOWN = 0,
    TRUSTEE_IS_WELL_KNOWN_GROUP = 5
};

inline constexpr DWORD NO_INHERITANCE = 0x0;
inline constexpr DWORD SUB_CONTAINERS_AND_OBJECTS_INHERIT = 0x3;

struct TRUSTEE_W
{
    TRUSTEE_W* pMultipleTrustee;
    MULTIPLE_TRUSTEE_OPERATION MultipleTrusteeOperation;
    TRUSTEE_FORM TrusteeForm;
    TRUSTEE_TYPE TrusteeType;
    LPWSTR ptstrName; ///< the identifier itself when the form is TRUSTEE_IS_SID
};
struct EXPLICIT_ACCESSW
{
    DWORD grfAccessPermissions;
    ACCESS_MODE grfAccessMode;
    DWORD grfInheritance;
    TRUSTEE_W Trustee;
};
using PEXPLICIT_ACCESSW = EXPLICIT_ACCESSW*;
