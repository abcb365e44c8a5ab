// Windows on the screen: only how a started program is to show its own.
#pragma once

#include "windef.h"

inline constexpr int SW_HIDE = 0;
