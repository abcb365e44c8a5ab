// The one printf-style formatter of the agent: 8-bit formats, checked by the compiler against their arguments,
// printed as 8-bit or as wide text.
#pragma once

#include "WideText.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace scankelv
{

/// One argument of a format, its type erased: a number with its size, or a text that must outlive the call. A null
/// text prints as "(null)".
class FormatArgument
{
public:
    enum class Kind : unsigned char
    {
        None, ///< not printable
        Number,
        Narrow,
        Wide
    };

    template <class T>
    static constexpr Kind KindOf()
    {
        if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
            return Kind::Number;
        else if constexpr (
            std::is_convertible_v<const T&, const char*> || std::is_convertible_v<const T&, std::string_view>)
            return Kind::Narrow;
        else if constexpr (std::is_convertible_v<const T&, const WCHAR*> || std::is_convertible_v<const T&, WideView>)
            return Kind::Wide;
        else
            return Kind::None;
    }

    template <class T>
    explicit constexpr FormatArgument(const T& value) noexcept : m_kind(KindOf<T>())
    {
        static_assert(KindOf<T>() != Kind::None, "an argument is a number, an 8-bit or a wide text");
        if constexpr (std::is_enum_v<T>)
            SetNumber(static_cast<std::underlying_type_t<T>>(value));
        else if constexpr (KindOf<T>() == Kind::Number)
            SetNumber(value);
        else if constexpr (KindOf<T>() == Kind::Narrow)
            SetText<char>(value, m_narrow);
        else
            SetText<WCHAR>(value, m_wide);
    }

    constexpr Kind Type() const { return m_kind; }
    constexpr std::uint64_t Unsigned() const { return m_number; }
    constexpr std::int64_t Signed() const
    {
        return m_is64Bit ? static_cast<std::int64_t>(m_number)
                         : static_cast<std::int32_t>(static_cast<std::uint32_t>(m_number));
    }
    constexpr std::string_view Narrow() const { return TextOf<char>(m_narrow, "(null)"); }
    constexpr WideView Wide() const { return TextOf<WCHAR>(m_wide, OLESTR("(null)")); }

private:
    static constexpr std::size_t upToTerminator = static_cast<std::size_t>(-1);

    template <class Number>
    constexpr void SetNumber(Number value)
    {
        // What is smaller than an int is passed as an int, as to every printf.
        using Promoted = decltype(+value);
        m_is64Bit = sizeof(Promoted) == sizeof(std::uint64_t);
        m_number = static_cast<std::uint64_t>(static_cast<std::make_unsigned_t<Promoted>>(+value));
    }
    template <class CharType, class Text>
    constexpr void SetText(const Text& value, const CharType*& text)
    {
        if constexpr (std::is_convertible_v<const Text&, const CharType*>)
        {
            text = value; // the length is looked for when the text is printed, and not at all by a silent logger
        }
        else
        {
            const std::basic_string_view<CharType> view = value;
            text = view.data();
            m_length = view.size();
        }
    }
    template <class CharType>
    constexpr std::basic_string_view<CharType> TextOf(const CharType* text, const CharType* none) const
    {
        if (m_length != upToTerminator)
            return {text, m_length};
        return text == nullptr ? none : text;
    }

    Kind m_kind;
    bool m_is64Bit = false;
    std::size_t m_length = upToTerminator;
    union
    {
        std::uint64_t m_number = 0;
        const char* m_narrow;
        const WCHAR* m_wide;
    };
};
using FormatArguments = std::span<const FormatArgument>;

/// One step through a format: a text that is copied as it is, then perhaps a conversion.
struct FormatPiece
{
    std::string_view literal;
    char conversion = 0; ///< d i u x X c; s: 8-bit text; S: wide text; 0: none; ?: not understood
    bool zeros = false;
    std::size_t width = 0;

    constexpr FormatArgument::Kind Takes() const
    {
        return conversion == 's'   ? FormatArgument::Kind::Narrow
               : conversion == 'S' ? FormatArgument::Kind::Wide
                                   : FormatArgument::Kind::Number;
    }
};

/// Takes the next piece off the front of a format. Numbers may have zeros, a width and size letters, texts may not.
constexpr FormatPiece TakeFormatPiece(std::string_view& rest)
{
    FormatPiece piece;
    const std::size_t percent = rest.find('%');
    if (percent == std::string_view::npos)
    {
        piece.literal = rest;
        rest = {};
        return piece;
    }
    const bool doubled = rest.substr(percent + 1).starts_with('%');
    piece.literal = rest.substr(0, doubled ? percent + 1 : percent);
    rest.remove_prefix(doubled ? percent + 2 : percent + 1);
    if (doubled)
        return piece;

    // Letter by letter: every logged line passes here, and comparing texts costs a call each.
    const auto take = [&rest](char letter) {
        const bool taken = rest.starts_with(letter);
        rest.remove_prefix(taken ? 1 : 0);
        return taken;
    };
    const std::size_t before = rest.size();
    piece.zeros = take('0');
    constexpr std::size_t widest = 32;
    for (; !rest.empty() && rest[0] >= '0' && rest[0] <= '9' && piece.width <= widest; rest.remove_prefix(1))
        piece.width = piece.width * 10 + static_cast<std::size_t>(rest[0] - '0');
    for (const char size : {'h', 'l'})
        if (take(size))
        {
            take(size);
            break;
        }
    const bool bare = rest.size() == before;
    if (bare && take('w'))
    {
        piece.conversion = take('s') ? 'S' : '?';
        return piece;
    }
    const std::string_view allowed = bare ? "diuxXcsS" : "diuxX";
    const bool known = !rest.empty() && allowed.find(rest[0]) != std::string_view::npos && piece.width <= widest;
    piece.conversion = known ? rest[0] : '?';
    rest.remove_prefix(known ? 1 : 0);
    return piece;
}

/// Whether a format fits its arguments: every conversion has its argument and the other way round, numbers meet
/// d, i, u, x, X, c, texts meet s, ws, S. Size letters (h, hh, l, ll) are accepted and carry no meaning: the
/// argument's own type says how wide it is. "%ws" and "%S" take a wide text, "%s" an 8-bit one. The format itself is
/// ASCII, so that it reads alike in every code page and in wide text.
template <class... Args>
constexpr bool Fits(std::string_view format)
{
    // One more than needed, as an array has at least one element.
    constexpr FormatArgument::Kind kinds[] = {FormatArgument::KindOf<Args>()..., FormatArgument::Kind::None};
    std::size_t taken = 0;
    while (!format.empty())
    {
        const FormatPiece piece = TakeFormatPiece(format);
        for (const char c : piece.literal)
            if (static_cast<unsigned char>(c) > 0x7F)
                return false;
        if (piece.conversion == 0)
            continue;
        if (piece.conversion == '?' || taken == sizeof...(Args) || kinds[taken++] != piece.Takes())
            return false;
    }
    return taken == sizeof...(Args);
}

/// Never defined: a call to it is no constant, so that the compiler stops at a format that does not fit.
void FormatDoesNotFitItsArguments();

/// A format whose fit with Args was proved at compile time.
template <class... Args>
struct CheckedFormat
{
    const char* text;

    consteval CheckedFormat(const char* format) : text(format)
    {
        if (!Fits<Args...>(format))
            FormatDoesNotFitItsArguments();
    }
};
template <class... Args>
using TextFormat = CheckedFormat<std::type_identity_t<Args>...>;

/// Formats into the buffer: as many characters as fit, always terminated unless the buffer is empty.
/// @return the length of the whole text in characters, terminator not counted, also when it was cut.
template <class CharType>
std::size_t FormatErased(std::span<CharType> buffer, const char* format, FormatArguments arguments);

template <class CharType, class... Args>
std::size_t FormatInto(std::span<CharType> buffer, TextFormat<Args...> format, const Args&... arguments)
{
    const std::array<FormatArgument, sizeof...(Args)> bundled{FormatArgument(arguments)...};
    return FormatErased(buffer, format.text, bundled);
}

/// The formatted text as an owned string: Format<char>(...) or Format<WCHAR>(...).
template <class CharType, class... Args>
std::basic_string<CharType> Format(TextFormat<Args...> format, const Args&... arguments)
{
    const std::array<FormatArgument, sizeof...(Args)> bundled{FormatArgument(arguments)...};
    CharType shortText[256];
    const std::size_t length = FormatErased(std::span<CharType>(shortText), format.text, bundled);
    if (length < std::size(shortText))
        return {shortText, length};
    std::basic_string<CharType> text(length, CharType());
    FormatErased(std::span<CharType>(text.data(), length + 1), format.text, bundled);
    return text;
}

} // namespace scankelv
