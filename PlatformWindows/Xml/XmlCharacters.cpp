#include "XmlCharacters.h"

#include <algorithm>

namespace scankelv
{
namespace
{

constexpr wchar_t replacement = 0xFFFD;

bool IsHighSurrogate(wchar_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

bool IsLowSurrogate(wchar_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

bool CanStandAlone(wchar_t c)
{
    const bool isSpace = c == L'\t' || c == L'\n' || c == L'\r';
    return (c >= L' ' || isSpace) && !IsHighSurrogate(c) && !IsLowSurrogate(c) && c != 0xFFFE && c != 0xFFFF;
}

/// How many wchar_t at `at` form one valid character: 1, 2 for a surrogate pair, or 0 when it is not valid.
std::size_t CarriedAt(std::wstring_view text, std::size_t at)
{
    if (IsHighSurrogate(text[at]) && at + 1 < text.size() && IsLowSurrogate(text[at + 1]))
        return 2;
    return CanStandAlone(text[at]) ? 1 : 0;
}

} // namespace

bool XmlCanCarry(std::wstring_view text) noexcept
{
    std::size_t at = 0;
    while (at < text.size() && CarriedAt(text, at) != 0)
        at += CarriedAt(text, at);
    return at == text.size();
}

std::wstring XmlCarried(std::wstring_view text)
{
    std::wstring carried(text);
    for (std::size_t at = 0; at < carried.size(); at += std::max<std::size_t>(CarriedAt(carried, at), 1))
        if (CarriedAt(carried, at) == 0)
            carried[at] = replacement;
    return carried;
}

} // namespace scankelv
