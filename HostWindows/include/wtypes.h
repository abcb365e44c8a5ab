// Wide literals and the texts of COM.
#pragma once

#include "windef.h"

using OLECHAR = WCHAR;
using BSTR = OLECHAR*;

#define OLESTR(text) u##text
