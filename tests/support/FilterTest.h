// What the tests of the options and of the generated texts share.
#pragma once

#include "AgentOptions.h"
#include "AgentTest.h"
#include "BstrText.h"

#include <sstream>
#include <variant>
#include <vector>

namespace test
{

/// A registry value: a text with its terminator, or a number.
struct RegistryValue
{
    const char* name;
    std::variant<std::string, DWORD> data;
};

inline void StoreRaw(HKEY hive, const std::string& path, const char* name, DWORD type, std::string_view bytes)
{
    HKEY key = nullptr;
    ASSERT_EQ(
        ERROR_SUCCESS,
        ::RegCreateKeyExW(hive, ToWide(path).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
    const std::string copy = std::string(bytes) + "!!"; // with zeros behind it, a text would be stored with one of them
    EXPECT_EQ(
        ERROR_SUCCESS, ::RegSetValueExW(
                           key, ToWide(name).c_str(), 0, type, reinterpret_cast<const BYTE*>(copy.data()),
                           static_cast<DWORD>(bytes.size())));
    ::RegCloseKey(key);
}

/// Makes a key, also one without values.
inline void Store(HKEY hive, const std::string& path, const std::vector<RegistryValue>& values)
{
    HKEY key = nullptr;
    ::RegCreateKeyExW(hive, ToWide(path).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    ::RegCloseKey(key);
    for (const auto& [name, data] : values)
        if (const auto* const text = std::get_if<std::string>(&data))
            StoreRaw(hive, path, name, REG_SZ, Utf16Bytes(ToWide(*text) + WCHAR()));
        else
            StoreRaw(
                hive, path, name, REG_DWORD,
                Utf16Bytes(Wide{
                    static_cast<WCHAR>(std::get<DWORD>(data) & 0xFFFF),
                    static_cast<WCHAR>(std::get<DWORD>(data) >> 16)}));
}

/// The XML without the line ends and indents between its tags, which are the platform's choice.
inline std::string Plain(const scankelv::_bstr_t& xml)
{
    std::string plain;
    std::string pending;
    for (const char character : ToUtf8(xml.View()))
        if (character == ' ' || character == '\t' || character == '\r' || character == '\n')
            pending += character;
        else
        {
            if (character != '<' || !plain.ends_with('>') || pending.find('\n') == std::string::npos)
                plain += pending;
            pending.clear();
            plain += character;
        }
    return plain;
}

/// What the "Agent" logger wrote: lines parted by "|", the platform layer's reports left out.
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

class FilterTest : public AgentTest
{
protected:
    static void SetUpTestSuite()
    {
        AgentTest::SetUpTestSuite();
        scankelv::DebugConsoleLogger();
    }

    /// The record of a command line, and of a settings file when its text is not empty.
    static scankelv::AgentOptions Options(std::string_view commands, std::string_view settings = {})
    {
        const TemporaryFolder folder;
        const Wide file = settings.empty() ? Wide() : folder.File("ScanKELV.ini");
        if (!settings.empty())
            WriteFileBytes(file, "[Settings]\r\n" + std::string(settings));
        return scankelv::AgentOptions::Build(file.c_str(), ToWide("agent " + std::string(commands)).c_str()).value();
    }

    const PrivateRegistry m_registry;
};

} // namespace test
