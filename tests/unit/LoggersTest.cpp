#include "Loggers.h"

#include "ResourceLocation.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;

/// The loggers of this program read Debug.ini at its start: "Agent" writes to the debugger console.
struct LoggersAtStart : testing::Environment
{
    void SetUp() override
    {
        const std::string settings = DebugIniLocation().Text();
        std::filesystem::create_directories(std::filesystem::path(settings).parent_path());
        WriteFileBytes(ToWide(settings), "[Modules]\r\nAgent=1\r\nKELVClient=4\r\n");
        const DebugConsoleCapture console;
        ::SetLastError(ERROR_ACCESS_DENIED);
        EXPECT_TRUE(AgentLogger().IsEnabled() && !FindwellLibraryLogger().IsEnabled() && ClientLogger().IsEnabled());
        EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), ::GetLastError());
        EXPECT_THAT(console.Lines(), testing::HasSubstr("logs to debug console. For settings see: " + settings + "\n"));
        EXPECT_TRUE(::DeleteFileA(settings.c_str()) && FileExists(ToWide(LogFileLocation().View())));
    }
};
const auto* const loggersAtStart = testing::AddGlobalTestEnvironment(new LoggersAtStart);

TEST(ConfigureFromDebugIniTest, SetsMaskAndPrefix)
{
    const TemporaryFolder folder;
    const std::wstring path = folder.File(L"Debug.ini");
    const auto configured = [](const std::string& file) {
        bool time = true, module = true, thread = true;
        DWORD mask = 7;
        const bool done = ConfigureFromDebugIni(file.c_str(), "Agent", mask, time, module, thread);
        return Format<char>("%d: mask %lu, prefix %d%d%d", done, mask, time, module, thread);
    };
    WriteFileBytes(path, "[Modules]\r\nKELVClient=1\r\nagent=3\r\n[Format]\r\nShowTime=2\r\nShowModule=0\r\n");
    EXPECT_EQ("1: mask 3, prefix 100", configured(ToUtf8(path)));
    WriteFileBytes(path, "[Format]\r\nShowThread=6844\r\n");
    EXPECT_EQ("1: mask 0, prefix 001", configured(ToUtf8(path)));
}
