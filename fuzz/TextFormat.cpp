// Formats made piece by piece from numbers and texts print what the C library prints, as 8-bit and as wide text and in
// buffers of any size; a number reads back as it was. Then the input itself is a format.
#include "TextFormat.h"

#include "Fuzz.h"
#include "Latin1.h"
#include "TextScan.h"

#include <cstring>
#include <vector>

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace scankelv;

/// The text, after a look at what becomes of it in a shorter buffer.
template <class CharType>
static std::basic_string<CharType> Printed(const std::string& format, FormatArguments arguments, std::size_t cutAt)
{
    const auto print = [&](std::span<CharType> space) {
        return FormatErased(space, format.c_str(), arguments, test::latin1);
    };
    const std::size_t length = print({});
    std::vector<CharType> whole(length + 1, '!'), cut(1 + cutAt % (length + 1), '!');
    fuzz::Require(print(whole) == length && print(cut) == length, "any buffer gives the length");
    fuzz::Require(whole.back() == 0 && cut.back() == 0, "a text is terminated");
    fuzz::Require(std::equal(cut.begin(), cut.end() - 1, whole.begin()), "a cut text is the start of the whole");
    return {whole.begin(), whole.end() - 1};
}

void fuzz::Try(std::string_view input)
{
    const std::string raw(input);
    const std::wstring wide = test::latin1.toWide(input);
    std::string format, expected;
    std::vector<FormatArgument> arguments;
    const auto addNumber = [&](const std::string& conversion, auto number) {
        char text[64];
        std::snprintf(text, sizeof(text), conversion.c_str(), number);
        const auto scan = conversion.find_first_of("xX") == conversion.npos ? &ScanDecimal16 : &ScanHexadecimal16;
        Require(scan(test::latin1.toWide(text), 7) == static_cast<std::uint16_t>(number), "a number reads back");
        arguments.emplace_back(number);
        format += conversion;
        expected += text;
    };
    while (input.size() > 1 + sizeof(std::int64_t))
    {
        const unsigned kind = static_cast<unsigned char>(input[0]), shape = static_cast<unsigned char>(input[1]);
        long long number = 0;
        std::memcpy(&number, input.data() + 1, sizeof(number));
        const std::string start = (kind >= 128 ? "%0" : "%") + std::to_string(1 + kind / 4 % 32);
        const std::size_t length = kind % 4 < 2 ? sizeof(number) : kind % 4 == 2 ? shape : 0;
        const std::string_view text = input.substr(2, length);
        if (kind % 4 == 0)
            addNumber(start + "diuxX"[shape % 5], static_cast<int>(number >> 8));
        else if (kind % 4 == 1)
            addNumber(start + "ll" + "diuxX"[shape % 5], number);
        else if (kind % 4 == 2)
        {
            const auto wideText = std::wstring_view(wide).substr(raw.size() - input.size() + 2, length);
            arguments.push_back(kind < 128 ? FormatArgument(text) : FormatArgument(wideText));
            format += kind < 128 ? "%s" : kind < 192 ? "%ws" : "%S";
            expected += text;
        }
        else if (shape != 0 && shape < 128)
        {
            format.append(shape == '%' ? 2 : 1, static_cast<char>(shape));
            expected += static_cast<char>(shape);
        }
        input.remove_prefix(std::min(2 + length, input.size()));
    }
    const std::size_t cutAt = wide.empty() ? 0 : static_cast<std::size_t>(wide.back());
    Require(Printed<char>(format, arguments, cutAt) == expected, "the text is the C library's");
    Require(Printed<wchar_t>(format, arguments, cutAt) == test::latin1.toWide(expected), "the wide text is alike");
    Printed<char>(raw, arguments, cutAt);
}
