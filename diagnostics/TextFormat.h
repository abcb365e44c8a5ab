// The one printf-style formatter of the agent: 8-bit formats, checked by the compiler against their arguments,
// printed as 8-bit or as wide text.
#pragma once

#include "WideText.h"

#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace scankelv
{

/// One argument of a format, its type erased: a number with its size and sign, or a text that must outlive the call.
class FormatArgument;
using FormatArguments = std::span<const FormatArgument>;

/// Whether a format fits its arguments: every conversion has its argument and the other way round, numbers meet
/// d, i, u, x, X, c, texts meet s, ws, S. Size letters (h, hh, l, ll) are accepted and carry no meaning: the
/// argument's own type says how wide it is. "%ws" and "%S" take a wide text, "%s" an 8-bit one.
template <class... Args>
constexpr bool Fits(std::string_view format);

/// A format whose fit with Args was proved at compile time.
template <class... Args>
struct CheckedFormat;
template <class... Args>
using TextFormat = CheckedFormat<std::type_identity_t<Args>...>;

/// Formats into the buffer: as many characters as fit, always terminated unless the buffer is empty.
/// @return the length of the whole text in characters, terminator not counted, also when it was cut.
template <class CharType>
std::size_t FormatErased(std::span<CharType> buffer, const char* format, FormatArguments arguments);

template <class CharType, class... Args>
std::size_t FormatInto(std::span<CharType> buffer, TextFormat<Args...> format, const Args&... arguments);

/// The formatted text as an owned string: Format<char>(...) or Format<WCHAR>(...).
template <class CharType, class... Args>
std::basic_string<CharType> Format(TextFormat<Args...> format, const Args&... arguments);

} // namespace scankelv
