#include "DeviceListParsing.h"
#include "AgentTest.h"

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
        Elements elements = {
            {"iotype", "Network"},
            {"comment", "2nd floor"},
            {"devicepath", "10.0.0.7"},
            {"scannerport", "USBSCAN1"},
            {"deviceid", "MFG:Quellon;MDL:TARN 110;"},
            {"devicename", "Hall"},
            {"ext", "ext 1"},
            {"hostname", "hall.example"},
            {"location", "K\xC3\xB6ln &amp; Z"},
            {"macaddress", "02-00-00-00-00-07"},
            {"modelname", "TARN 110"},
            {"vendor", "Quellon"},
            {"pid", "1a2b"},
            {"port", "QP_10.0.0.7"},
            {"productname", "TARN 110 Scan"},
            {"serialnumber", "SN1"},
            {"systemdevicename", "qlscan0"},
            {"userlocation", "Desk"},
            {"vid", "0x0c0d"},
        };
        for (const auto& [name, text] : changes)
            elements[name] = text;
        std::string list = "<devicelist version='1'><device>";
        for (const auto& [name, text] : elements)
            if (text != "-")
                list += "<" + name + " xml:space='preserve'>" + text + "</" + name + ">";
        return ToWide(list + "</device></devicelist>");
    }

    /// Every member in the order of declaration, the texts between bars.
    static std::string Print(const Device& device)
    {
        std::string all;
        const auto print = [&all](const auto& member) {
            if constexpr (std::is_same_v<decltype(member), const bool&>)
                all += member ? "1" : "0";
            else
                all += "|" + (member.IsNull() ? "null" : ToUtf8(member.View())) + "|";
        };
        const auto& [address, commented, comment, ioType, id, name, path, ext, host, network, location, mac, model, pid, port, product, scannerPort, serial, hasScannerPort, system, hasUserLocation, userLocation, vendor, vid] =
            device;
        const auto printAll = [&](const auto&... members) { (print(members), ...); };
        printAll(
            address, commented, comment, ioType, id, name, path, ext, host, network, location, mac, model, pid, port,
            product, scannerPort, serial, hasScannerPort, system, hasUserLocation, userLocation, vendor, vid);
        return all;
    }
};

TEST_F(DeviceListParsing, EveryMember)
{
    Device device;
    ASSERT_TRUE(ParseDeviceList(ListText({}).c_str(), device));
    EXPECT_EQ(
        "|10.0.0.7|1|2nd floor||Network||MFG:Quellon;MDL:TARN 110;||Hall||10.0.0.7||ext 1||hall.example|1"
        "|K\xC3\xB6ln & Z||02-00-00-00-00-07||TARN 110||1a2b||QP_10.0.0.7||TARN 110 Scan||USBSCAN1||SN1|1|qlscan0|1"
        "|Desk||Quellon||0x0c0d|",
        Print(device));
    Device fresh;
    const Elements none = {{"comment", "-"},      {"scannerport", "-"},  {"hostname", "-"},
                           {"serialnumber", "-"}, {"userlocation", "-"}, {"systemdevicename", "-"}};
    ASSERT_TRUE(ParseDeviceList(ListText(none).c_str(), fresh));
    EXPECT_EQ(
        "|10.0.0.7|0|||Network||MFG:Quellon;MDL:TARN 110;||Hall||10.0.0.7||ext 1|||1|K\xC3\xB6ln & Z"
        "||02-00-00-00-00-07||TARN 110||1a2b||QP_10.0.0.7||TARN 110 Scan||10.0.0.7|||0||0|null||Quellon||0x0c0d|",
        Print(fresh));
    // A record used before: what is absent goes, but for the user location, which stays.
    ASSERT_TRUE(ParseDeviceList(ListText(none).c_str(), device));
    EXPECT_EQ("", ToUtf8(device.commentString.View()) + ToUtf8(device.hostNameString.View()));
    EXPECT_EQ("Desk", ToUtf8(device.userLocationString.View()));
    EXPECT_FALSE(device.userLocationPresents || device.commentPresents || device.scannerPortPresents);
}

