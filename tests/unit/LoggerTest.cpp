#include "LoggerType.h"
#include "TestSupport.h"

#include <tuple>

using namespace scankelv;
using namespace test;

namespace
{

/// What the next logger is configured with: a mask, and words for what its prefix shows.
std::string configuration;

bool Configure(const char*, const char*, DWORD& mask, bool& showTime, bool& showModule, bool& showThread)
{
    const auto shows = [](const char* what) { return configuration.find(what) != std::string::npos; };
    mask = static_cast<DWORD>(std::stoul(configuration));
    std::tie(showTime, showModule, showThread) = std::tuple(shows("time"), shows("module"), shows("thread"));
    return true;
}

struct Logger : testing::Test
{
    std::unique_ptr<LoggerTypeAbstract> Make(const std::string& with, const std::string& module = "Agent")
    {
        configuration = with;
        console.Clear();
        if (with.find("short") != std::string::npos)
            return std::make_unique<LoggerType<TextRenderDebugConsole>>(module.c_str(), &Configure);
        return std::make_unique<LoggerType<TextRenderCombo>>(
            module.c_str(), &Configure, logFile.c_str(), "C:\\Debug.ini");
    }
    std::string Logged() const { return ReadFileBytes(folder.File("Log.txt")); }

    TemporaryFolder folder;
    DebugConsoleCapture console;
    std::string logFile = ToUtf8(folder.File("Log.txt"));
};

TEST_F(Logger, LinesReachTheSinksWithTheirPrefix)
{
    ExpectAnswers("unit/data/Logger.txt", [this](const std::string& given) {
        std::vector<std::string> parts = Parts(given + "|Agent");
        WriteFileBytes(folder.File("Log.txt"), "");
        testing::internal::CaptureStderr();
        Make(parts[0], parts[2])->WriteLine("%s", parts[1].c_str());
        std::string standardError = testing::internal::GetCapturedStderr();
        std::erase(standardError, '\r'); // the C runtime of Windows turns each line feed into a CR LF of its own
        std::string answer = console.Text() + (console.Tones() != 0 ? Format<char>("%d tones\n", console.Tones()) : "");
        for (const auto& [sink, text] : {std::pair("log: ", Logged()), {"stderr: ", standardError}})
            answer += text.empty() ? "" : sink + text;
        ReplaceAll(answer, logFile, "Log.txt");
        ReplaceAll(answer, Format<char>("{%lX}", ::GetCurrentThreadId()), "{thread}");
        if (const std::size_t time = answer.find("\r\n["); time != std::string::npos)
            for (std::size_t at = time; answer[at] != ']'; ++at)
                answer[at] = answer[at] >= '0' && answer[at] <= '9' ? '0' : answer[at];
        return answer;
    });
}

// Around what fits the buffer, before and after line ends have grown, and the debugger console's pieces.
TEST_F(Logger, TextsOfEveryLengthAreWhole)
{
    const auto logger = Make("3 module");
    for (const std::string& text :
         {std::string(511, 'x'), std::string(512, 'x'), std::string(513, 'x'), std::string(1022, 'x'),
          std::string(1023, 'x'), std::string(1021, 'x') + "\n", std::string(1021, '\n') + "x",
          std::string(1022, 'x') + "\n", std::string(100000, '\n')})
    {
        const std::size_t before = Logged().size();
        console.Clear();
        logger->WriteText("%s", text);
        std::string expected = text;
        ReplaceAll(expected, "\n", "\r\n");
        EXPECT_EQ(expected, console.Text());
        EXPECT_EQ(expected, Logged().substr(before));
        std::vector<std::string> calls = console.Calls();
        calls.pop_back();
        for (const std::string& call : calls)
            EXPECT_EQ(512U, call.size());
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

} // namespace
