// The time of day.
#pragma once

#include "minwinbase.h"

extern "C" {
void GetLocalTime(LPSYSTEMTIME time);
}