TEST_F(DeviceListParsing, DerivedMembers)
{
    const struct
    {
        Elements changes;
        _bstr_t Device::*text;
        std::string expected;
        bool Device::*flag = nullptr;
        bool set = false;
    } rows[] = {
        {{{"iotype", "network"}}, &Device::addressString, "USBSCAN1", &Device::isNetwork, false},
        {{{"iotype", "Network "}}, &Device::macAddressString, "", &Device::isNetwork, false},
        {{{"iotype", "Local"}}, &Device::address2String, "10.0.0.7", &Device::scannerPortPresents, true},
        {{{"iotype", "Local"}, {"scannerport", ""}},
         &Device::addressString,
         "10.0.0.7",
         &Device::scannerPortPresents,
         false},
        {{{"iotype", "Local"}, {"scannerport", ""}}, &Device::scannerPortString, ""},
        {{{"iotype", "Local"}, {"scannerport", "-"}},
         &Device::scannerPortString,
         "10.0.0.7",
         &Device::scannerPortPresents,
         false},
        {{{"userlocation", ""}}, &Device::userLocationString, "", &Device::userLocationPresents, true},
        {{{"serialnumber", std::string(70, 'x')}}, &Device::serialNumberString, std::string(62, 'x')},
        {{{"serialnumber", std::string(60, 'x') + "  y"}}, &Device::serialNumberString, std::string(60, 'x')},
        {{{"serialnumber", " a b  "}}, &Device::serialNumberString, " a b"},
        {{{"serialnumber", "a&#9;"}}, &Device::serialNumberString, "a\t"},
        {{{"serialnumber", "   "}}, &Device::serialNumberString, ""},
        {{{"deviceid", "<![CDATA[a<b]]><i>c</i>"}}, &Device::deviceIdString, "a<bc"},
        // The first of each name, wherever it stands.
        {{{"comment", "<vid>first</vid>"}}, &Device::vidString, "first"},
    };
    for (const auto& [changes, text, expected, flag, set] : rows)
    {
        const WideText list = ListText(changes);
        SCOPED_TRACE(ToUtf8(list));
        Device device;
        EXPECT_TRUE(ParseDeviceList(list.c_str(), device));
        EXPECT_EQ(expected, ToUtf8((device.*text).View()));
        EXPECT_TRUE(flag == nullptr || device.*flag == set);
    }
}

TEST_F(DeviceListParsing, MissingElement)
{
    const struct
    {
        const char* element;
        const char* expression;
        _bstr_t Device::*next; ///< filled only by a later element
    } rows[] = {
        {"iotype", "ioTypeElement ", &Device::address2String},
        {"devicepath", "devicePathElement ", &Device::deviceIdString},
        {"deviceid", "deviceIdElement ", &Device::deviceNameString},
        {"devicename", "deviceNameElement ", &Device::extDeviceIdString},
        {"ext", "extElement ", &Device::hostNameString},
        {"location", "locationElement ", &Device::macAddressString},
        {"macaddress", "macAddressElement ", &Device::mdlString},
        {"modelname", "modelNameElement ", &Device::mfgString},
        {"vendor", "vendorElement ", &Device::pidString},
        {"pid", "pidElement ", &Device::portNameString},
        {"port", "portElement ", &Device::productNameString},
        {"productname", "productNameElement ", &Device::serialNumberString},
        {"vid", "vidElement ", &Device::addressString},
    };
    for (const auto& [element, expression, next] : rows)
    {
        SCOPED_TRACE(element);
        Device device;
        test::DebugConsoleCapture console;
        EXPECT_FALSE(
            ParseDeviceList(ListText({{element, "-"}, {"iotype", element[0] == 'i' ? "-" : "Local"}}).c_str(), device));
        EXPECT_EQ(expression, ReportedExpressions(console));
        EXPECT_NE(std::string::npos, console.Text().find("failed!\r\nContext:  \r\n")) << console.Text();
        EXPECT_NE(std::string::npos, console.Text().find("ParseDeviceList")) << console.Text();
        EXPECT_TRUE((device.*next).IsNull());
    }
}

TEST_F(DeviceListParsing, UnusableText)
{
    const WideText deep = [] {
        WideText text;
        for (int i = 0; i < 100'000; ++i)
            text += OLESTR("<a>");
        return text;
    }();
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
