// The agent's printf-style formatter. The compiler checks the 8-bit formats against their arguments; the output is
// 8-bit or wide text.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace scankelv
{

/// Conversion between 8-bit and wide text. It is passed to the formatter, which calls no Windows function itself and so
/// builds natively too.
struct TextConversion
{
    static constexpr std::size_t pieceLength = 512;   ///< wide characters
    static constexpr std::size_t widestCharacter = 4; ///< bytes for one wide character, in any code page
    using PieceBytes = std::array<char, pieceLength * widestCharacter>;

    /// Writes the 8-bit form of a piece of at most `pieceLength` characters, which must not end inside a surrogate
    /// pair. A character that the code page lacks becomes its default character. @return bytes written; no terminator
    std::size_t (*toNarrow)(std::wstring_view piece, PieceBytes& bytes);
    std::wstring (*toWide)(std::string_view text);
};

/// Passes the 8-bit form of the text to `take`, piece by piece as std::string_view. Allocates nothing.
template <class Take>
void NarrowPieces(const TextConversion& conversion, std::wstring_view text, Take take)
{
    TextConversion::PieceBytes bytes;
    while (!text.empty())
    {
        std::size_t count = std::min(text.size(), TextConversion::pieceLength);
        if (count < text.size() && text[count - 1] >= 0xD800 && text[count - 1] <= 0xDBFF)
            --count; // keeps both halves of a surrogate pair in one piece
        const std::size_t written = conversion.toNarrow(text.substr(0, count), bytes);
        take(std::string_view(bytes.data(), written));
        text.remove_prefix(count);
    }
}

/// One type-erased argument of a format: a number with its size, or a text, which must outlive the call. A null text
/// prints as "(null)".
class FormatArgument
{
public:
    enum class Kind : unsigned char
    {
        None,   ///< not printable
        Number, ///< of at most 32 bits
        Number64,
        Narrow,
        Wide
    };

    template <class T>
    static constexpr Kind KindOf()
    {
        if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
            return sizeof(T) > sizeof(std::uint32_t) ? Kind::Number64 : Kind::Number;
        else if constexpr (
            std::is_convertible_v<const T&, const char*> || std::is_convertible_v<const T&, std::string_view>)
            return Kind::Narrow;
        else if constexpr (
            std::is_convertible_v<const T&, const wchar_t*> || std::is_convertible_v<const T&, std::wstring_view>)
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
        else if constexpr (std::is_integral_v<T>)
            SetNumber(value);
        else if constexpr (KindOf<T>() == Kind::Narrow)
            SetText<char>(value, m_narrow);
        else
            SetText<wchar_t>(value, m_wide);
    }

    constexpr Kind Type() const { return m_kind; }
    constexpr std::uint64_t Unsigned() const { return m_number; }
    constexpr std::int64_t Signed() const
    {
        return m_kind == Kind::Number64 ? static_cast<std::int64_t>(m_number)
                                        : static_cast<std::int32_t>(static_cast<std::uint32_t>(m_number));
    }
    constexpr std::string_view Narrow() const { return TextOf<char>(m_narrow, "(null)"); }
    constexpr std::wstring_view Wide() const { return TextOf<wchar_t>(m_wide, L"(null)"); }

private:
    static constexpr std::size_t upToTerminator = static_cast<std::size_t>(-1);

    template <class Number>
    constexpr void SetNumber(Number value)
    {
        // Types smaller than int are promoted to int, as in every call of printf.
        using Promoted = decltype(+value);
        m_number = static_cast<std::uint64_t>(static_cast<std::make_unsigned_t<Promoted>>(+value));
    }
    template <class CharType, class Text>
    constexpr void SetText(const Text& value, const CharType*& text)
    {
        if constexpr (std::is_convertible_v<const Text&, const CharType*>)
        {
            text = value; // the length is determined only when the text is printed; a silent logger never needs it
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
    std::size_t m_length = upToTerminator;
    union
    {
        std::uint64_t m_number = 0;
        const char* m_narrow;
        const wchar_t* m_wide;
    };
};
using FormatArguments = std::span<const FormatArgument>;

/// One step through a format: literal text, then at most one conversion.
struct FormatPiece
{
    std::string_view literal;
    char conversion = 0; ///< d i u x X c; s: 8-bit text; S: wide text; 0: none; ?: invalid
    bool zeros = false;
    bool is64Bit = false; ///< "ll"
    std::size_t width = 0;

    constexpr FormatArgument::Kind Takes() const
    {
        return conversion == 's'   ? FormatArgument::Kind::Narrow
               : conversion == 'S' ? FormatArgument::Kind::Wide
               : is64Bit           ? FormatArgument::Kind::Number64
                                   : FormatArgument::Kind::Number;
    }
};

/// Removes the next piece from the front of a format. Number conversions may have "0", a width of at most 32 and size
/// letters; text conversions may not.
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

    // Compared letter by letter: every logged line is parsed here, and comparing texts would cost a call each.
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
            piece.is64Bit = take(size) && size == 'l';
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

/// Whether a format fits its arguments: as many conversions as arguments, each of the right kind. d, i, u, x, X and c
/// take a number, "%s" an 8-bit text, "%ws" and "%S" a wide text. A 64-bit number needs "ll". A number of at most 32
/// bits takes h, hh, l or no size letter, as its size comes from the argument's type. The format must be ASCII, so that
/// it is the same in every code page and in wide text.
template <class... Args>
constexpr bool Fits(std::string_view format)
{
    // One element more than needed, as an array cannot be empty.
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

/// Never defined. A call to it is no constant expression, so that a format that does not fit does not compile.
void FormatDoesNotFitItsArguments();

/// A format that was checked against Args at compile time.
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
std::size_t FormatErased(
    std::span<CharType> buffer, const char* format, FormatArguments arguments, const TextConversion& conversion);

} // namespace scankelv
