// The generated texts: the filter, the device lists that expand it, and the data of the ports.
#include "FilterText.h"
#include "DeviceXml.h"
#include "OptionsTest.h"
#include "PrinterPortData.h"

#include <regex>

using namespace scankelv;
using namespace test;

namespace
{

/// The XML without the line ends and indents between its tags, which are the platform's choice.
std::string Plain(const _bstr_t& xml)
{
    return std::regex_replace(ToUtf8(xml.View()), std::regex("\r?\n[\n\t ]*"), "");
}

class FilterText : public OptionsTest
{
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override { ::DeleteFileW(m_deviceXml.c_str()); }

    /// What is stored, and what is generated of it. @param given  one of the words below, and what belongs to it
    std::string Answer(const std::string& given)
    {
        const std::string word = given.substr(0, given.find(' ')), rest = given.substr(word.size() + 1);
        const std::string path = rest.substr(0, rest.find(": "));
        if (word == "HKCU" || word == "HKLM")
            return Store(word == "HKCU" ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, path, rest.substr(path.size() + 2)),
                   "";
        if (word == "forget")
            return ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ToWide(rest).c_str()), "";
        if (word == "device.xml")
            return WriteFileBytes(m_deviceXml, rest), "";
        if (word == "settings")
            return m_settings = rest, "";
        const AgentOptions options = Options(word == "ports" ? "" : rest, m_settings);
        const DebugConsoleCapture console;
        _bstr_t text(OLESTR("before"));
        std::string answer, found;
        if (word == "ports")
            answer = XmlGeneratePrinterPortData(text, ToWide(rest).c_str()) ? "" : "none, ";
        else
        {
            parsedMultiDeviceInfo device;
            bool parsed = true;
            const auto mode = static_cast<tagDialogMode>(word == "list" ? DialogMode5 : std::stoi(word.substr(4)));
            EXPECT_TRUE(XmlGenerateFilterText(options, mode, text, device, parsed));
            found = Format<char>(
                "parsed %d, id %ws, default %d, IPv6 %d\n", parsed, device.deviceid, device.isDefault, device.isIpv6);
        }
        answer += Plain(text) + "\n" + found;
        if (word == "list")
        {
            answer.erase(answer.find("</option>"), 9).erase(0, answer.find("</properties>") + 13);
            answer.insert(0, answer.starts_with('\n') ? "no list" : "");
        }
        std::istringstream log(AgentLines(console));
        for (std::string line; std::getline(log, line);)
            if (!line.empty() && (word != "list" || line.find(": ") == line.npos)) // the lines without values
                answer += line + "\n";
        return answer;
    }

private:
    const Wide m_deviceXml = DeviceXmlLocation().Text();
    std::string m_settings;
};

TEST_F(FilterText, FollowsOptionsAndStorages)
{
    ExpectAnswers("unit/data/FilterText.txt", [this](const std::string& given) { return Answer(given); });
}

TEST_F(FilterText, AThousandRecordsAreTheMost)
{
    for (int number = 0; number <= 1000; ++number)
        Answer(Format<char>("HKLM Software\\Rec\\Printer%03d: DeviceID=%d|Default=#%d", number, number, number / 999));
    const std::string answer = Answer("list /more Software\\Rec");
    std::size_t count = 0;
    for (std::size_t at = 0; (at = answer.find("<deviceid>", at)) != answer.npos; ++at)
        ++count;
    EXPECT_EQ(1000U, count);
    EXPECT_NE(std::string::npos, answer.find("\nparsed 1, id 999, default 1,"));
}

} // namespace
