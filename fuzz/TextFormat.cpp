// Every format prints alike as 8-bit and as wide text, in buffers of any size; printed numbers read back as they were.
#include "TextFormat.h"

#include "Fuzz.h"
#include "Latin1.h"
#include "TextScan.h"

#include <cstring>
#include <vector>

using namespace scankelv;

/// The text, compared with what becomes of it in a buffer for half of it.
template <class CharType>
static std::basic_string<CharType> Printed(const std::string& format, FormatArguments arguments)
{
    const auto print = [&](std::vector<CharType>& buffer) {
        return FormatErased<CharType>(buffer, format.c_str(), arguments, test::latin1);
    };
    std::vector<CharType> none, cut(print(none) / 2 + 1, '!'), whole(print(none) + 1, '!');
    fuzz::Require(print(whole) == whole.size() - 1 && print(cut) == whole.size() - 1, "every buffer gives the length");
    fuzz::Require(cut.back() == 0 && std::equal(cut.begin(), cut.end() - 1, whole.begin()), "what fits is printed");
    return whole.data();
}

void fuzz::Try(std::string_view input)
{
    std::uint64_t number = 0;
    std::memcpy(&number, input.data() + input.size() / 2, std::min(sizeof(number), input.size() - input.size() / 2));
    const std::wstring wide = test::latin1.toWide(input);
    const FormatArgument ofEachKind[] = {
        FormatArgument(number), FormatArgument(static_cast<std::uint32_t>(number)), FormatArgument(input),
        FormatArgument(wide)};
    const auto numbers = Printed<wchar_t>("%032lld %08x", std::span(ofEachKind).first(2));
    Require(ScanDecimal16(numbers, 7) == static_cast<std::uint16_t>(number), "a decimal number reads back");
    Require(ScanHexadecimal32(numbers.substr(32), 7) == static_cast<std::uint32_t>(number), "a hexadecimal one too");

    std::string format(input);
    std::ranges::transform(format, format.begin(), [](char c) { return static_cast<char>(c & 0x7F); });
    std::vector<FormatArgument> fitting;
    for (std::string_view rest = format.c_str(); !rest.empty();)
        if (const FormatPiece piece = TakeFormatPiece(rest); piece.conversion != 0)
            fitting.push_back(*std::ranges::find(ofEachKind, piece.Takes(), &FormatArgument::Type));
    const auto printed = Printed<wchar_t>(format, fitting);
    Require(printed == test::latin1.toWide(Printed<char>(format, fitting)), "8-bit and wide texts are alike");
}
