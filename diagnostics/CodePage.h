// diagnostics: text formatting, logger types, the debugger-console logger and checked expressions.
// The lowest layer of the agent: it knows no ini file and no folder; a logger is given its configuration step.
//
// This header: texts in the system's 8-bit code page, and formatting with its conversion.
#pragma once

#include "TextFormat.h"

#include <windows.h>

namespace scankelv
{

/// Converts between UTF-16 and the system's 8-bit code page (CP_ACP).
extern const TextConversion systemCodePage;

/// The text in the system's 8-bit code page; a character that the code page lacks becomes its default character.
std::string NarrowFromWide(std::wstring_view text);

/// The UTF-16 form of a text in the system's 8-bit code page.
std::wstring WideFromNarrow(std::string_view text);

/// Selects the 8-bit or the wide form of a Windows function: Form<char>(::CreateFileA, ::CreateFileW).
template <class CharType, class Narrow, class Wide>
constexpr auto Form(Narrow* narrow, Wide* wide)
{
    if constexpr (std::is_same_v<CharType, char>)
        return narrow;
    else
        return wide;
}

/// Formats into the buffer: as many characters as fit, always terminated unless the buffer is empty. CharType: char or
/// wchar_t. @return the length of the whole text in characters, terminator not counted, also when it was cut.
template <class CharType, class... Args>
std::size_t FormatInto(std::span<CharType> buffer, TextFormat<Args...> format, const Args&... arguments)
{
    const std::array<FormatArgument, sizeof...(Args)> bundled{FormatArgument(arguments)...};
    return FormatErased(buffer, format.text, bundled, systemCodePage);
}

/// The formatted text as an owned string: Format<char>(...) or Format<wchar_t>(...).
template <class CharType, class... Args>
std::basic_string<CharType> Format(TextFormat<Args...> format, const Args&... arguments)
{
    CharType shortText[256];
    const std::size_t length = FormatInto(std::span<CharType>(shortText), format, arguments...);
    if (length < std::size(shortText))
        return {shortText, length};
    std::basic_string<CharType> text(length, CharType());
    FormatInto(std::span<CharType>(text.data(), length + 1), format, arguments...);
    return text;
}

} // namespace scankelv
