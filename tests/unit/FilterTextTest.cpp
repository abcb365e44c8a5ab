// The generated texts: the filter, the device lists that expand it, and the data of the ports.
#include "FilterText.h"
#include "DeviceXml.h"
#include "OptionsTest.h"
#include "PrinterPortData.h"
#include "RegistryKey.h"

#include <thread>

using namespace scankelv;
using namespace test;

namespace
{

const std::string currentKey = "Software\\QLScan\\Quellon Generic Scan Driver";
const std::string recordKey = "Software\\Rec";

/// The XML without the line ends and indents between its tags, which are the platform's choice.
std::string Plain(const _bstr_t& xml)
{
    std::string plain = ToUtf8(xml.View());
    std::erase(plain, '\r');
    for (std::size_t end = 0; (end = plain.find('\n')) != plain.npos;)
        plain.erase(end, std::min(plain.find_first_not_of("\n\t ", end), plain.size()) - end);
    return plain;
}

void StoreRecord(int number, const std::string& values)
{
    Store(SystemHive, recordKey + Format<char>("\\Printer%03d", number), values);
}

class FilterText : public OptionsTest
{
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        ::DeleteFileW(m_deviceXml.c_str());
        ::RemoveDirectoryW(m_deviceXml.c_str());
    }

    std::string Filter(const AgentOptions& options, int mode = DialogMode5)
    {
        _bstr_t filter;
        EXPECT_TRUE(XmlGenerateFilterText(options, static_cast<tagDialogMode>(mode), filter, m_device, m_parsed));
        return Plain(filter);
    }
    /// The device list that expands the filter; empty without one.
    std::string DeviceList(const AgentOptions& options)
    {
        const std::string filter = Filter(options);
        const std::size_t from = filter.find("</properties>") + 13;
        return filter.substr(from, filter.find("</option>") - from);
    }
    /// Pieces of the current device's list.
    void ExpectPieces(const std::string& pieces)
    {
        const std::string list = DeviceList(Options(""));
        for (const std::string& piece : Parts(pieces))
            EXPECT_NE(std::string::npos, list.find(piece)) << piece << " in " << list;
    }

    const Wide m_deviceXml = DeviceXmlLocation().Text();
    parsedMultiDeviceInfo m_device;
    bool m_parsed = true;
};

