// The loggers with their sinks, and the time stamp.
#include "LoggerType.h"

#include "TestSupport.h"

using namespace scankelv;
using namespace test;

const TemporaryFolder folder;
const std::wstring logPath = folder.File(L"Log.txt");
const std::string logFile = ToUtf8(logPath), ms(127, 'm');

static int tones = 0;

static BOOL WINAPI CountTone(DWORD hertz, DWORD milliseconds)
{
    tones += hertz == 440 && milliseconds == 500 ? 1 : 100;
    return TRUE;
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

static std::unique_ptr<LoggerTypeAbstract>
Make(const char* settings, const char* module = "Agent", const std::string& file = logFile)
{
    return std::make_unique<LoggerType<TextRenderCombo>>(module, &Configure, file.c_str(), settings);
}

TEST(LoggerTest, DescribesItselfAndWritesToItsSinks)
{
    const std::string toFile = " logs to file \"" + logFile + "\"", onConsole = " logs to debug console";
    for (const auto& [mask, phrases] :
         {std::pair("16", std::string(" does not log")),
          {"2", toFile},
          {"4", " beeps"},
          {"9", onConsole + " logs to stderr"}})
    {
        const DebugConsoleCapture console;
        WriteFileBytes(logPath, "");
        tones = 0;
        testing::internal::CaptureStderr();
        const auto logger = Make((mask + std::string("m")).c_str());
        logger->WriteLine("a\nb\r\nc");
        const std::string text = "Agent: a\r\nb\r\nc\r\n", errors = testing::internal::GetCapturedStderr();
        const bool isConsole = phrases.starts_with(onConsole);
        EXPECT_EQ(
            "w4 Module Agent" + phrases + ". For settings see: " + mask + "m\r\n" + (isConsole ? text : ""),
            console.Text());
        EXPECT_EQ(phrases == toFile ? text : "", ReadFileBytes(logPath));
        EXPECT_EQ(phrases == " beeps" ? 3 : 0, tones) << "for prefix, text and line end";
        EXPECT_EQ(isConsole, errors.starts_with("Agent: a\r"));
        EXPECT_EQ(phrases != " does not log", logger->IsEnabled());
    }
    EXPECT_FALSE(LoggerType<TextRenderDebugConsole>("A", &Configure, "", "12").IsEnabled()); // it has one sink
}

// The time stamp is compared to the minute, and by its length.
TEST(LoggerTest, PutsItsPrefixBeforeTheFirstLine)
{
    SYSTEMTIME t;
    ::GetLocalTime(&t);
    const std::string time = Format<char>("[%04d/%02d/%02d %02d:%02d:]", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute);
    const std::string thread = Format<char>("{%lX}", ::GetCurrentThreadId());
    DebugConsoleCapture console;
    const auto logger = Make("1tmi", (ms + "mm").c_str());
    console.Clear();
    logger->WriteLine("text\nmore");
    EXPECT_EQ(time + " " + ms + " " + thread + ": text\r\nmore\r\n", std::string(console.Text()).erase(18, 6));
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
    {
        console.Clear();
        const std::string text(length, 'x');
        logger->WriteLine("%s\n\n\n", text);
        EXPECT_EQ("Agent: " + text + "\r\n\r\n\r\n\r\n", console.Text());
        EXPECT_EQ(all += console.Text(), ReadFileBytes(logPath));
    }
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
    without->WriteLine("4");
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), ::GetLastError());
    EXPECT_EQ("earlier\r\nAgent: 1\r\n2\r\n3\r\n", ReadFileBytes(logPath));
    EXPECT_EQ("2\r\n4\r\n", console.Text());
}
