#include "MultiSelectDeviceList.h"
#include "FilterTest.h"
#include "TwainStorageDeviceList.h"

namespace scankelv
{
namespace
{

using test::Plain;
using test::RegistryValue;

const char* const path = "Software\\Rec";

std::string RecordPath(int number)
{
    const std::string digits = std::to_string(number);
    return std::string(path) + "\\Printer" + std::string(3 - digits.size(), '0') + digits;
}

std::size_t CountOf(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

class MultiSelectDeviceListTest : public test::FilterTest
{
protected:
    /// What is appended to the option element.
    std::string DeviceList(const AgentOptions& options, const WCHAR* recordPath = OLESTR("Software\\Rec"))
    {
        XmlDocument document;
        EXPECT_TRUE(XmlOpenDocument(document));
        const XmlElement option = XmlCreateElement(document, OLESTR("o"));
        m_parsed = true;
        XmlOptionAddDeviceListMultiSelect(options, document, option, recordPath, m_device, m_parsed);
        XmlAppend(document.Get(), option.Get());
        const std::string text = Plain(XmlSerialise(document));
        return text == "<o/>" ? "" : text.substr(3, text.size() - 7);
    }
    static void StoreRecord(int number, const std::vector<RegistryValue>& values)
    {
        test::Store(HKEY_LOCAL_MACHINE, RecordPath(number), values);
    }

    parsedMultiDeviceInfo m_device;
    bool m_parsed = false;
};

TEST_F(MultiSelectDeviceListTest, AllValuesOfANetworkDevice)
{
    StoreRecord(
        0, {{"Address", "fe80::7"},
            {"Comment", "not read"},
            {"ConnectionType", DWORD(1)},
            {"DeviceID", "MFG:Q;"},
            {"DeviceName", "Hall"},
            {"ExtDeviceID", "ext"},
            {"HostName", "hall.example"},
            {"IPv6", DWORD(1)},
            {"Location", "Desk"},
            {"MACAddress", "02-00"},
            {"MDL", "TARN"},
            {"MFG", "Maker"},
            {"PID", DWORD(26)},
            {"PortName", "QP_1"},
            {"SystemDeviceName", "sys"},
            {"VID", DWORD(0)},
            {"Default", DWORD(1)}});
    const AgentOptions options = Options("/D Model /VID 1 /PID 2");
    const test::DebugConsoleCapture console;
    EXPECT_EQ(
        "<devicelist version=\"1.0.1\"><device><ipv6address>fe80::7</ipv6address><ipaddress>fe80::7</ipaddress>"
        "<devicepath>hall.example</devicepath><iotype>Network</iotype><deviceid>MFG:Q;</deviceid>"
        "<devicename>Hall</devicename><ext>ext</ext><hostname>hall.example</hostname><location>Desk</location>"
        "<macaddress>02-00</macaddress><modelname>TARN</modelname><drivername>TARN</drivername>"
        "<printername>TARN</printername><vendor>Maker</vendor><pid>0x1a</pid><port/>"
        "<productname>Maker TARN</productname><systemdevicename>sys</systemdevicename><vid>0x0</vid></device>"
        "</devicelist>",
        DeviceList(options));
    EXPECT_EQ(
        "|try to open \"Software\\Rec\\Printer000\"|trying system storage in HKLM|success to open MultiSelect storage "
        "for read in HKLM|addressString: fe80::7|connectionTypeDWORD: 1 (0x1)|deviceIdString: MFG:Q;|"
        "deviceNameString: Hall|extDeviceIdString: ext|hostNameString: hall.example|ipv6DWORD: 1 (0x1)|"
        "locationString: Desk|macAddressString: 02-00|mdlString: TARN|mfgString: Maker|pidDWORD: 26 (0x1a)|"
        "pidString: 0x1a|portNameString: QP_1|systemDeviceNameString: sys|vidDWORD: 0 (0x0)|vidString: 0x0|"
        "defaultDeviceDWORD: 1 (0x1)||try to open \"Software\\Rec\\Printer001\"|trying system storage in HKLM|"
        "fail to open MultiSelect storage for read in HKLM!|MultiSelectStorageOpenRead failed!|",
        test::AgentLines(console));
    ASSERT_TRUE(m_parsed);
    const struct
    {
        _bstr_t parsedMultiDeviceInfo::*member;
        const WCHAR* text;
    } rows[] = {
        {&parsedMultiDeviceInfo::deviceid, OLESTR("MFG:Q;")},
        {&parsedMultiDeviceInfo::devicename, OLESTR("Hall")},
        {&parsedMultiDeviceInfo::devicepath, OLESTR("hall.example")},
        {&parsedMultiDeviceInfo::drivername, OLESTR("TARN")},
        {&parsedMultiDeviceInfo::ext, OLESTR("ext")},
        {&parsedMultiDeviceInfo::hostname, OLESTR("hall.example")},
        {&parsedMultiDeviceInfo::iotype, OLESTR("Network")},
        {&parsedMultiDeviceInfo::ipaddress, OLESTR("fe80::7")},
        {&parsedMultiDeviceInfo::ipv6address, OLESTR("fe80::7")},
        {&parsedMultiDeviceInfo::location, OLESTR("Desk")},
        {&parsedMultiDeviceInfo::macaddress, OLESTR("02-00")},
        {&parsedMultiDeviceInfo::modelname, OLESTR("TARN")},
        {&parsedMultiDeviceInfo::pid, OLESTR("0x1a")},
        {&parsedMultiDeviceInfo::port, OLESTR("")},
        {&parsedMultiDeviceInfo::printername, OLESTR("TARN")},
        {&parsedMultiDeviceInfo::productname, OLESTR("Maker TARN")},
        {&parsedMultiDeviceInfo::systemdevicename, OLESTR("sys")},
        {&parsedMultiDeviceInfo::vendor, OLESTR("Maker")},
        {&parsedMultiDeviceInfo::vid, OLESTR("0x0")},
    };
    for (const auto& [member, text] : rows)
        EXPECT_EQ(test::ToUtf8(text), test::ToUtf8((m_device.*member).View()));
    EXPECT_TRUE(m_device.isDefault && m_device.isIpv6);
}

TEST_F(MultiSelectDeviceListTest, ElementsFollowTheRecord)
{
    const char* const properties = "ProductName=One\r\nModelName=M\r\nPropertiesUI=1\r\n";
    const std::string empty =
        "<deviceid></deviceid><devicename></devicename><ext></ext><hostname></hostname><location></location>"
        "<macaddress></macaddress><modelname></modelname><drivername></drivername><printername></printername>"
        "<vendor></vendor><pid></pid>";
    const struct
    {
        const char* settings;
        std::vector<RegistryValue> stored;
        std::vector<std::string> parts; ///< of the device
    } rows[] = {
        {"",
         {},
         {"<device><ipv6address/><ipaddress></ipaddress><devicepath></devicepath><iotype>Local</iotype>" + empty +
          "<port></port><productname> </productname><systemdevicename></systemdevicename><vid></vid></device>"}},
        {"",
         {{"PortName", "P"}, {"Address", "a"}},
         {"<ipaddress>P</ipaddress><devicepath>a</devicepath><iotype>Local</iotype>", "<port>P</port>"}},
        {"",
         {{"PortName", "P"}, {"Address", "a"}, {"ConnectionType", DWORD(1)}},
         {"<ipaddress>a</ipaddress><devicepath>a</devicepath><iotype>Network</iotype>", "<port/>"}},
        {"",
         {{"PortName", "P"}, {"Address", "a"}, {"ConnectionType", DWORD(2)}, {"IPv6", DWORD(2)}},
         {"<ipv6address/><ipaddress>a</ipaddress>", "<iotype>Local</iotype>", "<port/>"}},
        {"",
         {{"HostName", "h"}, {"Address", "a"}, {"IPv6", DWORD(1)}, {"MDL", "m"}},
         {"<ipv6address>a</ipv6address><ipaddress></ipaddress><devicepath>h</devicepath>",
          "<productname> m</productname>"}},
        {properties,
         {{"Location", "l"}},
         {"<hostname></hostname><userlocation>l</userlocation><macaddress></macaddress>"}},
    };
    for (const auto& row : rows)
    {
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, test::ToWide(path).c_str());
        StoreRecord(0, row.stored);
        const std::string list = DeviceList(Options("", row.settings));
        for (const std::string& part : row.parts)
            EXPECT_NE(std::string::npos, list.find(part)) << part << " in " << list;
        EXPECT_EQ(19U, CountOf(list, "</") + CountOf(list, "/>") - 2);
    }
}

TEST_F(MultiSelectDeviceListTest, RecordsAndTheDefaultAmongThem)
{
    const auto opened = [](int number) {
        return "|try to open \"" + RecordPath(number) +
               "\"|trying system storage in HKLM|success to open MultiSelect storage for read in HKLM|";
    };
    const std::string failed = "|trying system storage in HKLM|fail to open MultiSelect storage for read in HKLM!|"
                               "MultiSelectStorageOpenRead failed!|";
    const struct
    {
        const char* name;
        std::vector<std::pair<int, DWORD>> records; ///< number and "Default"
        int listed;
        const char* chosen; ///< its number; null: none
        bool readAgain;     ///< record 0, at the end
    } rows[] = {
        {"none", {}, 0, nullptr, false},
        {"the first is missing", {{1, 1}}, 0, nullptr, false},
        {"a gap", {{0, 0}, {1, 1}, {3, 1}}, 2, "1", false},
        {"two defaults", {{0, 0}, {1, 1}, {2, 1}}, 3, "1", false},
        {"no default", {{0, 0}, {1, 0}}, 2, "0", true},
        {"only 1 counts", {{0, 2}, {1, 0xFFFFFFFF}, {2, 1}}, 3, "2", false},
        {"2 is none", {{0, 2}}, 1, "0", true},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, test::ToWide(path).c_str());
        for (const auto& [number, isDefault] : row.records)
            StoreRecord(number, {{"DeviceID", std::to_string(number)}, {"Default", isDefault}});
        m_device = {};
        const test::DebugConsoleCapture console;
        const std::string list = DeviceList(Options(""));
        EXPECT_EQ(static_cast<std::size_t>(row.listed), CountOf(list, "<device>"));
        for (int number = 0; number < row.listed; ++number)
            EXPECT_EQ(1U, CountOf(list, "<deviceid>" + std::to_string(number) + "<"));
        EXPECT_EQ(row.chosen != nullptr, m_parsed);
        EXPECT_EQ(row.chosen != nullptr ? row.chosen : "", test::ToUtf8(m_device.deviceid.View()));

        const std::string lines = test::AgentLines(console);
        std::size_t at = 0;
        for (int number = 0; number < row.listed; ++number)
        {
            at = lines.find(opened(number), at);
            ASSERT_NE(std::string::npos, at) << lines;
        }
        const std::string end = "|try to open \"" + RecordPath(row.listed) + "\"" + failed;
        at = lines.find(end, at);
        ASSERT_NE(std::string::npos, at) << lines;
        const std::string rest = lines.substr(at + end.size());
        if (row.readAgain)
            EXPECT_TRUE(rest.starts_with(opened(0) + "addressString: |")) << rest;
        else
            EXPECT_EQ(row.listed == 0 ? "no multi-select records found, device list generation canceled!|" : "", rest);
    }
}

TEST_F(MultiSelectDeviceListTest, AThousandRecords)
{
    for (int number = 0; number < 1000; ++number)
        StoreRecord(number, {{"DeviceID", std::to_string(number)}});
    StoreRecord(999, {{"Default", DWORD(1)}});
    test::Store(HKEY_LOCAL_MACHINE, std::string(path) + "\\Printer1000", {{"DeviceID", "1000"}});
    const std::string list = DeviceList(Options(""));
    EXPECT_EQ(1000U, CountOf(list, "<device>"));
    EXPECT_EQ(1U, CountOf(list, "<deviceid>999<"));
    EXPECT_EQ(0U, CountOf(list, "<deviceid>1000<"));
    EXPECT_EQ(OLESTR("999"), m_device.deviceid.View());
}

TEST_F(MultiSelectDeviceListTest, PathOfAnyLength)
{
    StoreRecord(0, {});
    const WideText longPath(6000, OLESTR('x'));
    EXPECT_EQ("", DeviceList(Options(""), longPath.c_str()));
    EXPECT_FALSE(m_parsed);
}

} // namespace
} // namespace scankelv
