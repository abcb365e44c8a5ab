// The one form in which the agent writes times.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Prints the local time as "2024/05/06 07:08:09.010", terminated. @return characters, terminator not counted.
std::size_t FormatTimeStamp(std::span<char, 256> buffer);

} // namespace scankelv
