#include "MultiSelectDeviceList.h"

#include "XmlTest.h"

using namespace scankelv;
using namespace test;

std::wstring Record(std::size_t number)
{
    return L"Rec\\Printer" + std::to_wstring(1000 + number).substr(number < 1000 ? 1 : 0);
}

TEST_F(XmlTest, AWholeRecord)
{
    parsedMultiDeviceInfo device;
    bool parsed = false;
    for (wchar_t text = L'a'; const wchar_t* const name :
                              {L"Address", L"DeviceID", L"DeviceName", L"ExtDeviceID", L"HostName", L"Location",
                               L"MACAddress", L"MDL", L"MFG", L"PortName", L"SystemDeviceName"})
        Store(HKEY_LOCAL_MACHINE, Record(0), name, std::wstring(1, text++));
    for (const wchar_t* const name : {L"ConnectionType", L"IPv6", L"PID", L"Default"})
        Store(HKEY_LOCAL_MACHINE, Record(0), name, 1UL);
    const AgentOptions options = Options(L"/D M /VID 2");
    m_console.Clear();
    XmlOptionAddDeviceListMultiSelect(options, m_document, m_option, L"Rec", device, parsed);
    EXPECT_EQ(
        Serialised(L"<option><devicelist version=\"1.0.1\"><device><ipv6address>a</ipv6address><ipaddress>a</ipaddress>"
                   L"<devicepath>e</devicepath><iotype>Network</iotype><deviceid>b</deviceid><devicename>c</"
                   L"devicename><ext>d</ext>"
                   L"<hostname>e</hostname><location>f</location><macaddress>g</macaddress><modelname>h</modelname>"
                   L"<drivername>h</drivername><printername>h</printername><vendor>i</vendor><pid>0x1</pid><port/>"
                   L"<productname>i "
                   L"h</productname><systemdevicename>k</systemdevicename><vid></vid></device></devicelist></option>"),
        XmlSerialise(m_document).View());
    EXPECT_EQ(
        "\ntry to open \"Rec\\Printer000\"\ntrying system storage in HKLM\n"
        "success to open MultiSelect storage for read in HKLM\naddressString: a\nconnectionTypeDWORD: 1 (0x1)\n"
        "deviceIdString: b\ndeviceNameString: c\nextDeviceIdString: d\nhostNameString: e\nipv6DWORD: 1 (0x1)\n"
        "locationString: f\nmacAddressString: g\nmdlString: h\nmfgString: i\npidDWORD: 1 (0x1)\npidString: 0x1\n"
        "portNameString: j\nsystemDeviceNameString: k\ndefaultDeviceDWORD: 1 (0x1)\n\ntry to open \"Rec\\Printer001\"\n"
        "trying system storage in HKLM\nfail to open MultiSelect storage for read in HKLM!\n"
        "MultiSelectStorageOpenRead failed!\n",
        Joined(m_console.Lines()));
    EXPECT_TRUE(parsed && device.isDefault && device.isIpv6 && device.drivername.View() == L"h");
}

struct RecordsCase
{
    const char* name;
    std::vector<DWORD> defaults; ///< "Default" of each record; 9: there is no such record
    std::size_t listed;
    const wchar_t* handedBack;
};
const RecordsCase recordsCases[] = {
    {"None", {}, 0, L"untouched"},
    {"NoDefault", {0, 2}, 2, L"0"},
    {"FirstDefault", {0, 1, 1}, 3, L"1"},
    {"AGapEndsThem", {0, 9, 1}, 1, L"0"},
    {"AThousandAreTheMost", std::vector<DWORD>(1001), 1000, L"0"},
};
using RecordsTest = AgentTestWith<RecordsCase, XmlTest>;
TEST_P(RecordsTest, AreListedAndOneIsHandedBack)
{
    std::wstring texts; // of all elements: iotype, deviceid, and the blank of productname
    for (std::size_t number = 0; number < GetParam().defaults.size(); ++number)
        if (const DWORD isDefault = GetParam().defaults[number]; isDefault != 9)
            Store(
                HKEY_LOCAL_MACHINE, Record(number), {{L"DeviceID", std::to_wstring(number)}, {L"Default", isDefault}});
    for (std::size_t number = 0; number < GetParam().listed; ++number)
        texts += (number == 0 ? L"Local" : L" Local") + std::to_wstring(number);
    parsedMultiDeviceInfo device;
    device.deviceid = L"untouched";
    bool parsed = GetParam().listed == 0;
    XmlOptionAddDeviceListMultiSelect(Options(L""), m_document, m_option, L"Rec", device, parsed);
    EXPECT_EQ(texts, XmlText(m_option.Get()).View());
    EXPECT_EQ(GetParam().handedBack, device.deviceid.View());
    EXPECT_TRUE(parsed == (GetParam().listed != 0) && parsed == (XmlSelectFirst(m_option.Get(), L"*") != nullptr));
}
INSTANTIATE_TEST_SUITE_P(, RecordsTest, testing::ValuesIn(recordsCases), caseName);

TEST_F(XmlTest, RecordsOfEachTypeAndLength)
{
    const std::wstring full(255, L'h');
    Store(HKEY_LOCAL_MACHINE, Record(0), {{L"PortName", L"P"}, {L"Address", L"A"}, {L"IPv6", 1UL}});
    Store(
        HKEY_LOCAL_MACHINE, Record(1),
        {{L"ConnectionType", 1UL}, {L"PortName", L"P"}, {L"Address", L"A"}, {L"IPv6", 2UL}});
    Store(
        HKEY_LOCAL_MACHINE, Record(2),
        {{L"ConnectionType", 2UL}, {L"PortName", full + L"x"}, {L"Address", full}, {L"MFG", L"m"}});
    parsedMultiDeviceInfo device;
    bool parsed = false;
    const AgentOptions options = Options(L"", "ProductName=One\nModelName=M\nPropertiesUI=1");
    XmlOptionAddDeviceListMultiSelect(options, m_document, m_option, L"Rec", device, parsed);
    EXPECT_EQ(L"APALocalP AANetwork " + full + full + L"Localmm", XmlText(m_option.Get()).View());
    EXPECT_TRUE(XmlSelectFirst(m_option.Get(), L"//userlocation") && !XmlSelectFirst(m_option.Get(), L"//location"));
}

TEST_F(XmlTest, ARecordPathThatWouldBeCutIsNotOpened)
{
    std::wstring path = L"Rec";
    while (path.size() < 4085)
        path += L"\\" + std::wstring(std::min<std::size_t>(200, 4084 - path.size()), L'p');
    Store(HKEY_LOCAL_MACHINE, path + L"\\Printer00", L"DeviceID", L"a"); // 4095 characters, as of Printer000 to 009
    parsedMultiDeviceInfo device;
    bool parsed = true;
    XmlOptionAddDeviceListMultiSelect(Options(L""), m_document, m_option, path.c_str(), device, parsed);
    EXPECT_FALSE(parsed);
}
