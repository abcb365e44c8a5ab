// The device that a list describes: its identifier, whether it matches, and what is stored of it.
#include "DeviceIdentifier.h"
#include "DeviceListParsing.h"
#include "DeviceMatch.h"
#include "DeviceXml.h"
#include "OptionsTest.h"
#include "StoredDevice.h"

#include <cstdlib>
#include <filesystem>
#include <set>

using namespace scankelv;
using namespace test;

namespace
{

TEST(DeviceIdentifier, Readers)
{
    ExpectAnswers("unit/data/DeviceIdentifier.txt", [](const std::string& given) {
        const WideText text = ToWide(given);
        WideView model = OLESTR("untouched");
        const bool hasModel = DeviceIdModel(text, model);
        return std::string(DeviceIdHasScanMode(text) ? "scans, " : "") +
               (DeviceIdManufacturerIs(text, OLESTR("Quellon")) ? "by Quellon, " : "") +
               (DeviceIdManufacturerIs(text, OLESTR("Quellon, Inc.")) ? "by Quellon, Inc., " : "") +
               (DeviceIdManufacturerIs(text, OLESTR("")) ? "by somebody, " : "") + (hasModel ? "[" : "no model, ") +
               ToUtf8(model) + (hasModel ? "]\n" : "\n");
    });
}

using SelectedDevice = OptionsTest;

TEST_F(SelectedDevice, MatchesByEveryBranch)
{
    ExpectAnswers("unit/data/DeviceMatch.txt", [](const std::string& given) {
        const std::vector<std::string> parts = Parts(given); // settings, commands, what the device's element holds
        const AgentOptions options = Options(parts[1], parts[0]);
        const DebugConsoleCapture console;
        const bool matches = XmlDeviceMatch(options, ToWide("<device>" + parts[2] + "</device>").c_str());
        return (matches ? "matches" : "no " + ReportedExpressions(console)) + "\n";
    });
}

TEST_F(SelectedDevice, IsStoredByItsElementsAndTheirAbsence)
{
    const AgentOptions plain = Options("/M Driver /D x", "ProductName=x\r\nModelName=x"),
                       withProperties = Options("/M Driver", "ProductName=x\r\nModelName=x\r\nPropertiesUI=1");
    const Wide updater = LocationOfModuleFile(OLESTR("Hueward.exe")).Text();
    WriteFileBytes(updater, "no program");
    Store(HKEY_CURRENT_USER, "Software\\QLScan\\Driver", "");
    std::string first;        // the list that the other cases change
    XmlParsedDeviceList used; // a record used before
    std::set<std::string> usual;
    ExpectAnswers("unit/data/StoredDevice.txt", [&](const std::string& given) {
        const bool isFirst = first.empty();
        std::string list = isFirst ? first = given : first;
        const AgentOptions* options = &plain;
        for (const std::string& change : Parts(isFirst ? "" : given))
        {
            const std::string name = change.substr(0, change.find('=')), end = "</" + name + ">";
            const std::size_t start = list.find("<" + name + ">");
            if (name == "PropertiesUI")
                options = &withProperties;
            else if (name == "folder device.xml")
                ::DeleteFileW(DeviceXmlLocation().Text()), ::CreateDirectoryW(DeviceXmlLocation().Text(), nullptr);
            else
                list.replace(
                    start, list.find(end) + end.size() - start,
                    change == name ? "" : "<" + name + " xml:space='preserve'>" + change.substr(name.size() + 1) + end);
        }
        XmlParsedDeviceList device = used;
        const DebugConsoleCapture console;
        if (!ParseDeviceList(ToWide(list).c_str(), device))
            return ReportedExpressions(console) + "\n";
        EXPECT_TRUE(StoreDeviceListAndUpdateIcc(*options, device));
        used = isFirst ? device : used;
        // The log is in the 8-bit code page.
        std::istringstream log(ToUtf8(WideFromNarrow(AgentLines(console))) + "reports " + ReportedExpressions(console));
        std::string answer;
        for (std::string line; std::getline(log, line);)
            if (!line.starts_with("File ") && (isFirst ? usual.insert(line).second : !usual.contains(line)))
                answer += line + "\n";
        return answer;
    });
    const char* const machine = std::getenv("HOSTWINDOWS_ROOT"); // its modes can be looked at
    const std::string folder = "/drive_c/ProgramData/Quellon/ScanKELV";
    EXPECT_TRUE(
        machine == nullptr || std::filesystem::status(machine + folder).permissions() == std::filesystem::perms::all);
    ::DeleteFileW(updater.c_str());
    ::RemoveDirectoryW(DeviceXmlLocation().Text());
}

TEST_F(SelectedDevice, IsNotReadWithoutDocuments)
{
    const AgentOptions options = Options("");
    XmlParsedDeviceList device;
    const DebugConsoleCapture console;
    EXPECT_FALSE(XmlDeviceMatch(options, nullptr));
    ::CoUninitialize();
    EXPECT_FALSE(XmlDeviceMatch(options, OLESTR("<device/>")) || ParseDeviceList(OLESTR("<device/>"), device));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ("loadXmlResult createInstanceResult createInstanceResult ", ReportedExpressions(console));
}

} // namespace
