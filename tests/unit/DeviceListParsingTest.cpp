#include "DeviceListParsing.h"
#include "AgentTest.h"

#include <algorithm>
#include <map>

using namespace scankelv;
using namespace test;

namespace
{

using Device = XmlParsedDeviceList;
using Elements = std::map<std::string, std::string>; // an element of text "-" is left out

class DeviceListParsing : public AgentTest
{
protected:
    static WideText ListText(const Elements& changes)
    {
        std::string list =
            "<devicelist version='1'><device><iotype>Network</iotype><comment>2nd floor</comment>"
            "<devicepath>10.0.0.7</devicepath><scannerport>USBSCAN1</scannerport><deviceid>MFG:Q;MDL:T;</deviceid>"
            "<devicename>Hall</devicename><ext>ext 1</ext><hostname>hall.example</hostname>"
            "<location>K\xC3\xB6ln &amp; Z</location><macaddress>02-07</macaddress><modelname>TARN 110</modelname>"
            "<vendor>Quellon</vendor><pid>1a2b</pid><port>QP_1</port><productname>TARN Scan</productname>"
            "<serialnumber>SN1</serialnumber><systemdevicename>qlscan0</systemdevicename>"
            "<userlocation>Desk</userlocation><vid>0x0c0d</vid></device></devicelist>";
        for (const auto& [name, text] : changes)
        {
            const std::size_t start = list.find("<" + name + ">");
            const std::string end = "</" + name + ">";
            list.replace(
                start, list.find(end) + end.size() - start,
                text == "-" ? "" : "<" + name + " xml:space='preserve'>" + text + end);
        }
        return ToWide(list);
    }
};

TEST_F(DeviceListParsing, Members)
{
    const Elements emptyPort = {{"iotype", "Local"}, {"scannerport", ""}};
    const struct
    {
        Elements changes;
        _bstr_t Device::*text;
        std::string expected;
        std::string flags = "1111"; ///< network, comment, scanner port, user location
    } rows[] = {
        {{}, &Device::locationString, "K\xC3\xB6ln & Z"},
        {{}, &Device::hostNameString, "hall.example"},
        {{{"iotype", "network"}}, &Device::addressString, "USBSCAN1", "0111"},
        {{{"iotype", "Network "}}, &Device::macAddressString, "", "0111"},
        {{{"iotype", "Local"}}, &Device::address2String, "10.0.0.7", "0111"},
        {emptyPort, &Device::addressString, "10.0.0.7", "0101"},
        {emptyPort, &Device::scannerPortString, "", "0101"},
        {{{"iotype", "Local"}, {"scannerport", "-"}}, &Device::addressString, "10.0.0.7", "0101"},
        {{{"serialnumber", std::string(70, 'x')}}, &Device::serialNumberString, std::string(62, 'x')},
        {{{"serialnumber", std::string(60, 'x') + "  y"}}, &Device::serialNumberString, std::string(60, 'x')},
        {{{"serialnumber", " a b&#9;  "}}, &Device::serialNumberString, " a b\t"},
        {{{"serialnumber", "   "}}, &Device::serialNumberString, ""},
        {{{"deviceid", "<![CDATA[a<b]]><i>c</i>"}}, &Device::deviceIdString, "a<bc"},
        {{{"comment", "<vid>first</vid>"}}, &Device::vidString, "first"}, // of each name the first, wherever it stands
        // In a record used before, what is absent goes, but for the user location, which stays.
        {{{"comment", "-"}}, &Device::commentString, "", "1011"},
        {{{"hostname", "-"}}, &Device::hostNameString, ""},
        {{{"serialnumber", "-"}}, &Device::serialNumberString, ""},
        {{{"systemdevicename", "-"}}, &Device::systemDeviceNameString, ""},
        {{{"userlocation", "-"}}, &Device::userLocationString, "Desk", "1110"},
    };
    Device used;
    EXPECT_TRUE(ParseDeviceList(ListText({}).c_str(), used));
    for (const auto& [changes, text, expected, flags] : rows)
    {
        const WideText list = ListText(changes);
        SCOPED_TRACE(ToUtf8(list));
        Device device = used;
        EXPECT_TRUE(ParseDeviceList(list.c_str(), device));
        EXPECT_EQ(expected, ToUtf8((device.*text).View()));
        std::string found;
        for (const bool flag :
             {device.isNetwork, device.commentPresents, device.scannerPortPresents, device.userLocationPresents})
            found += flag ? "1" : "0";
        EXPECT_EQ(flags, found);
    }
}

TEST_F(DeviceListParsing, MissingElements)
{
    constexpr std::string_view expressions[] = {
        "ioTypeElement",   "devicePathElement",  "deviceIdElement",  "deviceNameElement", "extElement",
        "locationElement", "macAddressElement",  "modelNameElement", "vendorElement",     "pidElement",
        "portElement",     "productNameElement", "vidElement"};
    // From the last to the first: the report names the first of all that are missing.
    Elements missing;
    for (std::size_t i = std::size(expressions); i-- > 0;)
    {
        std::string element(expressions[i].substr(0, expressions[i].find("Element")));
        std::ranges::transform(element, element.begin(), [](char letter) { return static_cast<char>(letter | 0x20); });
        missing[element] = "-";
        Device device;
        DebugConsoleCapture console;
        EXPECT_FALSE(ParseDeviceList(ListText(missing).c_str(), device));
        EXPECT_EQ(std::string(expressions[i]) + " ", ReportedExpressions(console));
    }
}

TEST_F(DeviceListParsing, UnusableText)
{
    for (const WCHAR* const text : {static_cast<const WCHAR*>(nullptr), OLESTR("<iotype>Network")})
    {
        Device device;
        DebugConsoleCapture console;
        EXPECT_FALSE(ParseDeviceList(text, device));
        EXPECT_EQ("loadXmlResult ", ReportedExpressions(console));
        EXPECT_NE(std::string::npos, console.Text().find("failed!\r\nContext:  \r\n")) << console.Text();
        EXPECT_NE(std::string::npos, console.Text().find("ParseDeviceList")) << console.Text();
        EXPECT_TRUE(device.ioTypeString.IsNull());
    }
    ::CoUninitialize();
    Device device;
    DebugConsoleCapture console;
    EXPECT_FALSE(ParseDeviceList(ListText({}).c_str(), device));
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
}

} // namespace
