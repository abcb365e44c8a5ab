// Upper case and comparison of ASCII letters. All other characters are compared as they are.
#pragma once

#include <algorithm>
#include <string_view>

namespace scankelv
{

constexpr wchar_t UpperAscii(wchar_t c)
{
    return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

inline bool EqualsIgnoringAsciiCase(std::wstring_view left, std::wstring_view right)
{
    return std::ranges::equal(left, right, {}, UpperAscii, UpperAscii);
}

} // namespace scankelv
