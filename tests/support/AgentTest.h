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

/// Makes a key of these values, "name=text" or "name=#number", in place of what was there.
inline void Store(int hive, const std::string& path, const std::string& values)
{
    ::RegDeleteTreeW(hive == scankelv::UserHive ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, ToWide(path).c_str());
    scankelv::CrossProductStorage key(hive, path.c_str(), scankelv::AccessWrite);
    for (const std::string& value : Parts(values))
    {
        const std::size_t sign = value.find('=');
        const Wide name = ToWide(value.substr(0, sign));
        if (value[sign + 1] == '#')
            EXPECT_TRUE(key.SetULong(name.c_str(), static_cast<DWORD>(std::stoul(value.substr(sign + 2)))));
        else
            EXPECT_TRUE(key.SetString(name.c_str(), ToWide(value.substr(sign + 1)).c_str()));
    }
}

/// Values of a user's key, in the same form.
inline void ExpectStored(const std::string& path, const std::string& values)
{
    scankelv::CrossProductStorage key(scankelv::UserHive, path.c_str(), scankelv::AccessRead);
    for (const std::string& value : Parts(values))
    {
        const Wide name = ToWide(value.substr(0, value.find('=')));
        WCHAR text[6000] = {};
        DWORD number = 0;
        const bool isNumber = key.GetULong(name.c_str(), &number);
        EXPECT_TRUE(isNumber || key.GetString(name.c_str(), text, std::size(text))) << value;
        EXPECT_EQ(value, ToUtf8(name) + (isNumber ? "=#" + std::to_string(number) : "=" + ToUtf8(text)));
    }
}

/// What the "Agent" logger wrote, without the platform layer's reports.
inline std::string AgentLines(const DebugConsoleCapture& console)
{
    std::istringstream text(console.Text());
    std::string lines;
    bool inReport = false;
    for (std::string line; std::getline(text, line);)
    {
        inReport = inReport || line.starts_with("ODS {");
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
