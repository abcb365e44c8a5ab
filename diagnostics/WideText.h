// diagnostics: text formatting, logger types, the debugger-console logger and checked expressions.
// The lowest floor of the agent: it knows no ini file and no folder; a logger is given its configuration step.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <windows.h>
#include <wtypes.h>

namespace scankelv
{

/// UTF-16 text. WCHAR is the 16-bit wide character of both systems, though not the same type on both.
using WideText = std::basic_string<WCHAR>;
using WideView = std::basic_string_view<WCHAR>;

/// The text in the system's 8-bit code page; a character that the code page lacks becomes its default character.
std::string NarrowFromWide(WideView text);

/// The UTF-16 form of a text in the system's 8-bit code page.
WideText WideFromNarrow(std::string_view text);

/// Compares without regard to the letter case of ASCII letters; all other characters compare exactly.
inline bool EqualsIgnoringAsciiCase(WideView left, WideView right)
{
    const auto lower = [](WCHAR c) { return c >= 'A' && c <= 'Z' ? static_cast<WCHAR>(c + ('a' - 'A')) : c; };
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(), [&](WCHAR a, WCHAR b) { return lower(a) == lower(b); });
}

/// Hands the form of the text in the system's 8-bit code page to `take`, piece by piece as std::string_view, and
/// allocates nothing.
template <class Take>
void NarrowPieces(WideView text, Take take)
{
    constexpr std::size_t pieceLength = 128;
    constexpr std::size_t widestCharacter = 4; // bytes for one UTF-16 unit, in any code page
    char bytes[pieceLength * widestCharacter];
    while (!text.empty())
    {
        std::size_t count = std::min(text.size(), pieceLength);
        if (count < text.size() && (text[count - 1] & 0xFC00) == 0xD800)
            --count; // both halves of a surrogate pair belong into one piece
        const int written = ::WideCharToMultiByte(
            CP_ACP, 0, text.data(), static_cast<int>(count), bytes, static_cast<int>(sizeof(bytes)), nullptr, nullptr);
        take(std::string_view(bytes, static_cast<std::size_t>(written)));
        text.remove_prefix(count);
    }
}

} // namespace scankelv
