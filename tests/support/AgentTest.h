// What the tests of the agent's own functions start from: COM, and the "Agent" logger on the debugger console.
#pragma once

#include "Loggers.h"
#include "ResourceLocation.h"
#include "TestSupport.h"

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
        ::DeleteFileW(settings.c_str());
    }
    static void TearDownTestSuite() { ::CoUninitialize(); }

    /// The expressions of the reports captured so far, a blank behind each.
    static std::string ReportedExpressions(const DebugConsoleCapture& console)
    {
        const std::string text = console.Text();
        const std::string_view before = "Expression  ";
        std::string expressions;
        for (std::size_t at = text.find(before); at != std::string::npos; at = text.find(before, at))
        {
            at += before.size();
            expressions += text.substr(at, text.find("  failed!", at) - at) + " ";
        }
        return expressions;
    }
};

} // namespace test
