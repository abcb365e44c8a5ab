// The Windows headers' common entrance: what <windows.h> brings in on Windows, as far as this project calls it.
#pragma once

#include "guiddef.h"
#include "windef.h"

#include "winerror.h"
#include "winnt.h"

#include "fileapi.h"
#include "handleapi.h"
#include "memoryapi.h"
#include "securitybaseapi.h"
#include "winbase.h"
#include "winreg.h"
#include "winuser.h"
#include "winver.h"
