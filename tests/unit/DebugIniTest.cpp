#include "AgentTest.h"

using namespace scankelv;
using namespace test;

namespace
{

TEST(DebugIni, ConfiguresTheLoggers)
{
    const TemporaryFolder folder;
    const auto configure = [](bool expected, const char* path) {
        DWORD mask = 77;
        bool time = true, module = true, thread = true;
        EXPECT_EQ(expected, ConfigureFromDebugIni(path, "Agent", mask, time, module, thread));
        return Format<char>("mask %lu, time %d, module %d, thread %d\n", mask, time, module, thread);
    };
    EXPECT_EQ(configure(false, nullptr), configure(false, ""));
    ExpectAnswers("unit/data/DebugIni.txt", [&](const std::string& content) {
        if (!content.empty())
            WriteFileBytes(folder.File("Debug.ini"), content);
        return configure(true, NarrowFromWide(folder.File("Debug.ini")).c_str());
    });
}

TEST(DebugIni, FirstUseOfALoggerKeepsTheLastError)
{
    const DebugConsoleCapture console;
    for (LoggerTypeAbstract& (*const logger)() : {&FindwellLibraryLogger, &ClientLogger, &AgentLogger})
    {
        ::SetLastError(ERROR_ACCESS_DENIED);
        logger().WriteLine("goes nowhere");
        EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), ::GetLastError());
    }
    EXPECT_TRUE(console.Text().ends_with(
        "w4 Module Agent does not log. For settings see: " + std::string(DebugIniLocation().Text()) + "\r\n"));
}

} // namespace
