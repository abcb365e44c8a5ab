// MultiSelectDeviceList.cpp and PrinterPortData.cpp: what is made of the records of several devices.
#include "MultiSelectDeviceList.h"

#include "PrinterPortData.h"
#include "XmlTest.h"

using namespace scankelv;
using namespace test;
using testing::AllOf, testing::EndsWith, testing::HasSubstr;

class RecordsTest : public XmlTest
{
protected:
    static void StoreRecord(int number, const NamedValues& values)
    {
        Store(HKEY_LOCAL_MACHINE, Format<wchar_t>("Rec\\Printer%03d", number), values);
    }

    /// Replaces the list. @return the texts of its elements, " / ", and the device identifier that is handed back
    std::wstring Listed(const AgentOptions& options = Options(L""))
    {
        if (const XmlNode former = XmlSelectFirst(m_option.Get(), L"devicelist"))
            m_option.Get()->removeChild(former.Get(), nullptr);
        m_device.deviceid = L"untouched";
        m_console.Clear();
        bool parsed = true;
        XmlOptionAddDeviceListMultiSelect(options, m_document, m_option, L"Rec", m_device, parsed);
        EXPECT_EQ(XmlSelectFirst(m_option.Get(), L"devicelist") != nullptr, parsed);
        return std::wstring(XmlText(m_option.Get()).View()) + L" / " + m_device.deviceid.Get();
    }

    parsedMultiDeviceInfo m_device;
};

TEST_F(RecordsTest, AWholeOne)
{
    for (wchar_t text = L'a'; const wchar_t* const name :
                              {L"Address", L"DeviceID", L"DeviceName", L"ExtDeviceID", L"HostName", L"Location",
                               L"MACAddress", L"MDL", L"MFG", L"PortName", L"SystemDeviceName"})
        StoreRecord(0, {{name, std::wstring(1, text++)}});
    StoreRecord(0, {{L"ConnectionType", 1UL}, {L"IPv6", 1UL}, {L"PID", 1UL}, {L"Default", 1UL}});
    Listed(Options(L"/D M /VID 2"));
    EXPECT_EQ(
        L"<option><devicelist version=\"1.0.1\"><device><ipv6address>a</ipv6address><ipaddress>a</ipaddress>"
        L"<devicepath>e</devicepath><iotype>Network</iotype><deviceid>b</deviceid><devicename>c</devicename>"
        L"<ext>d</ext><hostname>e</hostname><location>f</location><macaddress>g</macaddress><modelname>h"
        L"</modelname><drivername>h</drivername><printername>h</printername><vendor>i</vendor><pid>0x1</pid>"
        L"<port/><productname>i h</productname><systemdevicename>k</systemdevicename><vid></vid></device>"
        L"</devicelist></option>",
        WithoutLines(XmlSerialise(m_document).View()));
    EXPECT_THAT(
        m_console.Lines(),
        AllOf(
            HasSubstr("trying system storage in HKLM\nsuccess to open MultiSelect storage for read in HKLM\naddressS"),
            HasSubstr("\nipv6DWORD: 1 (0x1)\n"), EndsWith("read in HKLM!\nMultiSelectStorageOpenRead failed!\n")));
}

TEST_F(RecordsTest, AreListedUpToAGapAndTheFirstDefaultIsHandedBack)
{
    const std::wstring full(255, L'h');
    EXPECT_EQ(L" / untouched", Listed());
    StoreRecord(0, {{L"PortName", L"P"}, {L"Address", L"A"}, {L"IPv6", 1UL}, {L"DeviceID", L"a"}, {L"Default", 2UL}});
    StoreRecord(2, {{L"ConnectionType", 2UL}, {L"PortName", full + L"x"}, {L"Address", full}, {L"Default", 1UL}});
    EXPECT_EQ(L"APALocalaP / a", Listed());
    StoreRecord(1, {{L"ConnectionType", 1UL}, {L"PortName", L"P"}, {L"Address", L"A"}, {L"IPv6", 2UL}});
    StoreRecord(1, {{L"DeviceID", L"b"}, {L"MFG", L"m"}, {L"Default", 1UL}});
    const AgentOptions propertiesUI = Options(L"", "ProductName=One\nModelName=M\nPropertiesUI=1");
    EXPECT_EQ(L"APALocalaP AANetworkbmm " + full + full + L"Local / b", Listed(propertiesUI));
    EXPECT_TRUE(XmlSelectFirst(m_option.Get(), L"//userlocation") && !XmlSelectFirst(m_option.Get(), L"//location"));
}

TEST_F(RecordsTest, GiveThePortData)
{
    _bstr_t ports = L"before";
    EXPECT_FALSE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(L"before", ports.View());
    EXPECT_THAT(m_console.Lines(), EndsWith("\nno multi-select records found, ports list generation canceled!\n"));
    StoreRecord(0, {{L"Address", std::wstring(255, L'a')}});
    StoreRecord(1, {{L"Address", std::wstring(256, L'a')}}); // too long
    EXPECT_TRUE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(L"<ports><port>" + std::wstring(255, L'a') + L"</port><port></port></ports>", WithoutLines(ports.View()));
    EXPECT_THAT(
        m_console.Lines(), AllOf(HasSubstr("\ntry to open Rec\\Printer001\n"), HasSubstr("\naddressString: \n")));
}
