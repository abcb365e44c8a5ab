// What the tests of the agent's own functions start from: COM, and the "Agent" logger on the debugger console.
#pragma once

#include "Loggers.h"
#include "Reports.h"
#include "ResourceLocation.h"

#include <objbase.h>

namespace test
{

class AgentTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        // A logger reads Debug.ini once, when it is created.
        const Wide settings = scankelv::WideFromNarrow(scankelv::DebugIniLocation().View());
        ::CreateDirectoryW(settings.substr(0, settings.rfind(OLESTR('\\'))).c_str(), nullptr);
        WriteFileBytes(settings, "[Modules]\r\nAgent=1\r\n");
        scankelv::AgentLogger();
        scankelv::DebugConsoleLogger();
        ::DeleteFileW(settings.c_str());
    }
    static void TearDownTestSuite() { ::CoUninitialize(); }
};

} // namespace test
