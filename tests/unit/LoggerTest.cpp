#include "LoggerType.h"
#include "TestSupport.h"

#include <cstdlib>
#include <new>
#include <numeric>
#include <tuple>

// How often memory was asked for. Not inlined: the compiler would take the pairs of new and free for mistakes.
static std::size_t allocations = 0;

[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++allocations;
    void* const memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size)
{
    return ::operator new(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    ++allocations;
    return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

using namespace scankelv;
using namespace test;

namespace
{

/// What the next logger is configured with.
struct Configuration
{
    DWORD mask = 0;
    bool time = false, module = false, thread = false;
} configuration;

bool Configure(const char*, const char*, DWORD& mask, bool& showTime, bool& showModule, bool& showThread)
{
    std::tie(mask, showTime, showModule, showThread) =
        std::tuple(configuration.mask, configuration.time, configuration.module, configuration.thread);
    return true;
}

struct Logger : testing::Test
{
    LoggerTypeAbstract& Make(Configuration with, const char* module = "Agent")
    {
        configuration = with;
        console.Clear();
        made.push_back(
            std::make_unique<LoggerType<TextRenderCombo>>(module, &Configure, logFile.c_str(), "C:\\Debug.ini"));
        description = Console();
        return *made.back();
    }
    std::string Logged() const { return ReadFileBytes(folder.File("Log.txt")); }
    /// What the debugger console was given since the last look.
    std::string Console()
    {
        const std::string text = console.Text();
        console.Clear();
        return text;
    }

    TemporaryFolder folder;
    DebugConsoleCapture console;
    std::string logFile = ToUtf8(folder.File("Log.txt"));
    std::string description;
    std::vector<std::unique_ptr<LoggerTypeAbstract>> made; // closed before the folder goes
};

TEST_F(Logger, EveryMaskReachesItsSinksAndDescribesItself)
{
    for (DWORD mask = 0; mask < 32; ++mask)
    {
        SCOPED_TRACE(mask);
        LoggerTypeAbstract& logger = Make({.mask = mask});
        testing::internal::CaptureStderr();
        logger.WriteLine("line");
        std::string standardError = testing::internal::GetCapturedStderr();
        EXPECT_EQ(mask & 4 ? 3 : 0, console.Tones()); // prefix, text, line end
        EXPECT_EQ(mask & 1 ? "line\r\n" : "", Console());
        EXPECT_EQ(mask & 2 ? "line\r\n" : "", Logged());
        // The C runtime of Windows turns each line feed into a CR LF of its own.
        std::erase(standardError, '\r');
        EXPECT_EQ(mask & 8 ? "line\n" : "", standardError);
        const std::string sinks = std::string(mask & 1 ? " logs to debug console" : "") +
                                  (mask & 2 ? " logs to file \"" + logFile + "\"" : "") + (mask & 4 ? " beeps" : "") +
                                  (mask & 8 ? " logs to stderr" : "") + (mask & 15 ? "" : " does not log");
        EXPECT_EQ("w4 Module Agent" + sinks + ". For settings see: C:\\Debug.ini\r\n", description);
        made.clear();
        WriteFileBytes(folder.File("Log.txt"), "");
    }
    // The other type describes its mask and writes to the debugger console only.
    configuration = {.mask = 15};
    LoggerType<TextRenderDebugConsole> all("Name", &Configure);
    static_cast<LoggerTypeAbstract&>(all).WriteLine("x");
    EXPECT_EQ(0, console.Tones());
    EXPECT_EQ(
        "w1 Module Name logs to debug console logs to default file beeps logs to stderr. Logging configured by "
        "default.\r\nx\r\n",
        Console());
    configuration = {.mask = 2};
    EXPECT_FALSE(LoggerType<TextRenderDebugConsole>("Name", &Configure).IsEnabled());
}

TEST_F(Logger, EveryPrefixForm)
{
    const std::string thread = Format<char>("{%lX}", ::GetCurrentThreadId());
    const std::string time = "[0000/00/00 00:00:00.000]";
    const std::pair<Configuration, std::string> rows[] = {
        {{1, false, false, false}, ""},
        {{1, true, false, false}, time + ": "},
        {{1, false, true, false}, "Agent: "},
        {{1, false, false, true}, thread + ": "},
        {{1, true, true, false}, time + " Agent: "},
        {{1, true, false, true}, time + " " + thread + ": "},
        {{1, false, true, true}, "Agent " + thread + ": "},
        {{1, true, true, true}, time + " Agent " + thread + ": "}};
    for (const auto& [shown, expected] : rows)
    {
        LoggerTypeAbstract& logger = Make(shown);
        logger.WriteLine("text\nmore");
        std::string line = Console();
        for (std::size_t at = 0; shown.time && line[at] != ']'; ++at)
            line[at] = line[at] >= '0' && line[at] <= '9' ? '0' : line[at];
        EXPECT_EQ(expected + "text\r\nmore\r\n", line);
        logger.WriteText("text\n");
        EXPECT_EQ("text\r\n", Console());
    }
    const std::string longName(200, 'm');
    Make({1, false, true, false}, longName.c_str()).WriteLine("x");
    EXPECT_EQ(longName.substr(0, 127) + ": x\r\n", Console());
}

TEST_F(Logger, LineEnds)
{
    LoggerTypeAbstract& logger = Make({.mask = 3});
    const std::pair<const char*, std::string> rows[] = {
        {"", ""},
        {"a\nb\r\nc", "a\r\nb\r\nc\r\n"},
        {"\n", "\r\n\r\n"},
        {"\n\n\r\n\r", "\r\n\r\n\r\n\r\r\n"},
        {"\r\r\n", "\r\r\n\r\n"}};
    std::string everything;
    for (const auto& [text, expected] : rows)
    {
        logger.WriteLine("%s", text);
        EXPECT_EQ(expected, Console());
        everything += expected;
    }
    logger.WriteLine(nullptr, FormatArguments());
    EXPECT_EQ(everything, Logged());
}

TEST_F(Logger, ShortLinesAllocateNothingAndLongOnesAreWhole)
{
    LoggerTypeAbstract& logger = Make({2, true, true, true});
    const std::pair<std::string, std::size_t> rows[] = {
        // text, allocations
        {std::string(1022, 'x'), 0},        {std::string(1023, 'x'), 1},
        {std::string(1021, 'x') + "\n", 0}, // grows to 1023 characters and fills the buffer
        {std::string(1021, '\n') + "x", 1}, // outgrows the buffer
        {std::string(1022, 'x') + "\n", 2}, {std::string(100000, '\n'), 2}};
    for (const auto& [text, expectedAllocations] : rows)
    {
        const std::size_t before = Logged().size();
        const char* const argument = text.c_str();
        allocations = 0;
        logger.WriteLine("%s", argument);
        EXPECT_EQ(expectedAllocations, allocations) << text.size();
        std::string expected;
        for (const char c : text + "\n")
            expected += c == '\n' ? "\r\n" : std::string(1, c);
        const std::string line = Logged().substr(before);
        EXPECT_TRUE(line.starts_with('[') && line.ends_with("}: " + expected)) << text.size();
    }
}

TEST_F(Logger, DebuggerConsoleTakesPiecesOf512Characters)
{
    LoggerTypeAbstract& logger = Make({.mask = 1});
    for (const std::vector<std::size_t>& row : {std::vector<std::size_t>{511}, {512}, {512, 1}, {512, 512, 512, 440}})
    {
        console.Clear();
        logger.WriteText("%s", std::string(std::accumulate(row.begin(), row.end(), std::size_t(0)), 'x'));
        std::vector<std::size_t> pieces;
        for (const std::string& call : console.Calls())
            pieces.push_back(call.size());
        EXPECT_EQ(row, pieces);
    }
}

TEST_F(Logger, KeepsTheLastErrorAndWhatOthersWroteAndSurvivesAMissingFolder)
{
    WriteFileBytes(folder.File("Log.txt"), "earlier\r\n");
    LoggerTypeAbstract& first = Make({.mask = 2});
    LoggerTypeAbstract& second = Make({.mask = 7});
    ::SetLastError(ERROR_ACCESS_DENIED);
    first.WriteLine("1");
    second.WriteLine("2");
    first.WriteLine("3");
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), ::GetLastError());
    EXPECT_EQ("earlier\r\n1\r\n2\r\n3\r\n", Logged());
    logFile = ToUtf8(folder.File("absent\\Log.txt"));
    Make({.mask = 3}).WriteLine("4");
    EXPECT_EQ("4\r\n", Console());
    EXPECT_FALSE(FileExists(folder.File("absent")));
    Make({.mask = 16}).WriteLine("%s", reinterpret_cast<const char*>(16)); // a formatter would crash
    EXPECT_EQ("", Console());
}

} // namespace
