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
    static void StoreRecord(int number, const std::string& values)
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
    StoreRecord(
        0, "Address=a\nDeviceID=b\nDeviceName=c\nExtDeviceID=d\nHostName=e\nLocation=f\nMACAddress=g\nMDL=h\nMFG=i\n"
           "PortName=j\nSystemDeviceName=k\nConnectionType=#1\nIPv6=#1\nPID=#1\nDefault=#1\n");
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
    const std::string full(255, 'h');
    EXPECT_EQ(L" / untouched", Listed());
    StoreRecord(0, "PortName=P\nAddress=A\nIPv6=#1\nDeviceID=a\nDefault=#2\n");
    StoreRecord(2, "ConnectionType=#2\nPortName=" + full + "x\nAddress=" + full + "\nDefault=#1\n");
    EXPECT_EQ(L"APALocalaP / a", Listed());
    StoreRecord(1, "ConnectionType=#1\nPortName=P\nAddress=A\nIPv6=#2\nDeviceID=b\nMFG=m\nDefault=#1\n");
    const AgentOptions propertiesUI = Options(L"", "ProductName=One\nModelName=M\nPropertiesUI=1");
    EXPECT_EQ(L"APALocalaP AANetworkbmm " + ToWide(full + full) + L"Local / b", Listed(propertiesUI));
    EXPECT_TRUE(XmlSelectFirst(m_option.Get(), L"//userlocation") && !XmlSelectFirst(m_option.Get(), L"//location"));
}

TEST_F(RecordsTest, GiveThePortData)
{
    _bstr_t ports = L"before";
    EXPECT_FALSE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(L"before", ports.View());
    EXPECT_THAT(m_console.Lines(), EndsWith("\nno multi-select records found, ports list generation canceled!\n"));
    StoreRecord(0, "Address=" + std::string(255, 'a'));
    StoreRecord(1, "Address=" + std::string(256, 'a')); // too long
    EXPECT_TRUE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(L"<ports><port>" + std::wstring(255, L'a') + L"</port><port></port></ports>", WithoutLines(ports.View()));
    EXPECT_THAT(
        m_console.Lines(), AllOf(HasSubstr("\ntry to open Rec\\Printer001\n"), HasSubstr("\naddressString: \n")));
}
