// Formats made piece by piece, with arguments: the same text as the C library's, in 8-bit and in wide characters, and
// cut to any buffer. Then the input itself as a format, which need not be one.
#include "TextFormat.h"

#include "Fuzz.h"

#include <cstdio>
#include <cstring>
#include <deque>
#include <vector>

namespace
{

using namespace fuzz;
using scankelv::FormatArgument;

/// A format with its arguments, and the text that it should give.
struct Case
{
    std::string_view input; ///< what is left of it
    std::string format;
    std::vector<FormatArgument> arguments;
    std::string expected;
    WideText expectedWide;
    std::deque<std::string> texts; ///< what the arguments point to
    std::deque<WideText> wideTexts;

    template <class Number>
    Number Take()
    {
        Number number = 0;
        const std::size_t count = std::min(sizeof(number), input.size());
        std::memcpy(&number, input.data(), count);
        input.remove_prefix(count);
        return number;
    }
    template <class Number>
    void AddNumber(unsigned shape, int width)
    {
        constexpr const char* sizes[] = {"", "l", "h", "ll", "hh"};
        const std::string start = shape >= 128 ? "%0" : "%";
        const char conversion = "diuxX"[shape % 5];
        const auto number = Take<Number>();
        format += start + (width != 0 ? std::to_string(width) : "") + sizes[shape / 5 % 5] + conversion;
        arguments.emplace_back(number);
        // For the C library the size letters of the number's own type.
        const std::string own = start + "*" + (sizeof(number) == sizeof(long long) ? "ll" : "") + conversion;
        char text[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(text, sizeof(text), own.c_str(), width, number);
#pragma GCC diagnostic pop
        Expect(text);
    }
    void AddText(unsigned shape, bool isWide)
    {
        const std::string& text = texts.emplace_back(std::string(input.substr(0, shape)).c_str());
        const WideText& wide = wideTexts.emplace_back(Widen(text));
        input.remove_prefix(std::min<std::size_t>(shape, input.size()));
        format += isWide ? shape % 2 == 0 ? "%ws" : "%S" : "%s";
        isWide ? arguments.emplace_back(wide.c_str()) : arguments.emplace_back(text.c_str());
        expected += isWide ? scankelv::NarrowFromWide(wide.c_str()) : text;
        expectedWide += isWide ? wide.c_str() : scankelv::WideFromNarrow(text).c_str();
    }
    void Expect(std::string_view ascii)
    {
        expected += ascii;
        expectedWide.append(ascii.begin(), ascii.end());
    }
};

/// The text, after a look at what becomes of it in a shorter buffer.
template <class CharType>
std::basic_string<CharType> Formatted(const char* format, const Case& made, std::size_t cutAt)
{
    const std::size_t length = scankelv::FormatErased(std::span<CharType>(), format, made.arguments);
    std::basic_string<CharType> whole(length + 1, CharType('!'));
    std::vector<CharType> cut(1 + cutAt % (length + 1), CharType('!'));
    for (const std::span<CharType> buffer : {std::span<CharType>(whole), std::span<CharType>(cut)})
    {
        Require(scankelv::FormatErased(buffer, format, made.arguments) == length, "every buffer gives the length");
        Require(buffer.back() == CharType(), "a text is terminated");
    }
    Require(std::equal(cut.begin(), cut.end() - 1, whole.begin()), "a cut text is the start of the whole");
    whole.pop_back();
    return whole;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Case made{TextOf(data, size), {}, {}, {}, {}, {}, {}};
    const std::size_t cutAt = made.Take<unsigned char>();
    for (int pieces = 0; pieces < 16 && !made.input.empty(); ++pieces)
    {
        const unsigned kind = made.Take<unsigned char>();
        const unsigned shape = made.Take<unsigned char>();
        const int width = static_cast<int>(kind / 6 % 33);
        if (kind % 6 == 0)
            made.AddNumber<int>(shape, width);
        else if (kind % 6 == 1)
            made.AddNumber<unsigned>(shape, width);
        else if (kind % 6 == 2)
            made.AddNumber<long long>(shape, width);
        else if (kind % 6 < 5)
            made.AddText(shape, kind % 6 == 3);
        else if (const char literal = static_cast<char>(shape); literal > 0)
        {
            made.format.append(literal == '%' ? 2 : 1, literal);
            made.Expect({&literal, 1});
        }
    }
    const std::string narrow = Formatted<char>(made.format.c_str(), made, cutAt);
    Require(narrow == made.expected, "the text is the C library's", made.format + "\n" + narrow);
    Require(Formatted<WCHAR>(made.format.c_str(), made, cutAt) == made.expectedWide, "wide alike", made.format);

    const std::string raw(TextOf(data, size));
    Formatted<char>(raw.c_str(), made, cutAt);
    Formatted<WCHAR>(raw.c_str(), made, cutAt);
    return 0;
}
