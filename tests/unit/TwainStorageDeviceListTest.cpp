#include "TwainStorageDeviceList.h"
#include "DeviceXml.h"
#include "DriverStorages.h"
#include "FilterTest.h"

namespace scankelv
{
namespace
{

using test::Plain;
using test::RegistryValue;
using Elements = std::vector<std::pair<const char*, std::string>>;

constexpr const char* key = "Software\\QLScan\\Quellon Generic Scan Driver";

class TwainStorageDeviceListTest : public test::FilterTest
{
protected:
    void SetUp() override
    {
        m_deviceXml = DeviceXmlLocation().Text();
        ::DeleteFileW(m_deviceXml.c_str());
    }
    void TearDown() override { ::DeleteFileW(m_deviceXml.c_str()); }

    /// What is appended to the option element.
    static std::string DeviceList(const AgentOptions& options)
    {
        XmlDocument document;
        EXPECT_TRUE(XmlOpenDocument(document));
        const XmlElement option = XmlCreateElement(document, OLESTR("o"));
        XmlOptionAddDeviceListSingleSelect(options, document, option);
        XmlAppend(document.Get(), option.Get());
        std::string text = Plain(XmlSerialise(document));
        EXPECT_TRUE(text == "<o/>" || text.starts_with("<o>")) << text;
        return text == "<o/>" ? "" : text.substr(3, text.size() - 7);
    }
    void WriteDeviceXml(std::string_view text) const { test::WriteFileBytes(m_deviceXml, text); }

    /// Which elements of the device hold which text; only those named.
    static void ExpectElements(const std::string& list, const Elements& texts)
    {
        for (const auto& [name, text] : texts)
        {
            const std::string element = std::string("<") + name + ">" + text + "</" + name + ">";
            EXPECT_NE(std::string::npos, list.find(element)) << element << " in " << list;
        }
    }

    test::Wide m_deviceXml;
};

TEST_F(TwainStorageDeviceListTest, AllValuesOfANetworkDevice)
{
    test::Store(
        HKEY_CURRENT_USER, key,
        {{"Address", "10.0.0.7"},
         {"Comment", "c & d"},
         {"ConnectionType", DWORD(1)},
         {"DeviceID", "MFG:Q;"},
         {"DeviceName", "Hall"},
         {"DeviceSelect", DWORD(4)},
         {"ExtDeviceID", "ext"},
         {"HostName", "hall.example"},
         {"Location", "K\xC3\xB6ln"},
         {"MACAddress", "02-00"},
         {"MDL", "TARN"},
         {"MFG", "Maker"},
         {"PID", DWORD(26)},
         {"PortName", "QP_1"},
         {"ProductName", "TARN Scan"},
         {"Serial", "SN"},
         {"SystemDeviceName", "sys"},
         {"UI_Mode", DWORD(3)},
         {"VID", DWORD(0xFFFFFFFF)}});
    const AgentOptions options = Options("/D Model /V Vendor /VID 1 /PID 2");
    const test::DebugConsoleCapture console;
    EXPECT_EQ(
        "<devicelist version=\"1.0.1\"><device><ipaddress>10.0.0.7</ipaddress><devicepath>10.0.0.7</devicepath>"
        "<comment>c &amp; d</comment><iotype>Network</iotype><deviceid>MFG:Q;</deviceid><ext>ext</ext>"
        "<hostname>hall.example</hostname><location>K\xC3\xB6ln</location><userlocation>K\xC3\xB6ln</userlocation>"
        "<macaddress>02-00</macaddress><modelname>TARN</modelname><devicename>Hall</devicename><vendor>Maker</vendor>"
        "<pid>0x1a</pid><port>QP_1</port><productname>TARN Scan</productname><serialnumber>SN</serialnumber>"
        "<systemdevicename>sys</systemdevicename><vid>0xffffffff</vid></device></devicelist>",
        DeviceList(options));
    EXPECT_EQ(
        "XmlOptionAddDeviceListSingleSelect|addressString: 10.0.0.7|commentString: c & d|connectionTypeDWORD: 1|"
        "deviceIdString: MFG:Q;|deviceNameString: Hall|deviceSelectDWORD: 4|extDeviceIdString: ext|"
        "hostNameString: hall.example|locationString: " +
            NarrowFromWide(test::ToWide("K\xC3\xB6ln")) +
            "|macAddressString: 02-00|mdlString: TARN|mfgString: Maker|pidDWORD: 26 (0x1a)|pidString: 0x1a|"
            "portNameString: QP_1|productNameString: TARN Scan|serialNumberString: SN|systemDeviceNameString: sys|"
            "uiMode: 3|vidDWORD: 4294967295 (0xffffffff)|vidString: 0xffffffff|",
        test::AgentLines(console));
    EXPECT_EQ("", ReportedExpressions(console));
}

TEST_F(TwainStorageDeviceListTest, OptionsStandInForWhatIsMissing)
{
    const struct
    {
        const char* commands;
        std::vector<RegistryValue> stored;
        Elements expected;
    } rows[] = {
        {"/D Model /V Vendor /VID 1a /PID 2b /M Product",
         {{"ConnectionType", DWORD(1)}, {"Address", "a"}},
         {{"modelname", "Model"},
          {"devicename", ""},
          {"vendor", "Vendor"},
          {"pid", "2b"},
          {"vid", "1a"},
          {"productname", "Product"}}},
        {"/VID \"\" /PID \"\"",
         {{"ConnectionType", DWORD(1)}, {"Address", "a"}},
         {{"modelname", ""},
          {"vendor", "Quellon"},
          {"pid", ""},
          {"vid", ""},
          {"productname", "Quellon Generic Scan Driver"}}},
        // A local device is named after its model, though never after a configured one.
        {"/D Model",
         {{"PortName", "USB1"}, {"MDL", "TARN"}},
         {{"ipaddress", "USB1"},
          {"devicepath", ""},
          {"iotype", "Local"},
          {"modelname", "TARN"},
          {"devicename", "TARN"}}},
        {"/D Model", {{"PortName", "USB1"}}, {{"modelname", "Model"}, {"devicename", ""}}},
        // Any other type than 0 is described as a network device; its name is never the model's.
        {"",
         {{"ConnectionType", DWORD(2)}, {"PortName", "P"}, {"MDL", "TARN"}},
         {{"ipaddress", ""}, {"devicepath", ""}, {"iotype", "Network"}, {"port", "P"}, {"devicename", ""}}},
        {"", {{"PortName", "P"}, {"PID", DWORD(0)}, {"VID", "text"}}, {{"pid", "0x0"}, {"vid", "0"}}},
    };
    for (const auto& row : rows)
    {
        const AgentOptions options = Options(row.commands);
        const std::string path = "Software\\QLScan\\" + test::ToUtf8(options.ProductName());
        ::RegDeleteTreeW(HKEY_CURRENT_USER, test::ToWide(path).c_str());
        test::Store(HKEY_CURRENT_USER, path, row.stored);
        ExpectElements(DeviceList(options), row.expected);
    }
}

TEST_F(TwainStorageDeviceListTest, SkipsADeviceThatCannotBeReached)
{
    const struct
    {
        std::vector<RegistryValue> stored;
        const char* lastLine;
    } rows[] = {
        {{{"ConnectionType", DWORD(1)}, {"PortName", "P"}}, "Skip adding current printer[Network]|"},
        {{{"ConnectionType", DWORD(1)}, {"PortName", "P"}, {"Address", ""}}, "Skip adding current printer[Network]|"},
        {{{"ConnectionType", DWORD(0)}, {"Address", "a"}}, "Skip adding current printer[USB]|"},
        {{}, "Skip adding current printer[USB]|"},
    };
    for (const auto& row : rows)
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, test::ToWide(key).c_str());
        test::Store(HKEY_CURRENT_USER, key, row.stored);
        const test::DebugConsoleCapture console;
        EXPECT_EQ("", DeviceList(Options("")));
        EXPECT_TRUE(test::AgentLines(console).ends_with(row.lastLine)) << test::AgentLines(console);
    }
}

