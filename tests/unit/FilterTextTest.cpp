#include "FilterText.h"

#include "XmlTest.h"

using namespace scankelv;
using namespace test;

struct FilterCase
{
    const char* name;
    int mode;
    const wchar_t* commands;
    const char* settings;
    std::wstring digit, product, vendor, properties; ///< as in the filter
    std::string line;                                ///< logged first, its start
    std::wstring listed = L"";                       ///< "deviceid" of the device list; empty: no list
};
#define ONE "ProductName=One\nModelName=M\nCurrentDeviceFeature="
const char* const on = "Current device feature ON -";
const FilterCase filterCases[] = {
    {"Defaults", 0, L"", "", L"0", L"Quellon Generic Scan Driver", L"Quellon", L"0", on},
    {"AnyNames", 1, L"/M <\x00F6> /V \"\"", "", L"1", L"&lt;\x00F6&gt;", L"", L"0", on},
    {"Off", 3, L"", ONE "0\nPropertiesUI=2", L"3", L"One", L"Quellon", L"1", "Current device feature OFF - not"},
    {"Wanted", 4, L"/prop", ONE "0\nPropertiesUI=1", L"4", L"One", L"Quellon", L"1", on, L"current"},
    {"NoSuchMode", 6, L"/more Rec", ONE "1", L"5", L"One", L"Quellon", L"0", "MultiSelect -", L"record"},
    {"ListFirst", 5, L"/more None /devicelist Rec", ONE "1", L"5", L"One", L"Quellon", L"0", "DeviceList -", L"record"},
};
using FilterTextTest = TableOf<FilterCase, XmlTest>;
TEST_P(FilterTextTest, FollowsOptionsAndStorages)
{
    const auto& [name, mode, commands, settings, digit, product, vendor, properties, line, listed] = GetParam();
    Store(HKEY_CURRENT_USER, L"Software\\QLScan\\One", "DeviceID=current\nPortName=P");
    Store(HKEY_LOCAL_MACHINE, L"Rec\\Printer000", L"DeviceID", L"record");
    const AgentOptions options = Options(commands, settings);
    m_console.Clear();
    _bstr_t text;
    parsedMultiDeviceInfo device;
    bool parsed = true;
    EXPECT_TRUE(XmlGenerateFilterText(options, static_cast<tagDialogMode>(mode), text, device, parsed) && parsed);
    EXPECT_THAT(m_console.Text(), testing::StartsWith(line + " expanding the filter\r\n"));
    const std::wstring plain = Format<wchar_t>(
        "<?xml version=\"1.0\" encoding=\"UTF-16\"?><option><xmldevicepath>ScanKELV-%ws</xmldevicepath><iprangepath>"
        "ScanKELV-%ws</iprangepath><dialogmode>%ws</dialogmode><snmp_community_key>LANTERN</snmp_community_key>"
        "<vendor>%ws</vendor><appname>%ws</appname><iotype>All</iotype><iodetail>scan</iodetail><updateonselect>0"
        "</updateonselect><searchusbscanner>1</searchusbscanner><dialogcaption>Available Scan</dialogcaption>"
        "<codejock>KELV.cjstyles</codejock><properties>%ws</properties></option>",
        product, product, digit, vendor, product, properties);
    const std::size_t length = listed.empty() ? plain.npos : plain.find(L"</properties>");
    EXPECT_EQ(plain.substr(0, length), WithoutLines(text.View()).substr(0, length)); // the list is the last child
    EXPECT_TRUE(XmlLoadText(m_document, text));
    EXPECT_EQ(listed, XmlChildText(m_document, L"option/devicelist/device/deviceid").View());
}
INSTANTIATE_TEST_SUITE_P(, FilterTextTest, testing::ValuesIn(filterCases), caseName);
