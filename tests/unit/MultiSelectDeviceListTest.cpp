// MultiSelectDeviceList.cpp and PrinterPortData.cpp: what is made of the records of several devices.
#include "MultiSelectDeviceList.h"

#include "PrinterPortData.h"
#include "XmlTest.h"

using namespace scankelv;
using namespace test;

using RecordsTest = XmlTest;

void StoreRecord(int number, const std::string& values)
{
    Store(HKEY_LOCAL_MACHINE, Format<wchar_t>("Rec\\Printer%03d", number), values);
}

TEST_F(RecordsTest, AreListedUpToAGapAndTheFirstDefaultIsHandedBack)
{
    // The texts of the list's elements, " / ", and the device identifier that is handed back.
    const auto listed = [this](const XmlElement& option, const AgentOptions& options) {
        parsedMultiDeviceInfo device;
        device.deviceid = L"untouched";
        bool parsed = true;
        XmlOptionAddDeviceListMultiSelect(options, m_document, option, L"Rec", device, parsed);
        EXPECT_EQ(XmlSelectFirst(option.Get(), L"devicelist") != nullptr, parsed);
        return std::wstring(XmlText(option.Get()).View()) + L" / " + device.deviceid.Get();
    };
    const std::string full(255, 'h');
    EXPECT_EQ(L" / untouched", listed(m_option, Options(L"")));
    StoreRecord(0, "PortName=P\nAddress=A\nIPv6=#1\nDeviceID=a\nDefault=#2\n");
    StoreRecord(2, "ConnectionType=#2\nPortName=" + full + "x\nAddress=" + full + "\nDefault=#1\n");
    EXPECT_EQ(L"APALocalaP / a", listed(XmlCreateElement(m_document, L"option"), Options(L"")));
    StoreRecord(1, "ConnectionType=#1\nPortName=P\nAddress=A\nIPv6=#2\nDeviceID=b\nMFG=m\nDefault=#1\n");
    const AgentOptions propertiesUI = Options(L"", "ProductName=One\nModelName=M\nPropertiesUI=1");
    EXPECT_EQ(L"APALocalaP AANetworkbmm " + ToWide(full + full) + L"Local / b", listed(m_option, propertiesUI));
    EXPECT_TRUE(XmlSelectFirst(m_option.Get(), L"//userlocation") && !XmlSelectFirst(m_option.Get(), L"//location"));
}

TEST_F(RecordsTest, GiveThePortData)
{
    _bstr_t ports = L"before";
    EXPECT_FALSE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(L"before", ports.View());
    StoreRecord(0, "Address=" + std::string(255, 'a'));
    StoreRecord(1, "Address=" + std::string(256, 'a')); // too long
    EXPECT_TRUE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(L"<ports><port>" + std::wstring(255, L'a') + L"</port><port></port></ports>", WithoutLines(ports.View()));
}