TEST_F(TwainStorageDeviceListTest, StorageOfUserThenOfSystem)
{
    const AgentOptions options = Options("");
    const std::string tried = "XmlOptionAddDeviceListSingleSelect|fail to open user storage for read in HKCU, trying "
                              "system storage in HKLM|";
    const test::DebugConsoleCapture none;
    EXPECT_EQ("", DeviceList(options));
    EXPECT_EQ(
        tried + "fail to open system storage for read in HKLM|fail to open TWAIN storage in Registry, skip expanding|",
        test::AgentLines(none));
    test::Store(HKEY_LOCAL_MACHINE, key, {{"PortName", "of the system"}});
    ExpectElements(DeviceList(options), {{"port", "of the system"}});
    test::Store(HKEY_CURRENT_USER, key, {{"PortName", "of the user"}});
    ExpectElements(DeviceList(options), {{"port", "of the user"}});
}

constexpr const char* presetDevice =
    "<device><Address>xa</Address><Comment>xc</Comment><ConnectionType>nETWORK</ConnectionType>"
    "<DeviceID>xd</DeviceID><DeviceName>xn</DeviceName><DeviceSelect>9</DeviceSelect><ExtDeviceID>xe</ExtDeviceID>"
    "<HostName>xh</HostName><Location>xl</Location><MACAddress>xm</MACAddress><MDL>xmdl</MDL><MFG>xmfg</MFG>"
    "<PID>0x77</PID><PortName>xp</PortName><ProductName>xpn</ProductName><Serial>xs</Serial>"
    "<SystemDeviceName>xsys</SystemDeviceName><UI_Mode>7</UI_Mode><VID>0x88</VID></device>";

