#include "DeviceMatch.h"
#include "OptionsTest.h"

using namespace scankelv;
using namespace test;

namespace
{

using DeviceMatch = OptionsTest;

TEST_F(DeviceMatch, EveryBranch)
{
    ExpectAnswers("unit/data/DeviceMatch.txt", [](const std::string& given) {
        const std::vector<std::string> parts = Parts(given); // settings, commands, what the device's element holds
        const AgentOptions options = Options(parts[1], parts[0]);
        const DebugConsoleCapture console;
        const bool matches = XmlDeviceMatch(options, ToWide("<device>" + parts[2] + "</device>").c_str());
        return (matches ? "matches" : "no " + ReportedExpressions(console)) + "\n";
    });
    const AgentOptions options = Options("");
    const DebugConsoleCapture console;
    EXPECT_FALSE(XmlDeviceMatch(options, nullptr));
    ::CoUninitialize();
    EXPECT_FALSE(XmlDeviceMatch(options, OLESTR("<device/>")));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ("loadXmlResult createInstanceResult ", ReportedExpressions(console));
}

} // namespace
