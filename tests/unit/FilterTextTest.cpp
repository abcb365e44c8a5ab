#include "FilterText.h"

#include "XmlTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

struct FilterCase
{
    const char* name;
    int mode;
    const wchar_t* commands;
    const char* settings;
    std::wstring digit, product, vendor, properties; ///< as in the filter
    const char* line;                                ///< logged first
    std::wstring listed = L"";                       ///< "deviceid" of the device list; empty: no list
    const wchar_t* handedBack = L"untouched";
};
#define ONE "ProductName=One\nModelName=M\n"
const char* const on = "Current device feature ON - expanding the filter";
const char* const off = "Current device feature OFF - not expanding the filter";
const char* const several = "MultiSelect - expanding the filter";
const char* const list = "DeviceList - expanding the filter";
const std::wstring q = L"Quellon", generic = q + L" Generic Scan Driver";
const FilterCase filterCases[] = {
    {"Defaults", 0, L"", "", L"0", generic, q, L"0", on},
    {"EmptyNames", 1, L"/M \"\" /V \"\"", "", L"1", L"", L"", L"0", on},
    {"MarkupInNames", 2, L"/M <\x00F6> /V A&B", "", L"2", L"&lt;\x00F6&gt;", L"A&amp;B", L"0", on},
    {"CurrentDevice", 3, L"/prop", ONE, L"3", L"One", q, L"0", on, L"current"},
    {"NoCurrentDevice", 4, L"/prop", ONE "CurrentDeviceFeature=0", L"4", L"One", q, L"0", off},
    {"Properties", 5, L"", ONE "CurrentDeviceFeature=0\nPropertiesUI=2", L"5", L"One", q, L"1", off},
    {"Wanted", 5, L"/prop", ONE "CurrentDeviceFeature=0\nPropertiesUI=1", L"5", L"One", q, L"1", on, L"current"},
    {"NoSuchMode", 6, L"/more Rec", ONE, L"5", L"One", q, L"0", several, L"record", L"record"},
    {"ListFirst", 5, L"/more Rec /devicelist List", ONE, L"5", L"One", q, L"0", list, L"of list", L"of list"},
};
using FilterTextTest = AgentTestWith<FilterCase, XmlTest>;
TEST_P(FilterTextTest, FollowsOptionsAndStorages)
{
    const FilterCase& row = GetParam();
    Store(HKEY_CURRENT_USER, L"Software\\QLScan\\One", {{L"DeviceID", L"current"}, {L"PortName", L"P"}});
    Store(HKEY_LOCAL_MACHINE, L"Rec\\Printer000", L"DeviceID", L"record");
    Store(HKEY_LOCAL_MACHINE, L"List\\Printer000", L"DeviceID", L"of list");
    const AgentOptions options = Options(row.commands, row.settings);
    m_console.Clear();
    _bstr_t text;
    parsedMultiDeviceInfo device;
    device.deviceid = L"untouched";
    bool parsed = true;
    EXPECT_TRUE(XmlGenerateFilterText(options, static_cast<tagDialogMode>(row.mode), text, device, parsed));
    EXPECT_EQ(row.line, m_console.Lines().at(0));
    EXPECT_EQ(row.handedBack, device.deviceid.View());
    EXPECT_TRUE(parsed);
    const std::wstring plain = Serialised(
        L"<?xml version=\"1.0\" encoding=\"UTF-16\"?><option><xmldevicepath>ScanKELV-" + row.product +
        L"</xmldevicepath><iprangepath>ScanKELV-" + row.product + L"</iprangepath><dialogmode>" + row.digit +
        L"</dialogmode><snmp_community_key>LANTERN</snmp_community_key><vendor>" + row.vendor + L"</vendor><appname>" +
        row.product +
        L"</appname><iotype>All</iotype><iodetail>scan</iodetail><updateonselect>0</updateonselect>"
        L"<searchusbscanner>1</searchusbscanner><dialogcaption>Available Scan</dialogcaption>"
        L"<codejock>KELV.cjstyles</codejock><properties>" +
        row.properties + L"</properties></option>");
    const std::size_t length = row.listed.empty() ? plain.npos : plain.find(L"</properties>");
    EXPECT_EQ(plain.substr(0, length), text.View().substr(0, length)); // the list is the last child
    EXPECT_TRUE(XmlLoadText(m_document, text));
    EXPECT_EQ(row.listed, XmlChildText(m_document, L"option/devicelist/device/deviceid").View());
}
INSTANTIATE_TEST_SUITE_P(, FilterTextTest, testing::ValuesIn(filterCases), caseName);

TEST_F(XmlTest, WithoutADocumentTheFilterStaysAsItWas)
{
    std::thread([] {
        _bstr_t text = L"before";
        parsedMultiDeviceInfo device;
        bool parsed = true;
        EXPECT_FALSE(XmlGenerateFilterText(Options(L"/more Rec"), DialogMode5, text, device, parsed));
        EXPECT_TRUE(text.View() == L"before" && parsed);
    }).join();
    EXPECT_EQ(std::vector<std::string>{"createInstanceResult"}, m_console.Reports());
}
