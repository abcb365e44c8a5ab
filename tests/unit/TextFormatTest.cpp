#include "TextFormat.h"
#include "TestSupport.h"
#include "TextScan.h"

#include <cstring>

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
    const struct
    {
        std::size_t room;
        const char* held; ///< then the fill character goes on; null: nothing is touched
    } cases[] = {{0, nullptr}, {1, ""}, {4, "abc"}, {5, "abc1"}, {6, "abc12"}, {7, "abc12"}};
    for (const auto& [room, held] : cases)
    {
        SCOPED_TRACE(room);
        char buffer[8];
        std::memset(buffer, '#', sizeof(buffer));
        EXPECT_EQ(5U, FormatInto(std::span<char>(buffer, room), "%s%d", "abc", 12));
        std::string expected(sizeof(buffer), '#');
        if (held != nullptr)
            expected.replace(0, std::strlen(held) + 1, held, std::strlen(held) + 1);
        EXPECT_EQ(expected, std::string(buffer, sizeof(buffer)));
    }
}

TEST(TextFormat, WideTextsOfEveryLengthAreConvertedWhole)
{
    // Around each piece's border: a pair of surrogates that would be cut, and characters of several bytes.
    for (std::size_t before = 120; before < 136; ++before)
    {
        SCOPED_TRACE(before);
        const WideText text =
            WideText(before, 'x') + OLESTR("\xD83D\xDE00\x00E4") + WideText(300, WCHAR(0xE4)) + OLESTR("end");
        char whole[2048];
        const int length = ::WideCharToMultiByte(
            CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), whole, sizeof(whole), nullptr, nullptr);
        EXPECT_EQ(std::string(whole, static_cast<std::size_t>(length)), Format<char>("%ws", text));
        EXPECT_EQ(text, Format<WCHAR>("%ws", text));
    }
    const std::string narrow = NarrowFromWide(OLESTR("\x00E4 1"));
    EXPECT_EQ(OLESTR("\x00E4 1"), WideFromNarrow(narrow));
    EXPECT_EQ(OLESTR("[\x00E4 1]"), Format<WCHAR>("[%s]", narrow));
    EXPECT_EQ(WideText(), WideFromNarrow(""));
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
    constexpr std::uint16_t none = 7; // the preset
    const struct
    {
        const char* text;
        std::uint16_t hexadecimal;
        std::uint32_t hexadecimal32;
        std::uint16_t decimal;
    } cases[] = {
        {"", none, none, none},
        {"x", none, none, none},
        {"-", none, none, none},
        {"0x", none, none, 0},
        {"1", 1, 1, 1},
        {" \t\r\n+12 ", 0x12, 0x12, 12},
        {"0X1fG", 0x1F, 0x1F, 0},
        {"0x0x1", 0, 0, 0},
        {"A", 10, 10, none},
        {"-1", 0xFFFF, 0xFFFFFFFF, 0xFFFF},
        {"12345", 0x2345, 0x12345, 12345},
        {"70000", 0, 0x70000, 4464},
        {"FFFFFFFF", 0xFFFF, 0xFFFFFFFF, none},
        {"123456789", 0x6789, 0xFFFFFFFF, 52501},
        {"10000000000000001", 1, 0xFFFFFFFF, 1}, // 10^16 + 1 is 0x2386F26FC10001
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.text);
        const WideText text = ToWide(row.text);
        EXPECT_EQ(row.hexadecimal, ScanHexadecimal16(text, none));
        EXPECT_EQ(row.hexadecimal32, ScanHexadecimal32(text, none));
        EXPECT_EQ(row.decimal, ScanDecimal16(text, none));
    }
}

} // namespace
