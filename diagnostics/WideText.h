// diagnostics: text formatting, logger types, the debugger-console logger and checked expressions.
// The lowest floor of the agent: it knows no ini file and no folder; a logger is given its configuration step.
#pragma once

#include <string>
#include <string_view>
#include <windows.h>
#include <wtypes.h>

namespace scankelv
{

/// UTF-16 text. WCHAR is the wide character of both systems (wchar_t on Windows, char16_t on the host).
using WideText = std::basic_string<WCHAR>;
using WideView = std::basic_string_view<WCHAR>;

/// The text in the system's 8-bit code page; a character that the code page lacks becomes its default character.
std::string NarrowFromWide(WideView text);

/// The UTF-16 form of a text in the system's 8-bit code page.
WideText WideFromNarrow(std::string_view text);

/// Compares without regard to the letter case of ASCII letters; all other characters compare exactly.
bool EqualsIgnoringAsciiCase(WideView left, WideView right);

} // namespace scankelv
