#include "PrinterPortData.h"
#include "FilterTest.h"

#include <thread>

namespace scankelv
{
namespace
{

using PrinterPortDataTest = test::FilterTest;

const char* const noRecord = "|trying system storage in HKLM|fail to open MultiSelect storage for read in HKLM!|"
                             "MultiSelectStorageOpenRead failed|";

TEST_F(PrinterPortDataTest, OnePortForEachRecord)
{
    test::Store(HKEY_LOCAL_MACHINE, "Rec\\Printer000", {{"Address", "10.0.0.7"}, {"PortName", "not read"}});
    test::Store(HKEY_LOCAL_MACHINE, "Rec\\Printer001", {{"Address", DWORD(1)}});
    test::Store(HKEY_LOCAL_MACHINE, "Rec\\Printer002", {{"Address", "a<b"}});
    test::Store(HKEY_LOCAL_MACHINE, "Rec\\Printer003", {{"Address", std::string(256, 'z')}});
    test::Store(HKEY_LOCAL_MACHINE, "Rec\\Printer005", {{"Address", "behind the gap"}});
    _bstr_t portData;
    const test::DebugConsoleCapture console;
    EXPECT_TRUE(XmlGeneratePrinterPortData(portData, OLESTR("Rec")));
    EXPECT_EQ(
        "<ports><port>10.0.0.7</port><port></port><port>a&lt;b</port><port></port></ports>", test::Plain(portData));
    const std::string success = "|trying system storage in HKLM|success to open MultiSelect storage for read in HKLM|";
    EXPECT_EQ(
        "|try to open Rec\\Printer000" + success + "addressString: 10.0.0.7||try to open Rec\\Printer001" + success +
            "addressString: ||try to open Rec\\Printer002" + success +
            "addressString: a<b||try to open Rec\\Printer003" + success +
            "addressString: ||try to open Rec\\Printer004" + noRecord,
        test::AgentLines(console));
}

TEST_F(PrinterPortDataTest, WithoutRecordsOrDocumentTheTextStays)
{
    _bstr_t portData(OLESTR("before"));
    {
        const test::DebugConsoleCapture console;
        EXPECT_FALSE(XmlGeneratePrinterPortData(portData, OLESTR("Rec")));
        EXPECT_EQ(
            std::string("|try to open Rec\\Printer000") + noRecord +
                "no multi-select records found, ports list generation canceled!|",
            test::AgentLines(console));
    }
    test::Store(HKEY_LOCAL_MACHINE, "Rec\\Printer000", {{"Address", "a"}});
    const test::DebugConsoleCapture console;
    std::thread([&] { EXPECT_FALSE(XmlGeneratePrinterPortData(portData, OLESTR("Rec"))); }).join();
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("XmlGeneratePrinterPortData(")) << console.Text();
    EXPECT_EQ(OLESTR("before"), portData.View());
}

} // namespace
} // namespace scankelv
