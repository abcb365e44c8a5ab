#include "TwainStorageDeviceList.h"

#include "DeviceXml.h"
#include "XmlTest.h"

using namespace scankelv;
using namespace test;

const wchar_t* const key = L"Software\\QLScan\\One";
const std::wstring full(255, L'f'), longFull(1023, L'f');

TEST_F(XmlTest, AWholeDeviceOfTheSystemHive)
{
    for (wchar_t text = L'a';
         const wchar_t* const name :
         {L"Address", L"DeviceID", L"DeviceName", L"ExtDeviceID", L"HostName", L"Location", L"MACAddress", L"MDL",
          L"MFG", L"PortName", L"ProductName", L"Serial", L"SystemDeviceName"})
        Store(HKEY_LOCAL_MACHINE, key, name, std::wstring(1, text++));
    Store(HKEY_LOCAL_MACHINE, key, {{L"Comment", longFull}, {L"ConnectionType", 1UL}, {L"PID", 26UL}, {L"VID", 0UL}});
    const AgentOptions options = Options(L"/M One /D M /V W /PID 1 /VID 2");
    m_console.Clear();
    XmlOptionAddDeviceListSingleSelect(options, m_document, m_option);
    EXPECT_EQ(
        Serialised(
            L"<option><devicelist "
            L"version=\"1.0.1\"><device><ipaddress>a</ipaddress><devicepath>a</devicepath><comment>" +
            longFull +
            L"</comment><iotype>Network</iotype><deviceid>b</deviceid><ext>d</ext><hostname>e</hostname>"
            L"<location>f</location><userlocation>f</userlocation><macaddress>g</macaddress><modelname>h</modelname>"
            L"<devicename>c</devicename><vendor>i</vendor><pid>0x1a</pid><port>j</port><productname>k</productname>"
            L"<serialnumber>l</serialnumber><systemdevicename>m</systemdevicename><vid>0x0</vid></device></"
            L"devicelist></option>"),
        XmlSerialise(m_document).View());
    EXPECT_EQ(
        "XmlOptionAddDeviceListSingleSelect\n"
        "fail to open user storage for read in HKCU, trying system storage in HKLM\n"
        "addressString: a\ncommentString: " +
            ToUtf8(longFull) +
            "\nconnectionTypeDWORD: 1\ndeviceIdString: b\n"
            "deviceNameString: c\ndeviceSelectDWORD: 0\nextDeviceIdString: d\nhostNameString: e\nlocationString: f\n"
            "macAddressString: g\nmdlString: h\nmfgString: i\npidDWORD: 26 (0x1a)\npidString: 0x1a\nportNameString: j\n"
            "productNameString: k\nserialNumberString: l\nsystemDeviceNameString: m\nuiMode: 0\nvidDWORD: 0 (0x0)\n"
            "vidString: 0x0\n",
        Joined(m_console.Lines()));
}

struct CurrentCase
{
    const char* name;
    DWORD connectionType;
    std::wstring address, port, model; ///< stored unless empty
    std::wstring presets;              ///< of the first device of device.xml
    const wchar_t* commands;
    std::wstring texts; ///< of all elements of the device, in their order; empty: no device list
    const char* lastLine = "uiMode: 0";
};
const CurrentCase currentCases[] = {
    {"Local", 0, L"", L"P", L"T", L"", L"", L"PLocalTTQuellonPOne"},
    {"OfTheOptions", 0, L"", L"P", L"", L"", L"/V W /VID 1a /PID 2b", L"PLocalMW2bPOne1a"},
    {"OtherType", 2, L"", L"P", L"T", L"", L"", L"NetworkTQuellonPOne"},
    {"NoAddress", 1, L"", L"P", L"T", L"", L"", L"", "Skip adding current printer[Network]"},
    {"NoPort", 0, L"a", L"", L"T", L"", L"", L"", "Skip adding current printer[USB]"},
    {"NoStorage", 9, L"", L"", L"", L"", L"", L"", "fail to open TWAIN storage in Registry, skip expanding"},
    {"Presets", 9, L"A", L"", L"",
     L"<ConnectionType>nETWORK</ConnectionType><Address>xa</Address><Comment>xc</Comment><DeviceID>xi</DeviceID>"
     L"<DeviceName>xn</DeviceName><ExtDeviceID>xe</ExtDeviceID><HostName>xh</HostName><Location>xl</Location>"
     L"<MACAddress>xm</MACAddress><MDL>xt</MDL><MFG>xv</MFG><PID>0x7</PID><PortName>xp</PortName>"
     L"<ProductName>xo</ProductName><Serial>xs</Serial><SystemDeviceName>xy</SystemDeviceName>",
     L"", L"AAxcNetworkxixexhxlxlxmxtxnxvxpxoxsxy"},
    {"LocalPreset", 9, L"", L"P", L"", L"<ConnectionType>Local</ConnectionType>", L"", L"PLocalMQuellonPOne"},
    {"BrokenPresets", 0, L"", L"P", L"", L"<Comment>c", L"", L"PLocalMQuellonPOne"},
    {"Full", 0, L"", L"P", full, L"", L"", L"PLocal" + full + full + L"QuellonPOne"},
    {"TooLong", 0, L"", L"P", full + L"x", L"<MDL>t</MDL>", L"", L"PLocalttQuellonPOne"},
    {"TooLongPreset", 0, L"", L"P", L"", L"<MDL>" + full + L"x</MDL>", L"", L"PLocal" + full + full + L"QuellonPOne"},
};
using CurrentDeviceTest = AgentTestWith<CurrentCase, XmlTest>;
TEST_P(CurrentDeviceTest, IsOfStorageFileAndOptions)
{
    const CurrentCase& row = GetParam();
    for (const auto& [name, text] : {std::pair(L"Address", row.address), {L"PortName", row.port}, {L"MDL", row.model}})
        if (!text.empty())
            Store(HKEY_CURRENT_USER, key, name, text);
    if (row.connectionType != 9) // absent
        Store(HKEY_CURRENT_USER, key, L"ConnectionType", row.connectionType);
    const std::wstring file = DeviceXmlLocation().Text();
    WriteFileBytes(
        file,
        ToUtf8(L"<devicelist><device>" + row.presets + L"</device><device><MFG>second</MFG></device></devicelist>"));
    XmlOptionAddDeviceListSingleSelect(Options(row.commands, "ProductName=One\nModelName=M"), m_document, m_option);
    ::DeleteFileW(file.c_str());
    EXPECT_EQ(row.texts, XmlText(m_option.Get()).View());
    EXPECT_EQ(row.texts.empty(), XmlSelectFirst(m_option.Get(), L"devicelist") == nullptr);
    EXPECT_EQ(row.lastLine, m_console.Lines().back());
}
INSTANTIATE_TEST_SUITE_P(, CurrentDeviceTest, testing::ValuesIn(currentCases), caseName);
