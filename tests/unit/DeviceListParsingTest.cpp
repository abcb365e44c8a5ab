#include "DeviceListParsing.h"
#include "AgentTest.h"

#include <algorithm>
#include <map>

namespace scankelv
{
namespace
{

using Device = XmlParsedDeviceList;
using test::ToUtf8;
using test::ToWide;
using Elements = std::map<std::string, std::string>; // an element of text "-" is left out

class DeviceListParsing : public test::AgentTest
{
protected:
    static WideText ListText(const Elements& changes)
    {
        std::string list =
            "<devicelist version='1'><device><iotype>Network</iotype><comment>2nd floor</comment>"
            "<devicepath>10.0.0.7</devicepath><scannerport>USBSCAN1</scannerport><deviceid>MFG:Q;MDL:T;</deviceid>"
            "<devicename>Hall</devicename><ext>ext 1</ext><hostname>hall.example</hostname><location>K\xC3\xB6ln &amp; "
            "Z"
            "</location><macaddress>02-07</macaddress><modelname>TARN 110</modelname><vendor>Quellon</vendor>"
            "<pid>1a2b</pid><port>QP_1</port><productname>TARN Scan</productname><serialnumber>SN1</serialnumber>"
            "<systemdevicename>qlscan0</systemdevicename><userlocation>Desk</userlocation><vid>0x0c0d</vid></device></"
            "devicelist>";
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

    /// Every member in the order of declaration, a bar behind each.
    static std::string Print(const Device& device)
    {
        std::string all;
        const auto print = [&all](const auto&... members) {
            const auto text = [](const auto& member) -> std::string {
                if constexpr (std::is_same_v<decltype(member), const bool&>)
                    return member ? "1" : "0";
                else
                    return member.IsNull() ? "null" : ToUtf8(member.View());
            };
            ((all += text(members) + "|"), ...);
        };
        const auto& [a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x] = device;
        print(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x);
        return all;
    }
};

const Elements noOptional = {{"comment", "-"},      {"scannerport", "-"},      {"hostname", "-"},
                             {"serialnumber", "-"}, {"systemdevicename", "-"}, {"userlocation", "-"}};

TEST_F(DeviceListParsing, EveryMember)
{
    const std::string first =
        "10.0.0.7|1|2nd floor|Network|MFG:Q;MDL:T;|Hall|10.0.0.7|ext 1|hall.example|1|K\xC3\xB6ln & Z|"
        "02-07|TARN 110|1a2b|QP_1|TARN Scan|USBSCAN1|SN1|1|qlscan0|1|Desk|Quellon|0x0c0d|";
    const std::string bare = "10.0.0.7|0||Network|MFG:Q;MDL:T;|Hall|10.0.0.7|ext 1||1|K\xC3\xB6ln & Z|"
                             "02-07|TARN 110|1a2b|QP_1|TARN Scan|10.0.0.7||0||0|";
    Device device;
    EXPECT_TRUE(ParseDeviceList(ListText({}).c_str(), device));
    EXPECT_EQ(first, Print(device));
    // A record used before: what is absent goes, but for the user location, which stays.
    EXPECT_TRUE(ParseDeviceList(ListText(noOptional).c_str(), device));
    EXPECT_EQ(bare + "Desk|Quellon|0x0c0d|", Print(device));
    Device fresh;
    EXPECT_TRUE(ParseDeviceList(ListText(noOptional).c_str(), fresh));
    EXPECT_EQ(bare + "null|Quellon|0x0c0d|", Print(fresh));
}

TEST_F(DeviceListParsing, DerivedMembers)
{
    const Elements local = {{"iotype", "Local"}};
    const Elements emptyPort = {{"iotype", "Local"}, {"scannerport", ""}};
    const Elements noPort = {{"iotype", "Local"}, {"scannerport", "-"}};
    const struct
    {
        Elements changes;
        _bstr_t Device::*text;
        std::string expected;
        std::string flags = "111"; ///< network, scanner port, user location
    } rows[] = {
        {{{"iotype", "network"}}, &Device::addressString, "USBSCAN1", "011"},
        {{{"iotype", "Network "}}, &Device::macAddressString, "", "011"},
        {local, &Device::address2String, "10.0.0.7", "011"},
        {emptyPort, &Device::addressString, "10.0.0.7", "001"},
        {emptyPort, &Device::scannerPortString, "", "001"},
        {noPort, &Device::scannerPortString, "10.0.0.7", "001"},
        {{{"userlocation", ""}}, &Device::userLocationString, ""},
        {{{"serialnumber", std::string(70, 'x')}}, &Device::serialNumberString, std::string(62, 'x')},
        {{{"serialnumber", std::string(60, 'x') + "  y"}}, &Device::serialNumberString, std::string(60, 'x')},
        {{{"serialnumber", " a b  "}}, &Device::serialNumberString, " a b"},
        {{{"serialnumber", "a&#9;"}}, &Device::serialNumberString, "a\t"},
        {{{"serialnumber", "   "}}, &Device::serialNumberString, ""},
        {{{"deviceid", "<![CDATA[a<b]]><i>c</i>"}}, &Device::deviceIdString, "a<bc"},
        {{{"comment", "<vid>first</vid>"}}, &Device::vidString, "first"}}; // of each name the first, wherever it stands
    for (const auto& [changes, text, expected, flags] : rows)
    {
        const WideText list = ListText(changes);
        SCOPED_TRACE(ToUtf8(list));
        Device device;
        EXPECT_TRUE(ParseDeviceList(list.c_str(), device));
        EXPECT_EQ(expected, ToUtf8((device.*text).View()));
        EXPECT_EQ(
            flags, std::string(device.isNetwork ? "1" : "0") + (device.scannerPortPresents ? "1" : "0") +
                       (device.userLocationPresents ? "1" : "0"));
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
        test::DebugConsoleCapture console;
        EXPECT_FALSE(ParseDeviceList(ListText(missing).c_str(), device));
        EXPECT_EQ(std::string(expressions[i]) + " ", ReportedExpressions(console));
        EXPECT_NE(std::string::npos, console.Text().find("failed!\r\nContext:  \r\n")) << console.Text();
        EXPECT_NE(std::string::npos, console.Text().find("ParseDeviceList")) << console.Text();
    }
}

TEST_F(DeviceListParsing, UnusableText)
{
    WideText deep;
    for (int i = 0; i < 100'000; ++i)
        deep += OLESTR("<a>");
    for (const WCHAR* text :
         {static_cast<const WCHAR*>(nullptr), OLESTR(""), OLESTR("no XML"), OLESTR("<iotype>Network"), deep.c_str()})
    {
        Device device;
        test::DebugConsoleCapture console;
        EXPECT_FALSE(ParseDeviceList(text, device));
        EXPECT_EQ("loadXmlResult ", ReportedExpressions(console));
        EXPECT_TRUE(device.ioTypeString.IsNull());
    }
    ::CoUninitialize();
    Device device;
    test::DebugConsoleCapture console;
    EXPECT_FALSE(ParseDeviceList(ListText({}).c_str(), device));
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
}

} // namespace
} // namespace scankelv
