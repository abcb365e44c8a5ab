// What the tests of the options and of the rooms above them share.
#pragma once

#include "AgentOptions.h"
#include "AgentTest.h"
#include "CrossProductStorage.h"

#include <sstream>

namespace test
{

/// The parts of a text, a bar behind each; it may lack behind the last.
inline std::vector<std::string> Parts(const std::string& text)
{
    std::vector<std::string> parts;
    std::istringstream all(text);
    for (std::string part; std::getline(all, part, '|');)
        parts.push_back(part);
    return parts;
}

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

/// What the "Agent" logger wrote: lines parted by bars, the platform layer's reports left out.
inline std::string AgentLines(const DebugConsoleCapture& console)
{
    std::istringstream text(console.Text());
    std::string lines;
    bool inReport = false;
    for (std::string line; std::getline(text, line);)
    {
        inReport = inReport || line.starts_with("ODS {");
        if (!inReport)
            lines += line.substr(0, line.find('\r')) + "|";
        inReport = inReport && line.find(".cpp(") == std::string::npos;
    }
    return lines;
}

class OptionsTest : public AgentTest
{
protected:
    /// The record of a command line, and of a settings file when its text is not empty.
    static scankelv::AgentOptions Options(std::string_view commands, std::string_view settings = {})
    {
        const TemporaryFolder folder;
        const Wide file = folder.File("ScanKELV.ini");
        if (!settings.empty())
            WriteFileBytes(file, "[Settings]\r\n" + std::string(settings));
        return scankelv::AgentOptions::Build(file.c_str(), ToWide("agent " + std::string(commands)).c_str()).value();
    }

    const PrivateRegistry m_registry;
};

} // namespace test
