#include "PrinterPortData.h"

#include "XmlTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

TEST_F(XmlTest, PortDataAreTheAddressesOfTheRecords)
{
    _bstr_t ports = L"before";
    EXPECT_FALSE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_THAT(m_console.Lines().back(), testing::StartsWith("no multi-select records found, ports list generation"));
    m_console.Clear();
    std::thread([&] { EXPECT_FALSE(XmlGeneratePrinterPortData(ports, L"Rec")); }).join(); // without COM
    EXPECT_EQ(L"before", ports.View());
    EXPECT_EQ(std::vector<std::string>{"createInstanceResult"}, m_console.Reports());
    const std::wstring cut(257, L'a'); // 256 characters without a terminator
    StoreBytes(
        HKEY_LOCAL_MACHINE, L"Rec\\Printer000", L"Address", REG_SZ, {reinterpret_cast<const char*>(cut.data()), 512});
    Store(HKEY_LOCAL_MACHINE, L"Rec\\Printer001", L"Address", cut.substr(1));
    m_console.Clear();
    EXPECT_TRUE(XmlGeneratePrinterPortData(ports, L"Rec"));
    EXPECT_EQ(Serialised(L"<ports><port>" + cut.substr(2) + L"</port><port></port></ports>"), ports.View());
    EXPECT_THAT(m_console.Lines(), testing::IsSupersetOf({"try to open Rec\\Printer001", "addressString: "}));
    EXPECT_EQ("MultiSelectStorageOpenRead failed", m_console.Lines().back());
}
