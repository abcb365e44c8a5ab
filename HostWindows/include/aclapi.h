// Access lists.
#pragma once

#include "accctrl.h"

extern "C" {
/// Makes a list of entries that each allow an identifier, to be given to LocalFree; there is never an old list.
/// @return 0 or the error code
DWORD SetEntriesInAclW(ULONG count, PEXPLICIT_ACCESSW entries, PACL oldList, PACL* newList);
}
