// The formatter, in 8-bit and wide buffers of every size; the formats that compile.
#include "TextFormat.h"

#include "CaseName.h"
#include "Latin1.h"

#include <functional>
#include <vector>

using namespace scankelv;
using namespace test;

using Dword = std::uint32_t;
using Int64 = std::int64_t;
using Convertible = std::reference_wrapper<const wchar_t* const>; // to a text, as the document model's texts are

static_assert(Fits<>("100%%") && Fits<std::uint16_t, bool, std::byte, Int64, char>("%03hu %d %2i %llX %c"));
static_assert(Fits<const wchar_t*, wchar_t[4], std::wstring, std::wstring_view, Convertible>("%ws%S%ws%S%ws"));
static_assert(Fits<const char*, char[4], std::string, std::string_view>("%s%s%s%s"));
static_assert(!Fits<>("%lu") && !Fits<Dword>("pid") && !Fits<Dword>("%d %d") && !Fits<>("\xC3\xA4"));
static_assert(!Fits<Dword>("%") && !Fits<Dword>("%l") && !Fits<Dword>("%q") && !Fits<Dword>("%-4d"));
static_assert(!Fits<Dword>("%999999999999d") && !Fits<double>("%d") && !Fits<const char*>("%5s"));
static_assert(!Fits<Dword>("%llu") && !Fits<Int64>("%d") && !Fits<Int64>("%ld") && !Fits<Int64>("%hhd"));
static_assert(
    !Fits<Dword>("%s") && !Fits<const wchar_t*>("%d") && !Fits<const char*>("%ws") && !Fits<const wchar_t*>("%ls"));

struct FormatCase
{
    const char *name, *format;
    std::string text;
    std::vector<FormatArgument> arguments;
};
template <class... Args>
FormatCase Case(const char* name, std::string text, TextFormat<Args...> format, const Args&... arguments)
{
    return {name, format.text, std::move(text), {FormatArgument(arguments)...}};
}
const char* const noText = nullptr;
const wchar_t* const noWideText = nullptr;
const FormatCase formatCases[] = {
    Case("DoubledPercents", "100% %d %", "100%% %%d %%"),
    Case("NumbersByTheirOwnTypes", "-1 4294967295 4294967295", "%d %lu %u", -1, Dword(0xFFFFFFFF), -1),
    Case("SmallNumbersAsInts", "ffffffff -1 4 1", "%hx %hhi %hd %d", short(-1), short(-1), std::byte(4), true),
    Case("NumbersOf64Bits", "-9223372036854775808 ffffffffffffffff", "%lld %llx", INT64_MIN, Int64(-1)),
    Case("Hexadecimal", "0 90abcdef 90ABCDEF", "%x %lx %X", 0, 0x90ABCDEF, 0x90ABCDEF),
    Case("Widths", "[   7] [1234] [  -7]", "[%4d] [%3u] [%4i]", 7, 1234, -7),
    Case("Zeros", "[007] [1234] [-007] [-7]", "[%03hu] [%03d] [%04d] [%02d]", std::uint16_t(7), 1234, -7, -7),
    Case("Characters", "ok\xE4", "%c%c%c", 'o', 'k', '\xE4'),
    Case("Texts", "a [] \xE4 (null)", "%s [%s] %s %s", "a", "", "\xE4", noText),
    Case("WideTexts", "a [] \xE4 (null)", "%ws [%S] %ws %S", L"a", L"", L"\xE4", std::cref(noWideText)),
    Case("Views", "cut[]", "%s%ws[%s]", std::string_view("cute", 2), std::wstring_view(L"tea", 1), std::string_view()),
};
using Formatter = testing::TestWithParam<FormatCase>;
TEST_P(Formatter, PrintsAsMuchAsFitsAlikeIn8BitAndWide)
{
    const auto expectInBuffersOfEverySize = [](const auto& text) {
        for (std::size_t size = 0; size < text.size() + 3; ++size)
        {
            std::remove_cvref_t<decltype(text)> expected(text.size() + 3, '#'), buffer = expected;
            const std::size_t fits = std::min(text.size(), std::max<std::size_t>(size, 1) - 1);
            expected.replace(0, fits, text, 0, fits)[fits] = size == 0 ? '#' : '\0';
            const std::span space(buffer.data(), size);
            EXPECT_EQ(text.size(), FormatErased(space, GetParam().format, GetParam().arguments, latin1));
            ASSERT_EQ(expected, buffer) << "in a buffer of " << size;
        }
    };
    expectInBuffersOfEverySize(GetParam().text);
    expectInBuffersOfEverySize(latin1.toWide(GetParam().text));
}
INSTANTIATE_TEST_SUITE_P(, Formatter, testing::ValuesIn(formatCases), caseName);
