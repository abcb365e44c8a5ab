#include "TextFormat.h"

#include <charconv>

namespace scankelv
{
namespace
{

/// A bounded buffer that counts all characters written to it, also those that did not fit.
template <class CharType>
class Output
{
public:
    Output(std::span<CharType> buffer, const TextConversion& conversion) : m_buffer(buffer), m_conversion(conversion) {}

    template <class From>
    void Put(std::basic_string_view<From> text)
    {
        if (m_length + 1 < m_buffer.size())
            std::copy_n(text.data(), std::min(m_buffer.size() - m_length - 1, text.size()), m_buffer.data() + m_length);
        m_length += text.size();
    }

    void PutNarrow(std::string_view text)
    {
        if constexpr (std::is_same_v<CharType, char>)
            Put(text);
        else
            Put(std::wstring_view(m_conversion.toWide(text)));
    }
    void PutWide(std::wstring_view text)
    {
        if constexpr (std::is_same_v<CharType, char>)
            NarrowPieces(m_conversion, text, [this](std::string_view piece) { Put(piece); });
        else
            Put(text);
    }
    void PutNumber(const FormatPiece& piece, const FormatArgument& argument)
    {
        const bool isSigned = piece.conversion == 'd' || piece.conversion == 'i';
        const bool isNegative = isSigned && argument.Signed() < 0;
        const std::uint64_t magnitude = isNegative ? 0 - static_cast<std::uint64_t>(argument.Signed())
                                        : isSigned ? static_cast<std::uint64_t>(argument.Signed())
                                                   : argument.Unsigned();
        const bool isHexadecimal = piece.conversion == 'x' || piece.conversion == 'X';
        char digits[20];
        const char* const end =
            std::to_chars(std::begin(digits), std::end(digits), magnitude, isHexadecimal ? 16 : 10).ptr;
        if (piece.conversion == 'X')
            for (char& digit : digits)
                digit = digit >= 'a' && digit <= 'f' ? static_cast<char>(digit - 'a' + 'A') : digit;
        const std::string_view number(digits, static_cast<std::size_t>(end - digits));
        const std::size_t length = number.size() + (isNegative ? 1 : 0);
        if (isNegative && piece.zeros)
            Put(std::string_view("-"));
        for (std::size_t i = length; i < piece.width; ++i)
            Put(std::string_view(piece.zeros ? "0" : " "));
        if (isNegative && !piece.zeros)
            Put(std::string_view("-"));
        Put(number);
    }

    std::size_t Terminate()
    {
        if (!m_buffer.empty())
            m_buffer[std::min(m_length, m_buffer.size() - 1)] = CharType();
        return m_length;
    }

private:
    std::span<CharType> m_buffer;
    const TextConversion& m_conversion;
    std::size_t m_length = 0;
};

} // namespace

template <class CharType>
std::size_t FormatErased(
    std::span<CharType> buffer, const char* format, FormatArguments arguments, const TextConversion& conversion)
{
    Output<CharType> output(buffer, conversion);
    std::string_view rest = format;
    while (!rest.empty())
    {
        const FormatPiece piece = TakeFormatPiece(rest);
        output.Put(piece.literal);
        if (piece.conversion == 0)
            continue;
        if (piece.conversion == '?' || arguments.empty() || arguments.front().Type() != piece.Takes())
            break; // possible only for a format that was not checked at compile time
        const FormatArgument& argument = arguments.front();
        const char character = static_cast<char>(argument.Unsigned());
        switch (piece.conversion)
        {
        case 's':
            output.PutNarrow(argument.Narrow());
            break;
        case 'S':
            output.PutWide(argument.Wide());
            break;
        case 'c':
            output.PutNarrow({&character, 1});
            break;
        default:
            output.PutNumber(piece, argument);
        }
        arguments = arguments.subspan(1);
    }
    return output.Terminate();
}

template std::size_t FormatErased<char>(std::span<char>, const char*, FormatArguments, const TextConversion&);
template std::size_t FormatErased<wchar_t>(std::span<wchar_t>, const char*, FormatArguments, const TextConversion&);

} // namespace scankelv
