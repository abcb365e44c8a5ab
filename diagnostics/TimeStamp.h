// The format of all times that the agent writes.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Writes the local time as "2024/05/06 07:08:09.010", terminated. @return characters, terminator not counted.
std::size_t FormatTimeStamp(std::span<char, 256> buffer);

} // namespace scankelv
