#include "TwainStorageDeviceList.h"

#include "DeviceXml.h"
#include "XmlTest.h"

using namespace scankelv;
using namespace test;

const wchar_t* const key = L"Software\\QLScan\\One";

TEST_F(XmlTest, AWholeDeviceOfTheSystemHive)
{
    for (wchar_t text = L'a';
         const wchar_t* const name :
         {L"Address", L"Comment", L"DeviceID", L"DeviceName", L"ExtDeviceID", L"HostName", L"Location", L"MACAddress",
          L"MDL", L"MFG", L"PortName", L"ProductName", L"Serial", L"SystemDeviceName"})
        Store(HKEY_LOCAL_MACHINE, key, name, std::wstring(1, text++));
    Store(HKEY_LOCAL_MACHINE, key, {{L"ConnectionType", 1UL}, {L"PID", 26UL}, {L"VID", 0UL}});
    const AgentOptions options = Options(L"/M One /D M /V W /PID 1 /VID 2");
    m_console.Clear();
    XmlOptionAddDeviceListSingleSelect(options, m_document, m_option);
    EXPECT_EQ(
        Serialised(L"<option><devicelist version=\"1.0.1\"><device><ipaddress>a</ipaddress><devicepath>a</devicepath>"
                   L"<comment>b</comment><iotype>Network</iotype><deviceid>c</deviceid><ext>e</ext><hostname>f"
                   L"</hostname><location>g</location><userlocation>g</userlocation><macaddress>h</macaddress>"
                   L"<modelname>i</modelname><devicename>d</devicename><vendor>j</vendor><pid>0x1a</pid><port>k</port>"
                   L"<productname>l</productname><serialnumber>m</serialnumber><systemdevicename>n</systemdevicename>"
                   L"<vid>0x0</vid></device></devicelist></option>"),
        XmlSerialise(m_document).View());
    EXPECT_EQ(
        "XmlOptionAddDeviceListSingleSelect\nfail to open user storage for read in HKCU, trying system storage in "
        "HKLM\naddressString: a\ncommentString: b\nconnectionTypeDWORD: 1\ndeviceIdString: c\ndeviceNameString: d\n"
        "deviceSelectDWORD: 0\nextDeviceIdString: e\nhostNameString: f\nlocationString: g\nmacAddressString: h\n"
        "mdlString: i\nmfgString: j\npidDWORD: 26 (0x1a)\npidString: 0x1a\nportNameString: k\nproductNameString: l\n"
        "serialNumberString: m\nsystemDeviceNameString: n\nuiMode: 0\nvidDWORD: 0 (0x0)\nvidString: 0x0\n",
        Joined(m_console.Lines()));
}

struct CurrentCase
{
    const char* name;
    NamedValues stored;
    std::wstring presets; ///< of the first device of device.xml
    std::wstring texts;   ///< of all elements of the device, in their order; empty: no device list
    const char* lastLine = "uiMode: 0";
    std::size_t fileSize = 0; ///< of device.xml, when it is filled up with blanks
};
const std::size_t largestFile = 1024 * 1024;
const std::wstring full(255, L'f'), longFull(1023, L'f'), tooLong(256, L'x');
const NamedValues port = {{L"PortName", L"P"}}, address = {{L"Address", L"A"}};
const NamedValues longTexts = {{L"PortName", L"P"}, {L"Comment", longFull}, {L"MDL", tooLong}};
const CurrentCase currentCases[] = {
    {"OtherType", {{L"ConnectionType", 2UL}, {L"PortName", L"P"}}, L"", L"NetworkMW2bPOne1a"},
    {"NoAddress", {{L"ConnectionType", 1UL}}, L"", L"", "Skip adding current printer[Network]"},
    {"NoPort", address, L"", L"", "Skip adding current printer[USB]"},
    {"NoStorage", {}, L"", L"", "fail to open TWAIN storage in Registry, skip expanding"},
    {"Presets", address,
     L"<ConnectionType>nETWORK</ConnectionType><Address>a</Address><MDL>m</MDL><PID>7</PID><Serial>s</Serial>",
     L"AANetworkmW2bOnes1a", "uiMode: 0", largestFile},
    {"TooLargeFile", port, L"<MDL>t</MDL>", L"PLocalMW2bPOne1a", "uiMode: 0", largestFile + 1},
    {"BrokenFile", port, L"<Comment>c", L"PLocalMW2bPOne1a"},
    {"TooLong", longTexts, L"<ConnectionType>Local</ConnectionType><MDL>" + full + L"x</MDL>",
     L"P" + longFull + L"Local" + full + full + L"W2bPOne1a"},
};
using CurrentDeviceTest = AgentTestWith<CurrentCase, XmlTest>;
TEST_P(CurrentDeviceTest, IsOfStorageFileAndOptions)
{
    const auto& [name, stored, presets, texts, lastLine, fileSize] = GetParam();
    Store(HKEY_CURRENT_USER, key, stored);
    const std::wstring path = DeviceXmlLocation().Text();
    std::string file = ToUtf8(L"<devicelist><device>" + presets + L"</device><device/></devicelist>");
    file.resize(std::max(file.size(), fileSize), ' ');
    WriteFileBytes(path, file);
    XmlOptionAddDeviceListSingleSelect(
        Options(L"/V W /VID 1a /PID 2b", "ProductName=One\nModelName=M"), m_document, m_option);
    ::DeleteFileW(path.c_str());
    EXPECT_EQ(texts, XmlText(m_option.Get()).View());
    EXPECT_EQ(texts.empty(), XmlSelectFirst(m_option.Get(), L"devicelist") == nullptr);
    EXPECT_EQ(lastLine, m_console.Lines().back());
    const char* const ignored = "device.xml is too large or no plain file, ignored";
    EXPECT_EQ(fileSize > largestFile, std::ranges::count(m_console.Lines(), ignored));
}
INSTANTIATE_TEST_SUITE_P(, CurrentDeviceTest, testing::ValuesIn(currentCases), caseName);
