// Formats made piece by piece, with arguments: the same text as the C library's, in 8-bit and in wide characters, and
// cut to any buffer. Then the input itself as a format and as texts, which need not be one.
#include "TextFormat.h"

#include "Fuzz.h"

#include <cstdio>
#include <cstring>
#include <deque>
#include <vector>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace fuzz;

namespace
{

template <class Number>
Number TakeNumber(std::string_view& input)
{
    Number number = 0;
    const std::string_view bytes = Take(input, sizeof(number));
    std::memcpy(&number, bytes.data(), bytes.size());
    return number;
}

/// The text, after a look at what becomes of it in a shorter buffer.
template <class CharType>
std::basic_string<CharType> Formatted(const char* format, FormatArguments arguments, std::size_t cutAt)
{
    const std::size_t length = FormatErased(std::span<CharType>(), format, arguments);
    std::vector<CharType> whole(length + 1);
    std::vector<CharType> cut(1 + cutAt % (length + 1));
    for (std::vector<CharType>* buffer : {&whole, &cut})
    {
        buffer->back() = '!';
        Require(FormatErased(std::span<CharType>(*buffer), format, arguments) == length, "any buffer gives the length");
        Require(buffer->back() == CharType(), "a text is terminated");
    }
    Require(std::equal(cut.begin(), cut.end() - 1, whole.begin()), "a cut text is the start of the whole");
    return {whole.begin(), whole.end() - 1};
}

} // namespace

void fuzz::Try(std::string_view input)
{
    const std::string raw(input);
    std::string format;
    std::string expected;
    std::vector<FormatArgument> arguments;
    std::deque<std::string> texts; // what the arguments point to
    std::deque<WideText> wideTexts;
    const auto cutAt = TakeNumber<unsigned char>(input);
    while (!input.empty())
    {
        const auto kind = TakeNumber<unsigned char>(input);
        const auto shape = TakeNumber<unsigned char>(input);
        // The C library wants the size letters of the number's own type; here it has any.
        const auto addNumber = [&](auto number, const char* ownSize) {
            constexpr const char* sizes[] = {"", "l", "h", "ll", "hh"};
            const int width = kind / 6 % 33;
            const std::string start = (shape >= 128 ? "%0" : "%") + (width == 0 ? "" : std::to_string(width));
            const char conversion = "diuxX"[shape % 5];
            char text[64];
            std::snprintf(text, sizeof(text), (start + ownSize + conversion).c_str(), number);
            arguments.emplace_back(number);
            format += start + sizes[shape / 5 % 5] + conversion;
            expected += text;
        };
        if (kind % 6 < 2)
            addNumber(TakeNumber<int>(input), "");
        else if (kind % 6 == 2)
            addNumber(TakeNumber<long long>(input), "ll");
        else if (kind % 6 < 5)
        {
            const std::string& text = texts.emplace_back(NarrowFromWide(Widen(Take(input, shape)).c_str()));
            const WideText& wide = wideTexts.emplace_back(WideFromNarrow(text));
            const bool isWide = kind % 6 == 4;
            isWide ? arguments.emplace_back(wide.c_str()) : arguments.emplace_back(text.c_str());
            format += !isWide ? "%s" : shape % 2 == 0 ? "%ws" : "%S";
            expected += text;
        }
        else if (const char literal = static_cast<char>(shape); literal > 0)
        {
            format.append(literal == '%' ? 2 : 1, literal);
            expected += literal;
        }
    }
    const std::string narrow = Formatted<char>(format.c_str(), arguments, cutAt);
    Require(narrow == expected, "the text is the C library's", format + "\n" + narrow);
    const WideText wide = Formatted<WCHAR>(format.c_str(), arguments, cutAt);
    Require(wide == WideFromNarrow(narrow), "the wide text is alike", format);

    const WideText units = Widen(raw).c_str();
    const FormatArgument any[] = {FormatArgument(raw.c_str()), FormatArgument(units.c_str())};
    const WideText anyWide = WideFromNarrow(raw.c_str()) + units;
    Require(Formatted<WCHAR>("%s%ws", any, cutAt) == anyWide, "any text becomes wide");
    Require(Formatted<char>("%ws", {any + 1, 1}, cutAt) == NarrowFromWide(units), "any wide text becomes narrow");
    Formatted<char>(raw.c_str(), arguments, cutAt);
    Formatted<WCHAR>(raw.c_str(), arguments, cutAt);
}