TEST_F(TwainStorageDeviceListTest, DeviceXmlStandsInForWhatTheStorageLacks)
{
    WriteDeviceXml(
        "<devicelist>" + std::string(presetDevice) + "<device><Address>second</Address></device></devicelist>");
    test::Store(HKEY_CURRENT_USER, key, {{"HostName", "stored"}, {"MDL", ""}});
    // Longer than its field, and no text at all: neither replaces the preset.
    test::StoreRaw(HKEY_CURRENT_USER, key, "DeviceID", REG_SZ, test::Utf16Bytes(test::Wide(400, 'z')));
    test::StoreRaw(HKEY_CURRENT_USER, key, "Serial", REG_BINARY, "abcd");
    const test::DebugConsoleCapture console;
    EXPECT_EQ(
        "<devicelist version=\"1.0.1\"><device><ipaddress>xa</ipaddress><devicepath>xa</devicepath>"
        "<comment>xc</comment><iotype>Network</iotype><deviceid>xd</deviceid><ext>xe</ext><hostname>stored</hostname>"
        "<location>xl</location><userlocation>xl</userlocation><macaddress>xm</macaddress><modelname></modelname>"
        "<devicename>xn</devicename><vendor>xmfg</vendor><pid>0</pid><port>xp</port><productname>xpn</productname>"
        "<serialnumber>xs</serialnumber><systemdevicename>xsys</systemdevicename><vid>0</vid></device></devicelist>",
        DeviceList(Options("")));
    const std::string lines = test::AgentLines(console);
    EXPECT_NE(std::string::npos, lines.find("connectionTypeDWORD: 1|")) << lines;
    EXPECT_NE(std::string::npos, lines.find("deviceSelectDWORD: 0|")) << lines;
    EXPECT_NE(std::string::npos, lines.find("uiMode: 0|")) << lines;
    EXPECT_EQ(std::string::npos, lines.find("pidDWORD")) << lines;
}

TEST_F(TwainStorageDeviceListTest, EveryStateOfDeviceXml)
{
    const std::string text = std::string(255, 'y');
    const struct
    {
        const char* name;
        std::string contents;
        std::string comment;
        std::string serial;
    } rows[] = {
        {"other type than network",
         "<devicelist><device><ConnectionType>Local</ConnectionType><PortName>xp</PortName>"
         "<Comment>xc</Comment></device></devicelist>",
         "xc", ""},
        {"broken", "<devicelist><device><Comment>xc", "", ""},
        {"empty", "", "", ""},
        {"no device", "<devicelist/>", "", ""},
        {"another root", "<list><device><Comment>xc</Comment></device></list>", "", ""},
        {"longer than the fields",
         "<devicelist><device><Comment>" + std::string(2000, 'y') + "</Comment><Serial>" + std::string(300, 'y') +
             "</Serial></device></devicelist>",
         std::string(1023, 'y'), std::string(255, 'y')},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        test::Store(HKEY_CURRENT_USER, key, {{"PortName", "P"}});
        WriteDeviceXml(row.contents);
        ExpectElements(
            DeviceList(Options("")),
            {{"port", "P"}, {"iotype", "Local"}, {"comment", row.comment}, {"serialnumber", row.serial}});
    }
    ::DeleteFileW(m_deviceXml.c_str());
    ::CreateDirectoryW(m_deviceXml.c_str(), nullptr);
    ExpectElements(DeviceList(Options("")), {{"port", "P"}, {"comment", ""}});
    ::RemoveDirectoryW(m_deviceXml.c_str());
}

TEST_F(TwainStorageDeviceListTest, StoredTextsStayWithinTheirFields)
{
    const auto raw = [](std::size_t length) { return test::Utf16Bytes(test::Wide(length, 'z')); };
    test::Store(
        HKEY_CURRENT_USER, key,
        {{"PortName", "P"}, {"MFG", std::string(255, 'z')}, {"Comment", std::string(1023, 'z')}});
    test::StoreRaw(HKEY_CURRENT_USER, key, "Address", REG_SZ, raw(256)); // no terminator: cut by one
    test::StoreRaw(HKEY_CURRENT_USER, key, "Serial", REG_SZ, raw(255) + std::string(4, '\0'));
    test::StoreRaw(HKEY_CURRENT_USER, key, "HostName", REG_SZ, raw(3));
    test::StoreRaw(HKEY_CURRENT_USER, key, "DeviceName", REG_SZ, raw(3).substr(0, 5)); // half a character at its end
    test::StoreRaw(HKEY_CURRENT_USER, key, "ExtDeviceID", REG_SZ, "");
    test::StoreRaw(HKEY_CURRENT_USER, key, "Location", REG_SZ, raw(1025));
    test::StoreRaw(HKEY_CURRENT_USER, key, "MACAddress", REG_EXPAND_SZ, raw(3));
    const std::string full(255, 'z');
    ExpectElements(
        DeviceList(Options("")), {{"devicepath", full},
                                  {"vendor", full},
                                  {"comment", std::string(1023, 'z')},
                                  {"serialnumber", ""},
                                  {"hostname", "zzz"},
                                  {"ext", ""},
                                  {"location", ""},
                                  {"macaddress", ""}});
}

} // namespace
} // namespace scankelv
