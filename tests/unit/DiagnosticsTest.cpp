// Checked expressions, loggers, and the texts that they write.
#include "LoggerType.h"
#include "Reports.h"
#include "TextScan.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <regex>

using namespace scankelv;
using namespace test;

namespace
{

// The first use of the logger of this program must be the failed check of this test: it stands first.
TEST(Checked, TheLoggersFirstUseDoesNotHideTheLastError)
{
    const DebugConsoleCapture console;
    ::SetLastError(ERROR_ACCESS_DENIED);
    const int line = __LINE__ + 1;
    EXPECT_FALSE(Checked(DebugConsoleLogger, CheckLastError, 0, "result", 1));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), ::GetLastError());
    EXPECT_EQ(SystemText(ERROR_ACCESS_DENIED), ReportsIn(console.Text()).at(0).context);
    EXPECT_TRUE(console.Text().ends_with(__FILE__ + Format<char>("(%d)\r\n", line))) << console.Text();
}

TEST(Checked, EveryKindOfValueAndShapeOfReport)
{
    const std::map<std::string, CheckKind> kinds = {
        {"Boolean", CheckBoolean},
        {"Errno", CheckErrno},
        {"ErrorCode", CheckErrorCode},
        {"LastError", CheckLastError},
        {"bad argument", "bad argument"}};
    ExpectAnswers("unit/data/CheckedExpression.txt", [&](const std::string& given) {
        const Fields fields(given);
        const DebugConsoleCapture console;
        std::string answer;
        if (const auto kind = kinds.find(given.substr(0, given.find('|'))); kind != kinds.end())
        {
            char text[reportTextCapacity] = "untouched";
            bool failed = false;
            errno = ENOENT;
            ::SetLastError(ERROR_ACCESS_DENIED);
            EvaluateCheck(kind->second, static_cast<DWORD>(std::stoul(fields.Narrow(1))), failed, text);
            answer = Format<char>("%s: %s\n", failed ? "fails" : "passes", text);
            ReplaceAll(answer, std::strerror(ENOENT), "no entry");
        }
        else
            ReportFailedExpression(
                DebugConsoleLogger(), fields.Narrow(0), fields.Narrow(1), fields.Narrow(2), 7, fields.Narrow(3),
                std::stoi(fields.Narrow(4)));
        answer += console.Text();
        for (const DWORD code : {2U, 5U})
            ReplaceAll(answer, SystemText(code), Format<char>("message %lu", code));
        ReplaceAll(answer, Format<char>("{%lX}", ::GetCurrentThreadId()), "{thread}");
        return answer;
    });
}

/// Of settings that are no path: a mask, and words for what the prefix shows.
bool Configure(const char* settings, const char*, DWORD& mask, bool& showTime, bool& showModule, bool& showThread)
{
    const std::string_view words = settings;
    mask = static_cast<DWORD>(std::stoul(settings));
    showTime = words.find("time") != words.npos;
    showModule = words.find("module") != words.npos;
    showThread = words.find("thread") != words.npos;
    return true;
}

struct Logger : testing::Test
{
    std::unique_ptr<LoggerTypeAbstract> Make(const char* settings, const char* module = "Agent")
    {
        console.Clear();
        if (std::string_view(settings).ends_with(" short"))
            return std::make_unique<LoggerType<TextRenderDebugConsole>>(module, &Configure, "", settings);
        return std::make_unique<LoggerType<TextRenderCombo>>(module, &Configure, logFile.c_str(), settings);
    }
    std::string Logged() const { return ReadFileBytes(folder.File("Log.txt")); }

    TemporaryFolder folder;
    DebugConsoleCapture console;
    std::string logFile = ToUtf8(folder.File("Log.txt"));
};

TEST_F(Logger, LinesReachTheSinksWithTheirPrefix)
{
    ExpectAnswers("unit/data/Logger.txt", [this](const std::string& given) {
        const std::vector<std::string> parts = Parts(given + "|Agent"); // settings, text, module
        WriteFileBytes(folder.File("Log.txt"), "");
        testing::internal::CaptureStderr();
        Make(parts[0].c_str(), parts[2].c_str())->WriteLine("%s", parts[1].c_str());
        std::string standardError = testing::internal::GetCapturedStderr();
        std::erase(standardError, '\r'); // the C runtime of Windows turns each line feed into a CR LF of its own
        std::string answer = console.Text() + (console.Tones() != 0 ? Format<char>("%d tones\n", console.Tones()) : "");
        for (const auto& [sink, text] : {std::pair("log: ", Logged()), {"stderr: ", standardError}})
            answer += text.empty() ? "" : sink + text;
        ReplaceAll(answer, logFile, "Log.txt");
        ReplaceAll(answer, Format<char>("{%lX}", ::GetCurrentThreadId()), "{thread}");
        return std::regex_replace(answer, std::regex("\\[[0-9/]{10} [0-9:.]{12}\\]"), "[time]");
    });
}

