#include "FilterText.h"
#include "FilterTest.h"

#include <thread>

namespace scankelv
{
namespace
{

using test::Plain;

class FilterTextTest : public test::FilterTest
{
protected:
    static constexpr const char* genericFilter =
        "<?xml version=\"1.0\" encoding=\"UTF-16\"?><option>"
        "<xmldevicepath>ScanKELV-Quellon Generic Scan Driver</xmldevicepath>"
        "<iprangepath>ScanKELV-Quellon Generic Scan Driver</iprangepath><dialogmode>5</dialogmode>"
        "<snmp_community_key>LANTERN</snmp_community_key><vendor>Quellon</vendor>"
        "<appname>Quellon Generic Scan Driver</appname><iotype>All</iotype><iodetail>scan</iodetail>"
        "<updateonselect>0</updateonselect><searchusbscanner>1</searchusbscanner>"
        "<dialogcaption>Available Scan</dialogcaption><codejock>KELV.cjstyles</codejock><properties>0</properties>"
        "</option>";

    /// The filter with its parts replaced, in turn.
    static std::string Filter(std::initializer_list<std::pair<std::string_view, std::string_view>> replacements)
    {
        std::string filter = genericFilter;
        for (const auto& [from, to] : replacements)
            for (std::size_t at = filter.find(from); at != std::string::npos; at = filter.find(from, at + to.size()))
                filter.replace(at, from.size(), to);
        return filter;
    }
};

TEST_F(FilterTextTest, ElementsFollowTheOptions)
{
    const char* const off = "ProductName=One\r\nModelName=M\r\nCurrentDeviceFeature=0\r\n";
    const std::string propertiesOn = std::string(off) + "PropertiesUI=2\r\n";
    const struct
    {
        const char* commands;
        std::string settings;
        int mode;
        std::string filter;
    } rows[] = {
        {"", "", 5, Filter({})},
        {"", "", 0, Filter({{"mode>5", "mode>0"}})},
        {"", "", 3, Filter({{"mode>5", "mode>3"}})},
        {"", "", 6, Filter({})},
        {"", "", -1, Filter({})},
        {"/M \"\" /V \"\"", "", 5, Filter({{"Quellon Generic Scan Driver", ""}, {">Quellon<", "><"}})},
        {"/V A&B /M <x>", "", 1,
         Filter({{"mode>5", "mode>1"}, {"Quellon Generic Scan Driver", "&lt;x&gt;"}, {">Quellon<", ">A&amp;B<"}})},
        {"/M K\xC3\xB6ln", off, 5, Filter({{"Quellon Generic Scan Driver", "K\xC3\xB6ln"}})},
        {"", propertiesOn, 5, Filter({{"Quellon Generic Scan Driver", "One"}, {"properties>0", "properties>1"}})},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.commands);
        _bstr_t filter;
        parsedMultiDeviceInfo device;
        bool parsed = true;
        EXPECT_TRUE(XmlGenerateFilterText(
            Options(row.commands, row.settings), static_cast<tagDialogMode>(row.mode), filter, device, parsed));
        EXPECT_EQ(row.filter, Plain(filter));
        EXPECT_TRUE(parsed && device.deviceid.IsNull()); // left alone without records
    }
}

TEST_F(FilterTextTest, ExpandsByTheFirstCaseThatApplies)
{
    test::Store(HKEY_LOCAL_MACHINE, "Software\\List\\Printer000", {{"DeviceID", "of the list"}});
    test::Store(HKEY_LOCAL_MACHINE, "Software\\More\\Printer000", {{"DeviceID", "of several"}});
    test::Store(
        HKEY_CURRENT_USER, "Software\\QLScan\\One",
        {{"DeviceID", "current"}, {"ConnectionType", DWORD(1)}, {"Address", "10.0.0.7"}});
    const std::string base = "ProductName=One\r\nModelName=M\r\n";
    const std::string on = base + "CurrentDeviceFeature=1\r\n";
    const std::string off = base + "CurrentDeviceFeature=0\r\n";
    const std::string offWithProperties = off + "PropertiesUI=1\r\n";
    const struct
    {
        const char* commands;
        std::string settings;
        const char* message;
        const char* deviceId;  ///< in the filter's device list; null: there is none
        bool deviceInfoParsed; ///< set to false before
    } rows[] = {
        {"/devicelist Software\\List /more Software\\More", on, "DeviceList - expanding the filter|", "of the list",
         true},
        {"/more Software\\More", off, "MultiSelect - expanding the filter|", "of several", true},
        {"/more Software\\None", on, "MultiSelect - expanding the filter|", nullptr, false},
        {"", on, "Current device feature ON - expanding the filter|", "current", false},
        {"/more \"\"", on, "Current device feature ON - expanding the filter|", "current", false},
        {"", base + "CurrentDeviceFeature=x\r\n", "Current device feature ON - expanding the filter|", "current",
         false},
        {"/prop", offWithProperties, "Current device feature ON - expanding the filter|", "current", false},
        {"", offWithProperties, "Current device feature OFF - not expanding the filter|", nullptr, false},
        {"/prop", off, "Current device feature OFF - not expanding the filter|", nullptr, false},
        {"/M Other", on, "Current device feature ON - expanding the filter|", nullptr, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.settings + row.commands);
        const AgentOptions options = Options(row.commands, row.settings);
        _bstr_t filter;
        parsedMultiDeviceInfo device;
        bool parsed = false;
        const test::DebugConsoleCapture console;
        EXPECT_TRUE(XmlGenerateFilterText(options, DialogMode5, filter, device, parsed));
        EXPECT_TRUE(test::AgentLines(console).starts_with(row.message)) << test::AgentLines(console);
        const std::string text = Plain(filter);
        const std::string list = "</properties><devicelist version=\"1.0.1\"><device>";
        EXPECT_EQ(row.deviceId != nullptr, text.find(list) != std::string::npos) << text;
        const std::string deviceId = row.deviceId != nullptr ? "<deviceid>" + std::string(row.deviceId) + "<" : "";
        EXPECT_NE(std::string::npos, text.find(deviceId)) << text;
        EXPECT_TRUE(text.ends_with("></option>"));
        EXPECT_EQ(row.deviceInfoParsed, parsed);
        EXPECT_EQ(row.deviceInfoParsed ? row.deviceId : std::string(), test::ToUtf8(device.deviceid.View()));
    }
}

TEST_F(FilterTextTest, WithoutComEverythingStaysAsItWas)
{
    const AgentOptions options = Options("");
    _bstr_t filter = OLESTR("before");
    parsedMultiDeviceInfo device;
    device.vid = OLESTR("before");
    bool parsed = true;
    const test::DebugConsoleCapture console;
    std::thread([&] { EXPECT_FALSE(XmlGenerateFilterText(options, DialogMode5, filter, device, parsed)); }).join();
    EXPECT_TRUE(filter.View() == OLESTR("before") && device.vid.View() == OLESTR("before") && parsed);
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    const std::string report = console.Text();
    EXPECT_NE(std::string::npos, report.find("XmlGenerateFilterText(")) << report;
    EXPECT_NE(std::string::npos, report.find("FilterText.cpp(")) << report;
}

} // namespace
} // namespace scankelv
