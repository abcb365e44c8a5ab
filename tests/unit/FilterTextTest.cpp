// The generated texts: the filter, the device lists that expand it, and the data of the ports.
#include "FilterText.h"
#include "DeviceXml.h"
#include "OptionsTest.h"
#include "PrinterPortData.h"
#include "RegistryKey.h"

using namespace scankelv;
using namespace test;

namespace
{

const std::string currentKey = "Software\\QLScan\\Quellon Generic Scan Driver";

/// The XML without the line ends and indents between its tags, which are the platform's choice.
std::string Plain(const _bstr_t& xml)
{
    std::string plain = ToUtf8(xml.View());
    std::erase(plain, '\r');
    for (std::size_t end = 0; (end = plain.find('\n')) != plain.npos;)
        plain.erase(end, std::min(plain.find_first_not_of("\n\t ", end), plain.size()) - end);
    return plain;
}

class FilterText : public OptionsTest
{
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override { ::DeleteFileW(m_deviceXml.c_str()); }

    std::string Filter(const AgentOptions& options, int mode = DialogMode5)
    {
        _bstr_t filter;
        m_device = {};
        m_parsed = true;
        EXPECT_TRUE(XmlGenerateFilterText(options, static_cast<tagDialogMode>(mode), filter, m_device, m_parsed));
        return Plain(filter);
    }
    /// The device list that expands the filter, or a note that there is none.
    std::string DeviceList(const AgentOptions& options)
    {
        const std::string filter = Filter(options);
        const std::size_t from = filter.find("</properties>") + 13, to = filter.find("</option>");
        return from == to ? "no list" : filter.substr(from, to - from);
    }
    /// What is stored, and what is generated of it. @param given  one of the words below, and what belongs to it
    std::string Answer(const std::string& given)
    {
        const std::string word = given.substr(0, given.find(' ')), rest = given.substr(word.size() + 1);
        const std::string path = rest.substr(0, rest.find(": "));
        std::string answer;
        const DebugConsoleCapture console;
        if (word == "HKCU" || word == "HKLM")
            return Store(word == "HKCU" ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, path, rest.substr(path.size() + 2)),
                   "";
        if (word == "forget")
            return ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ToWide(rest).c_str()), "";
        if (word == "device.xml")
            return WriteFileBytes(m_deviceXml, rest), "";
        if (word == "settings")
            return m_settings = rest, "";
        if (word == "ports")
        {
            _bstr_t text(OLESTR("before"));
            answer = XmlGeneratePrinterPortData(text, ToWide(rest).c_str()) ? "" : "none, ";
            answer += Plain(text) + "\n";
        }
        else if (word.starts_with("mode"))
            answer = Filter(Options(rest, m_settings), std::stoi(word.substr(4))) + "\n";
        else
        {
            answer = DeviceList(Options(rest, m_settings));
            answer += Format<char>(
                "\nparsed %d, id %ws, default %d, IPv6 %d\n", m_parsed, m_device.deviceid, m_device.isDefault,
                m_device.isIpv6);
        }
        // Of the log, unless all of it is wanted, the lines without values.
        std::istringstream lines(AgentLines(console));
        bool inOptions = word != "ports";
        for (std::string line; std::getline(lines, line); inOptions = inOptions && !line.starts_with("needQuery"))
            if (!inOptions && !line.empty() && (word != "list" || line.find(": ") == std::string::npos))
                answer += line + "\n";
        return answer;
    }

    const Wide m_deviceXml = DeviceXmlLocation().Text();
    std::string m_settings;
    parsedMultiDeviceInfo m_device;
    bool m_parsed = true;
};

TEST_F(FilterText, FollowsOptionsAndStorages)
{
    ExpectAnswers("unit/data/FilterText.txt", [this](const std::string& given) { return Answer(given); });
    EXPECT_EQ("no list", DeviceList(Options("/more " + std::string(6000, 'x')))); // a path of any length
}

TEST_F(FilterText, TextsStayWithinTheirFields)
{
    const std::string full(255, 'z'), longest(1023, 'z');
    // A text longer than its field and a value that is no text do not replace the preset, which is cut.
    WriteFileBytes(
        m_deviceXml, "<devicelist><device><PortName>" + full + "z</PortName><Location>" + longest +
                         "z</Location><DeviceID>xd</DeviceID><ExtDeviceID>xe</ExtDeviceID><Serial>xs</Serial>"
                         "<MACAddress>xm</MACAddress></device></devicelist>");
    Store(HKEY_CURRENT_USER, currentKey, "MFG=" + full + "|Comment=" + longest + "|DeviceID=" + full + "z|Serial=#1");
    RegistryKey key;
    ASSERT_TRUE(key.Open(HKEY_CURRENT_USER, currentKey.c_str(), KEY_WRITE));
    const Wide z(1025, OLESTR('z'));
    const struct
    {
        const WCHAR* name;
        DWORD type, bytes;
    } values[] = {
        {OLESTR("Address"), REG_SZ, 2 * 256}, // no terminator: cut by one
        {OLESTR("MDL"), REG_SZ, 2 * 257},     // too long
        {OLESTR("HostName"), REG_SZ, 2 * 3},
        {OLESTR("DeviceName"), REG_SZ, 5}, // half a character at its end
        {OLESTR("ExtDeviceID"), REG_SZ, 0},
        {OLESTR("Location"), REG_SZ, 2 * 1025}, // too long
        {OLESTR("MACAddress"), REG_EXPAND_SZ, 2 * 3},
    };
    for (const auto& [name, type, bytes] : values)
        EXPECT_TRUE(key.SetValue(name, type, z.c_str(), bytes));
    const std::string list = DeviceList(Options(""));
    for (const std::string& element : Parts(
             "devicepath>" + full + "|vendor>" + full + "|comment>" + longest + "|port>" + full + "|location>" +
             longest + "|deviceid>xd|serialnumber>xs|hostname>zzz|ext>|macaddress>xm|modelname>"))
        EXPECT_NE(std::string::npos, list.find("<" + element + "</")) << element << " in " << list;
}

TEST_F(FilterText, AThousandRecordsAreTheMost)
{
    for (int number = 0; number <= 1000; ++number)
        Store(
            HKEY_LOCAL_MACHINE, Format<char>("Software\\Rec\\Printer%03d", number),
            Format<char>("DeviceID=%d|Default=#%d", number, number < 999 ? 0 : 1));
    const std::string list = DeviceList(Options("/more Software\\Rec"));
    std::size_t at = 0;
    for (int number = 0; number < 1000; ++number)
        ASSERT_NE(std::string::npos, at = list.find(Format<char>("<deviceid>%d<", number), at)) << number;
    EXPECT_EQ(std::string::npos, list.find("<deviceid>", at + 1));
    EXPECT_EQ(OLESTR("999"), m_device.deviceid.View());
}

} // namespace