// Around what fits the buffer, before and after line ends have grown, and the debugger console's pieces.
TEST_F(Logger, TextsOfEveryLengthAreWhole)
{
    const auto logger = Make("3 module");
    std::string all;
    for (const std::size_t length : {511U, 512U, 513U, 1021U, 1022U, 1023U, 1024U, 100000U})
        for (const std::string& text :
             {std::string(length, 'x'), std::string(length, 'x') + "\n", std::string(length, '\n') + "x"})
        {
            console.Clear();
            logger->WriteText("%s", text);
            std::string expected = text;
            ReplaceAll(expected, "\n", "\r\n");
            EXPECT_EQ(expected, console.Text());
            EXPECT_EQ(all += expected, Logged());
            for (const std::string& call : console.Calls())
                EXPECT_TRUE(call.size() == 512 || expected.ends_with(call)) << call;
        }
}

TEST_F(Logger, KeepsTheLastErrorAndWhatOthersWroteAndSurvivesAMissingFolder)
{
    WriteFileBytes(folder.File("Log.txt"), "earlier\r\n");
    const auto first = Make("2"), second = Make("7");
    ::SetLastError(ERROR_ACCESS_DENIED);
    first->WriteLine("1");
    second->WriteLine("2");
    first->WriteLine("3");
    first->WriteLine(nullptr, FormatArguments());
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), ::GetLastError());
    EXPECT_EQ("earlier\r\n1\r\n2\r\n3\r\n", Logged());
    logFile = ToUtf8(folder.File("absent\\Log.txt"));
    Make("3")->WriteLine("4");
    EXPECT_TRUE(console.Text().ends_with("\r\n4\r\n"));
    EXPECT_FALSE(FileExists(folder.File("absent")));
    const auto silent = Make("16");
    EXPECT_FALSE(silent->IsEnabled());
    silent->WriteLine("%s", reinterpret_cast<const char*>(16)); // a formatter would crash
}

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

TEST(TextFormat, PrintsArgumentsByTheirOwnTypes)
{
    const char* const noText = nullptr;
    const Convertible noWide{nullptr}, wide{OLESTR("wide")};
    EXPECT_EQ("-1 4294967295 4294967295", Format<char>("%d %lu %u", DWORD(0xFFFFFFFF), DWORD(0xFFFFFFFF), -1));
    EXPECT_EQ(
        "ffffffff 200 007 -005",
        Format<char>("%x %u %03hu %04d", short(-1), static_cast<unsigned char>(200), std::uint16_t(7), -5));
    EXPECT_EQ("ok 1 4 97", Format<char>("%c%c %d %d %d", 'o', 'k', true, Four, 'a'));
    EXPECT_EQ(OLESTR("ok (null) (null)"), Format<WCHAR>("%c%c %s %S", 'o', 'k', noText, noWide));
    EXPECT_EQ("100% [] (null) cut", Format<char>("100%% [%s] %s %s", "", noText, std::string_view("cut here", 3)));
    EXPECT_EQ("[] (null) wide wide", Format<char>("[%ws] %S %ws %ws", OLESTR(""), noWide, wide, WideText(wide.text)));
}

TEST(TextFormat, WideTextsAreConvertedWhole)
{
    // Around a piece's border: a pair of surrogates that would be cut, and characters of several bytes.
    for (std::size_t before = 126; before < 130; ++before)
    {
        const WideText text = WideText(before, 'x') + OLESTR("\xD83D\xDE00\x00E4") + WideText(300, WCHAR(0xE4));
        char whole[2048];
        ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, whole, sizeof(whole), nullptr, nullptr);
        EXPECT_EQ(whole, Format<char>("%ws", text)) << before;
    }
    EXPECT_EQ(OLESTR("[\x00E4 1]"), Format<WCHAR>("[%s]", NarrowFromWide(OLESTR("\x00E4 1"))));
}

TEST(TextFormat, ComparesAsciiLettersWithoutCase)
{
    EXPECT_TRUE(EqualsIgnoringAsciiCase(OLESTR("DeviceList[@"), OLESTR("devicelIST[@")));
    for (const WCHAR* const other : {OLESTR("[b"), OLESTR("{\x00E4"), OLESTR("[\x00C4"), OLESTR("[\x00E4 ")})
        EXPECT_FALSE(EqualsIgnoringAsciiCase(OLESTR("[\x00E4"), other)); // "[" and "{" are 32 apart, as letters are
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
