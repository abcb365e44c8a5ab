#include "Loggers.h"

#include "TestSupport.h"

using namespace scankelv;
using namespace test;

TEST(LoggersTest, FirstUseKeepsTheLastError)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_FALSE(ClientLogger().IsEnabled());
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), ::GetLastError());
}

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
    WriteFileBytes(path, "[Modules]\r\nAgent=6844\r\n[Format]\r\nShowThread=6844\r\n");
    EXPECT_EQ("1: mask 6844, prefix 001", configured(ToUtf8(path)));
}
