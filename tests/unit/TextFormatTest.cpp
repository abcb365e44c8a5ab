#include "TextFormat.h"
#include "TestSupport.h"
#include "TextScan.h"

using namespace scankelv;
using namespace test;

namespace
{

enum Unscoped : int
{
    Four = 4
};
/// Converts to a wide text as the document model's texts do.
struct Convertible
{
    const WCHAR* text;
    operator const WCHAR*() const { return text; }
};

static_assert(Fits<>("") && Fits<>("plain, 100%%") && Fits<DWORD, DWORD>("pidDWORD: %lu (0x%lx)"));
static_assert(Fits<std::uint16_t, bool, Unscoped, long long, char>("%03hu %d %2i %llX %c"));
static_assert(Fits<const WCHAR*, WCHAR[4], WideText, WideView, Convertible>("%ws%S%ws%S%ws"));
static_assert(Fits<const char*, char[4], std::string, std::string_view>("%s%s%s%s"));
static_assert(!Fits<DWORD>("%ws") && !Fits<DWORD>("%s") && !Fits<const WCHAR*>("%s") && !Fits<const char*>("%ws"));
static_assert(!Fits<const char*>("%S") && !Fits<const char*>("%d") && !Fits<const WCHAR*>("%lx"));
static_assert(
    !Fits<>("%lu") && !Fits<DWORD>("pid") && !Fits<DWORD>("%d %d") && !Fits<DWORD>("%") && !Fits<DWORD>("%l"));
static_assert(!Fits<DWORD>("%q") && !Fits<DWORD>("%-4d") && !Fits<double>("%d") && !Fits<DWORD>("%999999999999d"));
static_assert(!Fits<const WCHAR*>("%ls") && !Fits<const char*>("%5s") && !Fits<>("\xC3\xA4") && !Fits<>("%n"));

/// The narrow text; a failure unless the wide one is alike.
template <class... Args>
std::string Print(TextFormat<Args...> format, const Args&... arguments)
{
    const std::string narrow = Format<char>(format, arguments...);
    EXPECT_EQ(ToWide(narrow), Format<WCHAR>(format, arguments...));
    return narrow;
}

TEST(TextFormat, PrintsAlikeAsNarrowAndAsWideText)
{
    const char* const noText = nullptr;
    const Convertible noWide{nullptr};
    const WideText wide = OLESTR("wide");
    EXPECT_EQ("-12|12|4294967295", Print("%d|%i|%u", -12, 12, -1));
    EXPECT_EQ("-1|4294967295", Print("%d|%lu", DWORD(0xFFFFFFFF), DWORD(0xFFFFFFFF)));
    EXPECT_EQ(
        "-9223372036854775808|18446744073709551615", Print("%d|%u", std::numeric_limits<long long>::min(), ~0ULL));
    EXPECT_EQ("0xbeef|ABCDEF|0", Print("0x%lx|%lX|%X", DWORD(0xBEEF), DWORD(0xABCDEF), 0));
    EXPECT_EQ("ffffffff|200", Print("%x|%u", short(-1), static_cast<unsigned char>(200)));
    EXPECT_EQ("007|123|   5|  -5|-005", Print("%03hu|%02u|%4u|%4d|%04d", std::uint16_t(7), 123, 5, -5, -5));
    EXPECT_EQ("ok|1|4|97", Print("%c%c|%d|%d|%d", 'o', 'k', true, Four, 'a'));
    EXPECT_EQ("100% a%b", Print("100%% %s%%%s", "a", std::string("b")));
    EXPECT_EQ("[] <(null)> (cut)", Print("[%s] <%s> (%s)", "", noText, std::string_view("cut here", 3)));
    EXPECT_EQ("[] <(null)> (wide)", Print("[%ws] <%S> (%ws)", OLESTR(""), noWide, Convertible{wide.c_str()}));
    EXPECT_EQ("Software\\QLScan\\wide", Print("Software\\%s\\%ws", "QLScan", wide));
}

TEST(TextFormat, CutsAtTheBufferAndTellsTheWholeLength)
{
    using namespace std::literals;
    const std::pair<std::size_t, std::string_view> rows[] = {{0, "########"sv},  {1, "\0#######"sv},
                                                             {4, "abc\0####"sv}, {5, "abc1\0###"sv},
                                                             {6, "abc12\0##"sv}, {7, "abc12\0##"sv}};
    for (const auto& [room, held] : rows)
    {
        std::string buffer(8, '#');
        EXPECT_EQ(5U, FormatInto(std::span<char>(buffer.data(), room), "%s%d", "abc", 12));
        EXPECT_EQ(held, buffer) << room;
    }
}

TEST(TextFormat, WideTextsOfEveryLengthAreConvertedWhole)
{
    // Around each piece's border: a pair of surrogates that would be cut, and characters of several bytes.
    for (std::size_t before = 120; before < 136; ++before)
    {
        const WideText text =
            WideText(before, 'x') + OLESTR("\xD83D\xDE00\x00E4") + WideText(300, WCHAR(0xE4)) + OLESTR("end");
        std::string whole(2048, '\0');
        whole.resize(static_cast<std::size_t>(::WideCharToMultiByte(
            CP_ACP, 0, text.data(), static_cast<int>(text.size()), whole.data(), 2048, nullptr, nullptr)));
        EXPECT_EQ(whole, Format<char>("%ws", text)) << before;
        EXPECT_EQ(text, Format<WCHAR>("%ws", text)) << before;
    }
    const std::string narrow = NarrowFromWide(OLESTR("\x00E4 1"));
    EXPECT_EQ(OLESTR("[\x00E4 1]"), Format<WCHAR>("[%s]", narrow));
    EXPECT_EQ(OLESTR("\x00E4 1"), WideFromNarrow(narrow) + WideFromNarrow(""));
}

TEST(TextFormat, ComparesAsciiLettersWithoutCase)
{
    EXPECT_TRUE(EqualsIgnoringAsciiCase(OLESTR("DeviceList[@"), OLESTR("devicelIST[@")));
    EXPECT_FALSE(EqualsIgnoringAsciiCase(OLESTR("a"), OLESTR("ab")));
    EXPECT_FALSE(EqualsIgnoringAsciiCase(OLESTR("["), OLESTR("{"))); // neighbours of the letters, 32 apart
    EXPECT_FALSE(EqualsIgnoringAsciiCase(OLESTR("\x00C4"), OLESTR("\x00E4")));
}

TEST(TextScan, ReadsNumbersAsTheScanConversionsDo)
{
    ExpectAnswers("unit/data/TextScan.txt", [](const std::string& given) {
        const WideText text = ToWide(given);
        constexpr std::uint16_t none = 7; // the preset
        return Format<char>(
            "%x %x %u\n", ScanHexadecimal16(text, none), ScanHexadecimal32(text, none), ScanDecimal16(text, none));
    });
}

} // namespace
