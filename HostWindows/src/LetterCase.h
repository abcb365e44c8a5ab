// Names without letter case, as Windows compares them.
#pragma once

#include <string_view>

namespace hostwindows
{

/// The capital of one UTF-16 unit, alphabets beyond ASCII included; characters without one stay (U+00DF too).
char16_t Capital(char16_t unit);

bool EqualWithoutCase(std::u16string_view left, std::u16string_view right);

} // namespace hostwindows
