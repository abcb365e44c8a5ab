// What the tests of the agent's own functions share: COM, the "Agent" logger on the debugger console, stored values.
#pragma once

#include "CrossProductStorage.h"
#include "Loggers.h"
#include "Reports.h"
#include "ResourceLocation.h"

#include <objbase.h>
#include <sstream>

namespace test
{

/// What the "Agent" logger wrote, without reports.
inline std::string AgentLines(const DebugConsoleCapture& console)
{
    std::istringstream text(console.Text());
    std::string lines;
    bool inReport = false;
    for (std::string line; std::getline(text, line);)
    {
        inReport = inReport || line.starts_with("ODS {") || line.starts_with("Expression  ");
        if (!inReport)
            lines += line.substr(0, line.find('\r')) + "\n";
        inReport = inReport && line.find(".cpp(") == std::string::npos;
    }
    return lines;
}

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
