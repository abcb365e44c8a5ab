#include "DeviceMatch.h"

#include "AgentTest.h"

using namespace scankelv;
using namespace test;

struct MatchCase
{
    const char *name, *settings, *ioType, *deviceId, *ids;
    bool matches;
    std::string report = "";
};
const char* const generic = ""; // no settings
const char* const other = "ProductName=x\r\nModelName=x\r\nMode=1\r\nVendorName=Other\r\n";
const char* const models =
    "ProductName=x\r\nModelName=Quellon TARN 110, TARN 120\r\nProductId=1a2b\r\nVendorId=c0d\r\n";
const MatchCase matchCases[] = {
    {"OtherVendor", generic, "Network", "MFG:Other;MODE:SCN;", "", false},
    {"ConfiguredVendor", other, "Network", "MFG:Other;MODE:SCN;", "", true},
    {"LastLegacyNetwork", generic, "Network", "MFG:Quellon;MDL:CASCADA N500 SERIES;", "", true},
    {"LegacyNetworkIsNotLocal", generic, "network", "MFG:Quellon;MDL:CASCADA N500 SERIES;", "", false},
    {"LastLegacyLocal", generic, "Local", "MFG:Quellon;MDL:FORDEL F3 SERIES;", "", true},
    {"LegacyLocalIsNotNetwork", generic, "Network", "MFG:Quellon;MDL:FORDEL F3 SERIES;", "", false},
    {"LegacyInALongerName", generic, "Local", "manufacturer:quellon inc.;model:my weir c40 series 2;", "", true},
    {"ModelInList", models, "Network", "MDL:TARN 120;MODE:SCN;", "", true},
    {"ModelThatCannotScan", models, "Network", "MDL:TARN 120;MODE:PRN;", "", false},
    {"NoModelDespiteIds", models, "Local", "MODE:SCN;", "<pid>1a2b</pid><vid>c0d</vid>", false},
    {"IdsOfNetworkDoNotCount", models, "Network", "MDL:X;MODE:SCN;", "<pid>1a2b</pid><vid>c0d</vid>", false},
    {"LowSixteenBitsOfIds", models, "Local", "MDL:X;MODE:SCN;", "<pid>0x11A2B</pid><vid>0C0D</vid>", true},
    {"OtherProductId", models, "Local", "MDL:X;MODE:SCN;", "<pid>1a2c</pid><vid>c0d</vid>", false},
    {"OtherVendorId", models, "Local", "MDL:X;MODE:SCN;", "<pid>1a2b</pid><vid>1c0d</vid>", false},
    {"NoIdConfigured", "ProductName=x\r\nModelName=A\r\n", "Local", "MDL:X;MODE:SCN;", "<pid>0</pid><vid>0</vid>",
     false},
    {"NoIds", models, "Local", "MDL:X;MODE:SCN;", "", false, "Expression  pidElement  failed!"},
    {"IllFormed", generic, "Network", "MFG:Quellon;MODE:SCN;", "<pid>", false, "Expression  loadXmlResult  failed!"},
};
using DeviceMatchTest = TableOf<MatchCase, AgentTest>;
TEST_P(DeviceMatchTest, Decides)
{
    const auto& [name, settings, ioType, deviceId, ids, matches, report] = GetParam();
    const AgentOptions options = Options(L"", settings);
    const DebugConsoleCapture console;
    const std::string device = std::string("<a><iotype>") + ioType + "</iotype><deviceid>" + deviceId + "</deviceid>";
    EXPECT_EQ(matches, XmlDeviceMatch(options, ToWide(device + ids + "</a>").c_str()));
    EXPECT_THAT(console.Text(), testing::HasSubstr(report));
    EXPECT_EQ(report.empty(), console.Text().empty());
}
INSTANTIATE_TEST_SUITE_P(, DeviceMatchTest, testing::ValuesIn(matchCases), caseName);
