// The loggers with their sinks, and the time stamp.
#include "LoggerType.h"

#include "TestSupport.h"

using namespace scankelv;
using namespace test;

const TemporaryFolder folder;
const std::wstring logPath = folder.File(L"Log.txt");
const std::string logFile = ToUtf8(logPath), thread = Format<char>("{%lX}", ::GetCurrentThreadId()), ms(127, 'm');
static std::vector<std::size_t> logSizesAtTones;

static BOOL WINAPI CountTone(DWORD hertz, DWORD milliseconds)
{
    logSizesAtTones.push_back(ReadFileBytes(logPath).size());
    return hertz == 440 && milliseconds == 500 ? TRUE : throw "wrong tone";
}
// In the place of the import library's own: what this program calls as Beep.
#ifdef _WIN64
extern "C" decltype(&CountTone) importedBeep asm("__imp_Beep");
#else
extern "C" decltype(&CountTone) importedBeep asm("__imp__Beep@8");
#endif
decltype(&CountTone) importedBeep = &CountTone;

/// Settings that are no path: a mask, and letters for what the prefix shows.
static bool
Configure(const char* settings, const char*, DWORD& mask, bool& showTime, bool& showModule, bool& showThread)
{
    mask = static_cast<DWORD>(std::stoul(settings));
    for (const auto& [letter, shown] : {std::pair('t', &showTime), {'m', &showModule}, {'i', &showThread}})
        *shown = std::string_view(settings).find(letter) != std::string_view::npos;
    return true;
}

using Logger = std::unique_ptr<LoggerTypeAbstract>;
static Logger Make(const char* settings, const std::string& module = "Agent", const std::string& file = logFile)
{
    return std::make_unique<LoggerType<TextRenderCombo>>(module.c_str(), &Configure, file.c_str(), settings);
}

TEST(LoggerTest, DescribesItselfAndWritesToItsSinks)
{
    const std::string toConsole = " logs to debug console", toFile = " logs to file \"" + logFile + "\"";
    const std::string all = toConsole + toFile + " beeps logs to stderr";
    for (const auto& [mask, phrases] :
         {std::pair("16", std::string(" does not log")), {"1", toConsole}, {"2", toFile}, {"4", " beeps"}, {"15", all}})
    {
        const DebugConsoleCapture console;
        WriteFileBytes(logPath, "");
        logSizesAtTones.clear();
        testing::internal::CaptureStderr();
        const auto logger = Make(mask);
        logger->WriteLine("a\nb\r\nc");
        const std::string errors = testing::internal::GetCapturedStderr();
        const auto in = [&](const char* sink, const char* text) {
            return phrases.find(sink) == phrases.npos ? "" : std::string(text);
        };
        const std::string logged = in("file", "a\r\nb\r\nc\r\n"), description = phrases + ". For settings see: " + mask;
        EXPECT_EQ("w4 Module Agent" + description + "\r\n" + in("console", "a\r\nb\r\nc\r\n"), console.Text());
        EXPECT_EQ(logged, ReadFileBytes(logPath));
        EXPECT_EQ(std::vector(in("beeps", "123").size(), logged.size()), logSizesAtTones); // of an entry in one write
        EXPECT_EQ(in("stderr", "a\r"), errors.substr(0, errors.find('\r') + 1));
        EXPECT_EQ(phrases != " does not log", logger->IsEnabled());
    }
}

// The time stamp is compared to the minute, and by its length.
TEST(LoggerTest, PutsItsPrefixBeforeTheFirstLine)
{
    SYSTEMTIME t;
    ::GetLocalTime(&t);
    const std::string time = Format<char>("[%04d/%02d/%02d %02d:%02d:]", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute);
    const std::string names = ms + " " + thread + ": ";
    for (const auto& [settings, prefix] :
         {std::pair("1", std::string()), {"1t", time + ": "}, {"1i", thread + ": "}, {"1tmi", time + " " + names}})
    {
        DebugConsoleCapture console;
        const auto logger = Make(settings, ms + "mm");
        console.Clear();
        logger->WriteLine("text\nmore");
        const std::string text = console.Text();
        EXPECT_EQ(prefix + "text\r\nmore\r\n", prefix.starts_with("[") ? text.substr(0, 18) + text.substr(24) : text);
    }
}

// Around the space for one text (1024) before and after its line ends have grown, for one entry of the file (1536, with
// prefix and line end) and for a call of the debugger console (512).
TEST(LoggerTest, WritesTextsOfEveryLengthWhole)
{
    DebugConsoleCapture console;
    WriteFileBytes(logPath, "");
    const auto logger = Make("3m");
    std::string all;
    for (const std::size_t length : {1U, 512U, 1019U, 1022U, 1023U, 1024U, 1527U, 1528U, 1536U})
        for (const auto& [end, written] : {std::pair("", ""), {"\n\n\n", "\r\n\r\n\r\n"}, {"\r\r\n\r", "\r\r\n\r"}})
        {
            console.Clear();
            const std::string text(length, 'x');
            logger->WriteLine("%s%s", text, end);
            EXPECT_EQ("Agent: " + text + written + "\r\n", console.Text());
            EXPECT_EQ(all += console.Text(), ReadFileBytes(logPath));
        }
    console.Clear();
    logger->WriteText("%s", std::string(1000, 'x'));
    EXPECT_EQ((std::vector{std::string(512, 'x'), std::string(488, 'x')}), console.Calls());
}

TEST(LoggerTest, AppendsToWhatOthersWriteAndKeepsTheLastError)
{
    DebugConsoleCapture console;
    WriteFileBytes(logPath, "earlier\r\n");
    const auto first = Make("2m"), second = Make("3"), without = Make("3", "C", logFile + "\\Log.txt");
    console.Clear();
    ::SetLastError(ERROR_ACCESS_DENIED);
    first->WriteLine("1");
    second->WriteLine("2");
    first->WriteText("3\n");
    first->WriteLine("%s", ""); // nothing, not even a prefix
    first->WriteLine(nullptr, FormatArguments());
    without->WriteLine("4");
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), ::GetLastError());
    EXPECT_EQ("earlier\r\nAgent: 1\r\n2\r\n3\r\n", ReadFileBytes(logPath));
    EXPECT_EQ("2\r\n4\r\n", console.Text());
}