TEST_F(FilterText, ElementsFollowTheOptions)
{
    const char* const off = "ProductName=One\r\nModelName=M\r\nCurrentDeviceFeature=0\r\nPropertiesUI=2\r\n";
    const struct
    {
        const char *commands, *settings;
        int mode;
        std::string product, vendor, shownMode, properties;
    } rows[] = {
        {"", "", 5, "Quellon Generic Scan Driver", "Quellon", "5", "0"},
        {"", "", 0, "Quellon Generic Scan Driver", "Quellon", "0", "0"},
        {"/M \"\" /V \"\"", "", 6, "", "", "5", "0"},
        {"/V A&B /M K\xC3\xB6ln", "", -1, "K\xC3\xB6ln", "A&amp;B", "5", "0"},
        {"", off, 3, "One", "Quellon", "3", "1"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(
            "<?xml version=\"1.0\" encoding=\"UTF-16\"?><option><xmldevicepath>ScanKELV-" + row.product +
                "</xmldevicepath><iprangepath>ScanKELV-" + row.product + "</iprangepath><dialogmode>" + row.shownMode +
                "</dialogmode><snmp_community_key>LANTERN</snmp_community_key><vendor>" + row.vendor +
                "</vendor><appname>" + row.product +
                "</appname><iotype>All</iotype><iodetail>scan</iodetail><updateonselect>0</updateonselect>"
                "<searchusbscanner>1</searchusbscanner><dialogcaption>Available Scan</dialogcaption>"
                "<codejock>KELV.cjstyles</codejock><properties>" +
                row.properties + "</properties></option>",
            Filter(Options(row.commands, row.settings), row.mode));
    EXPECT_TRUE(m_parsed && m_device.deviceid.IsNull()); // left alone without records
}

TEST_F(FilterText, IsExpandedByTheFirstCaseThatApplies)
{
    Store(SystemHive, "Software\\List\\Printer000", "DeviceID=of the list");
    StoreRecord(0, "DeviceID=of several");
    Store(UserHive, "Software\\QLScan\\One", "DeviceID=current|ConnectionType=#1|Address=10.0.0.7");
    const std::string base = "ProductName=One\r\nModelName=M\r\n";
    const std::string off = base + "CurrentDeviceFeature=0\r\n";
    const char* const featureOn = "Current device feature ON - expanding the filter|";
    const char* const featureOff = "Current device feature OFF - not expanding the filter|";
    const struct
    {
        const char* commands;
        std::string settings;
        const char* message;
        std::string deviceId; ///< in the device list; empty: there is none
    } rows[] = {
        {"/devicelist Software\\List /more Software\\Rec", base, "DeviceList - expanding the filter|", "of the list"},
        {"/more Software\\Rec", off, "MultiSelect - expanding the filter|", "of several"},
        {"/more Software\\None", base, "MultiSelect - expanding the filter|", ""},
        {"/more \"\"", base, featureOn, "current"},
        {"", base + "CurrentDeviceFeature=x\r\n", featureOn, "current"},
        {"/prop", off + "PropertiesUI=1\r\n", featureOn, "current"},
        {"", off + "PropertiesUI=1\r\n", featureOff, ""},
        {"/prop", off, featureOff, ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.settings + row.commands);
        const AgentOptions options = Options(row.commands, row.settings);
        m_parsed = false;
        m_device = {};
        const DebugConsoleCapture console;
        const std::string list = DeviceList(options);
        EXPECT_TRUE(AgentLines(console).starts_with(row.message)) << AgentLines(console);
        EXPECT_EQ(row.deviceId.empty(), list.empty()) << list;
        EXPECT_EQ(list.empty(), list.find("<deviceid>" + row.deviceId + "<") == list.npos) << list;
        EXPECT_EQ(row.deviceId.starts_with("of"), m_parsed);
        EXPECT_EQ(m_parsed ? row.deviceId : "", ToUtf8(m_device.deviceid.View()));
    }
}

TEST_F(FilterText, WithoutComEverythingStaysAsItWas)
{
    const AgentOptions options = Options("");
    StoreRecord(0, "");
    _bstr_t text(OLESTR("before"));
    const DebugConsoleCapture console;
    std::thread([&] {
        EXPECT_FALSE(XmlGenerateFilterText(options, DialogMode5, text, m_device, m_parsed));
        EXPECT_FALSE(XmlGeneratePrinterPortData(text, OLESTR("Software\\Rec")));
    }).join();
    EXPECT_TRUE(text.View() == OLESTR("before") && m_parsed);
    EXPECT_EQ("createInstanceResult createInstanceResult ", ReportedExpressions(console));
    EXPECT_LT(console.Text().find("FilterText.cpp("), console.Text().find("PrinterPortData.cpp(")) << console.Text();
}

TEST_F(FilterText, AllValuesOfTheCurrentDevice)
{
    Store(
        UserHive, currentKey,
        "Address=10.0.0.7|Comment=c & d|ConnectionType=#1|DeviceID=MFG:Q;|DeviceName=Hall|DeviceSelect=#4|"
        "ExtDeviceID=ext|HostName=hall.example|Location=Desk|MACAddress=02-00|MDL=TARN|MFG=Maker|PID=#26|"
        "PortName=QP_1|ProductName=TARN Scan|Serial=SN|SystemDeviceName=sys|UI_Mode=#3|VID=#4294967295");
    const AgentOptions options = Options("/D Model /V Vendor /VID 1 /PID 2");
    const DebugConsoleCapture console;
    EXPECT_EQ(
        "<devicelist version=\"1.0.1\"><device><ipaddress>10.0.0.7</ipaddress><devicepath>10.0.0.7</devicepath>"
        "<comment>c &amp; d</comment><iotype>Network</iotype><deviceid>MFG:Q;</deviceid><ext>ext</ext>"
        "<hostname>hall.example</hostname><location>Desk</location><userlocation>Desk</userlocation>"
        "<macaddress>02-00</macaddress><modelname>TARN</modelname><devicename>Hall</devicename><vendor>Maker</vendor>"
        "<pid>0x1a</pid><port>QP_1</port><productname>TARN Scan</productname><serialnumber>SN</serialnumber>"
        "<systemdevicename>sys</systemdevicename><vid>0xffffffff</vid></device></devicelist>",
        DeviceList(options));
    EXPECT_EQ(
        "Current device feature ON - expanding the filter|XmlOptionAddDeviceListSingleSelect|addressString: 10.0.0.7|"
        "commentString: c & d|connectionTypeDWORD: 1|deviceIdString: MFG:Q;|deviceNameString: Hall|"
        "deviceSelectDWORD: 4|extDeviceIdString: ext|hostNameString: hall.example|locationString: Desk|"
        "macAddressString: 02-00|mdlString: TARN|mfgString: Maker|pidDWORD: 26 (0x1a)|pidString: 0x1a|"
        "portNameString: QP_1|productNameString: TARN Scan|serialNumberString: SN|systemDeviceNameString: sys|"
        "uiMode: 3|vidDWORD: 4294967295 (0xffffffff)|vidString: 0xffffffff|",
        AgentLines(console));
}

TEST_F(FilterText, IncompleteCurrentDevices)
{
    const struct
    {
        const char *commands, *stored; ///< null: no key
        std::string expected;          ///< one of the list's pieces, or the last line when there is no list
    } rows[] = {
        {"", nullptr, "|fail to open TWAIN storage in Registry, skip expanding|"},
        {"/D Model /V Vendor /VID 1a /PID 2b", "ConnectionType=#1|Address=a",
         "<modelname>Model</modelname><devicename></devicename><vendor>Vendor</vendor><pid>2b</pid><port></port>"
         "<productname>Quellon Generic Scan Driver</productname><serialnumber></serialnumber><systemdevicename>"
         "</systemdevicename><vid>1a</vid>"},
        {"", "ConnectionType=#1|Address=a", "<modelname></modelname><devicename></devicename><vendor>Quellon</vendor>"},
        // A local device is named after its model, though never after a configured one.
        {"/D Model", "PortName=USB1|MDL=TARN", "<modelname>TARN</modelname><devicename>TARN</devicename>"},
        {"/D Model", "PortName=USB1|PID=#0", "<modelname>Model</modelname><devicename></devicename><vendor>Quellon"},
        {"", "PortName=USB1|PID=#0", "<pid>0x0</pid>"},
        {"", "PortName=USB1", "<ipaddress>USB1</ipaddress><devicepath></devicepath><comment></comment><iotype>Local<"},
        // Any other type than 0 is described as a network device; its name is never the model's.
        {"", "ConnectionType=#2|PortName=P",
         "<ipaddress></ipaddress><devicepath></devicepath><comment></comment><iotype>Network</iotype>"},
        {"", "ConnectionType=#2|PortName=P|MDL=TARN", "<modelname>TARN</modelname><devicename></devicename>"},
        {"", "ConnectionType=#1|PortName=P|Address=", "|Skip adding current printer[Network]|"},
        {"", "ConnectionType=#0|Address=a", "|Skip adding current printer[USB]|"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.expected);
        if (row.stored != nullptr)
            Store(UserHive, currentKey, row.stored);
        const AgentOptions options = Options(row.commands);
        const DebugConsoleCapture console;
        const std::string list = DeviceList(options);
        EXPECT_EQ(list.empty(), list.find(row.expected) == list.npos) << list;
        EXPECT_EQ(list.empty(), AgentLines(console).ends_with(row.expected)) << AgentLines(console);
    }
}

TEST_F(FilterText, DeviceXmlStandsInForWhatTheStorageLacks)
{
    // In the storage, a text longer than its field and a value that is no text do not replace the preset.
    const std::string stored = "PortName=P|HostName=stored|MDL=|DeviceID=" + std::string(400, 'z') + "|Serial=#1";
    const std::string y(255, 'y');
    const struct
    {
        std::string stored, contents, pieces;
    } rows[] = {
        {stored,
         "<devicelist><device><Address>xa</Address><ConnectionType>nETWORK</ConnectionType><DeviceID>xd</DeviceID>"
         "<DeviceName>xn</DeviceName><HostName>xh</HostName><Location>xl</Location><MDL>xmdl</MDL><PID>0x77</PID>"
         "<PortName>xp</PortName><Serial>xs</Serial></device><device><Address>second</Address></device></devicelist>",
         "<ipaddress>xa<|<iotype>Network<|<deviceid>xd<|<devicename>xn<|<hostname>stored<|<userlocation>xl<|"
         "<modelname><|<pid>0<|<port>P<|<serialnumber>xs<"},
        {"PortName=P",
         "<devicelist><device><ConnectionType>Local</ConnectionType><Comment>c</Comment></device>"
         "</devicelist>",
         "<iotype>Local<|<comment>c<"},
        {"",
         "<devicelist><device><PortName>" + y + "y</PortName><Comment>" + y + y + y + y + y +
             "</Comment></device>"
             "</devicelist>",
         "<port>" + y + "<|<comment>" + y + y + y + y + "yyy<"},
        {"PortName=P", "<devicelist><device><Comment>c", "<port>P<|<comment><"},
        {"PortName=P", "<list><device><Comment>c</Comment></device></list>", "<port>P<|<comment><"},
    };
    for (const auto& row : rows)
    {
        WriteFileBytes(m_deviceXml, row.contents);
        Store(UserHive, currentKey, row.stored);
        ExpectPieces(row.pieces);
    }
    ::DeleteFileW(m_deviceXml.c_str());
    ::CreateDirectoryW(m_deviceXml.c_str(), nullptr);
    ExpectPieces("<port>P<|<comment><");
}

TEST_F(FilterText, StoredTextsStayWithinTheirFields)
{
    const std::string full(255, 'z');
    const std::string longest(1023, 'z');
    Store(UserHive, currentKey, "PortName=P|MFG=" + full + "|Comment=" + longest);
    RegistryKey key;
    ASSERT_TRUE(key.Open(HKEY_CURRENT_USER, currentKey.c_str(), KEY_WRITE));
    const Wide z(1025, OLESTR('z'));
    const struct
    {
        const WCHAR* name;
        DWORD type, bytes;
    } values[] = {
        {OLESTR("Address"), REG_SZ, 2 * 256}, // no terminator: cut by one
        {OLESTR("Serial"), REG_SZ, 2 * 257},
        {OLESTR("HostName"), REG_SZ, 2 * 3},
        {OLESTR("DeviceName"), REG_SZ, 5}, // half a character at its end
        {OLESTR("ExtDeviceID"), REG_SZ, 0},
        {OLESTR("Location"), REG_SZ, 2 * 1025},
        {OLESTR("MACAddress"), REG_EXPAND_SZ, 2 * 3},
    };
    for (const auto& [name, type, bytes] : values)
        EXPECT_TRUE(key.SetValue(name, type, z.c_str(), bytes));
    ExpectPieces(
        "<devicepath>" + full + "<|<vendor>" + full + "<|<comment>" + longest +
        "<|<serialnumber><|<hostname>zzz<|<ext><|<location><|<macaddress><");
}

TEST_F(FilterText, AllValuesOfARecord)
{
    StoreRecord(
        0, "Address=fe80::7|Comment=not read|ConnectionType=#1|DeviceID=MFG:Q;|DeviceName=Hall|ExtDeviceID=ext|"
           "HostName=hall.example|IPv6=#1|Location=Desk|MACAddress=02-00|MDL=TARN|MFG=Maker|PID=#26|PortName=QP_1|"
           "SystemDeviceName=sys|VID=#0|Default=#1");
    const AgentOptions options = Options("/more Software\\Rec /D Model /VID 1 /PID 2");
    const DebugConsoleCapture console;
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
        "MultiSelect - expanding the filter||try to open \"Software\\Rec\\Printer000\"|trying system storage in HKLM|"
        "success to open MultiSelect storage for read in HKLM|addressString: fe80::7|connectionTypeDWORD: 1 (0x1)|"
        "deviceIdString: MFG:Q;|deviceNameString: Hall|extDeviceIdString: ext|hostNameString: hall.example|"
        "ipv6DWORD: 1 (0x1)|locationString: Desk|macAddressString: 02-00|mdlString: TARN|mfgString: Maker|"
        "pidDWORD: 26 (0x1a)|pidString: 0x1a|portNameString: QP_1|systemDeviceNameString: sys|vidDWORD: 0 (0x0)|"
        "vidString: 0x0|defaultDeviceDWORD: 1 (0x1)||try to open \"Software\\Rec\\Printer001\"|trying system storage "
        "in HKLM|fail to open MultiSelect storage for read in HKLM!|MultiSelectStorageOpenRead failed!|",
        AgentLines(console));
    EXPECT_TRUE(m_parsed && m_device.isDefault && m_device.isIpv6);
}

TEST_F(FilterText, IncompleteRecords)
{
    const struct
    {
        const char *settings, *stored, *pieces; ///< of the device, in their order
    } rows[] = {
        {"", "",
         "<device><ipv6address/><ipaddress></ipaddress><devicepath></devicepath><iotype>Local</iotype><deviceid>"
         "</deviceid><devicename></devicename><ext></ext><hostname></hostname><location></location><macaddress>"
         "</macaddress><modelname></modelname><drivername></drivername><printername></printername><vendor></vendor>"
         "<pid></pid><port></port><productname> </productname><systemdevicename></systemdevicename><vid></vid>"
         "</device>"},
        {"", "PortName=P|Address=a", "<ipaddress>P</ipaddress><devicepath>a</devicepath><iotype>Local<|<port>P<"},
        {"", "PortName=P|Address=a|ConnectionType=#1", "<ipaddress>a<|<iotype>Network<|<port/>"},
        {"", "PortName=P|Address=a|ConnectionType=#2|IPv6=#2",
         "<ipv6address/><ipaddress>a<|<iotype>Local</iotype>|<port/>"},
        {"", "Address=a|IPv6=#1|MDL=m", "<ipv6address>a</ipv6address><ipaddress></ipaddress>|<productname> m<"},
        {"ProductName=One\r\nModelName=M\r\nPropertiesUI=1\r\n", "Location=l",
         "</hostname><userlocation>l</userlocation><macaddress>"},
    };
    for (const auto& row : rows)
    {
        StoreRecord(0, row.stored);
        const std::string list = DeviceList(Options("/more Software\\Rec", row.settings));
        std::size_t at = 0;
        for (const std::string& piece : Parts(row.pieces))
            EXPECT_NE(std::string::npos, at = list.find(piece, at)) << piece << " in " << list;
    }
}

TEST_F(FilterText, RecordsAndTheDefaultAmongThem)
{
    const struct
    {
        const char* name;
        std::vector<const char*> records; ///< the value "Default" of each; null: there is no such record
        const char* listed;
        const char* chosen; ///< empty: none
        const char* tried;  ///< numbers of records, "!" behind one that did not open
    } rows[] = {
        {"none", {}, "", "", "000!"},
        {"the first is missing", {nullptr, "1"}, "", "", "000!"},
        {"a gap", {"0", "1", nullptr, "1"}, "01", "1", "000001002!"},
        {"two defaults", {"0", "1", "1"}, "012", "1", "000001002003!"},
        {"no default: the first again", {"0", "0"}, "01", "0", "000001002!000"},
        {"only 1 counts", {"2", "4294967295", "1"}, "012", "2", "000001002003!"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ToWide(recordKey).c_str());
        for (std::size_t i = 0; i < row.records.size(); ++i)
            if (row.records[i] != nullptr)
                StoreRecord(static_cast<int>(i), "DeviceID=" + std::to_string(i) + "|Default=#" + row.records[i]);
        m_device = {};
        const DebugConsoleCapture console;
        const std::string list = DeviceList(Options("/more Software\\Rec"));
        std::string listed, tried;
        for (std::size_t at = 0; (at = list.find("<deviceid>", at)) != list.npos; ++at)
            listed += list[at + 10];
        for (const std::string& line : Parts(AgentLines(console)))
            if (const std::size_t at = line.find("\\Printer"); at != line.npos)
                tried += line.substr(at + 8, 3);
            else if (line == "MultiSelectStorageOpenRead failed!")
                tried += "!";
        EXPECT_EQ(row.listed, listed);
        EXPECT_EQ(row.chosen, ToUtf8(m_device.deviceid.View()));
        EXPECT_EQ(*row.chosen != 0, m_parsed);
        EXPECT_EQ(row.tried, tried);
    }
    EXPECT_EQ("", DeviceList(Options("/more " + std::string(6000, 'x')))); // a path of any length
}

TEST_F(FilterText, AThousandRecordsAreTheMost)
{
    for (int number = 0; number <= 1000; ++number)
        StoreRecord(number, "DeviceID=" + std::to_string(number) + "|Default=#" + (number < 999 ? "0" : "1"));
    const std::string list = DeviceList(Options("/more Software\\Rec"));
    std::size_t at = 0;
    for (int number = 0; number < 1000; ++number)
        ASSERT_NE(std::string::npos, at = list.find("<deviceid>" + std::to_string(number) + "<", at)) << number;
    EXPECT_EQ(std::string::npos, list.find("<deviceid>", at + 1));
    EXPECT_EQ(OLESTR("999"), m_device.deviceid.View());
}

TEST_F(FilterText, PortForEachRecord)
{
    const std::string opened = "|trying system storage in HKLM|success to open MultiSelect storage for read in HKLM|";
    const std::string failed = "|trying system storage in HKLM|fail to open MultiSelect storage for read in HKLM!|"
                               "MultiSelectStorageOpenRead failed|";
    _bstr_t portData(OLESTR("before"));
    DebugConsoleCapture console;
    EXPECT_FALSE(XmlGeneratePrinterPortData(portData, OLESTR("Software\\Rec")));
    EXPECT_EQ(OLESTR("before"), portData.View());
    EXPECT_EQ(
        "|try to open Software\\Rec\\Printer000" + failed +
            "no multi-select records found, ports list generation canceled!|",
        AgentLines(console));
    StoreRecord(0, "Address=10.0.0.7|PortName=not read");
    StoreRecord(1, "Address=" + std::string(256, 'z'));
    StoreRecord(2, "Address=a<b");
    StoreRecord(4, "Address=behind the gap");
    console.Clear();
    EXPECT_TRUE(XmlGeneratePrinterPortData(portData, OLESTR("Software\\Rec")));
    EXPECT_EQ("<ports><port>10.0.0.7</port><port></port><port>a&lt;b</port></ports>", Plain(portData));
    EXPECT_EQ(
        "|try to open Software\\Rec\\Printer000" + opened + "addressString: 10.0.0.7||try to open " +
            "Software\\Rec\\Printer001" + opened + "addressString: ||try to open Software\\Rec\\Printer002" + opened +
            "addressString: a<b||try to open Software\\Rec\\Printer003" + failed,
        AgentLines(console));
}

} // namespace
