#include "DeviceListParsing.h"
#include "AgentTest.h"

using namespace scankelv;
using namespace test;

namespace
{

using Device = XmlParsedDeviceList;

struct DeviceListParsing : AgentTest
{
    /// The list of one device with these changes, "element=text" or "element=-" for one left out, a bar behind each.
    static WideText ListText(const std::string& changes)
    {
        std::string list =
            "<devicelist version='1'><device><iotype>Network</iotype><comment>2nd floor</comment>"
            "<devicepath>10.0.0.7</devicepath><scannerport>USBSCAN1</scannerport><deviceid>MFG:Q;MDL:T;</deviceid>"
            "<devicename>Hall</devicename><ext>ext 1</ext><hostname>hall.example</hostname>"
            "<location>Köln &amp; Z</location><macaddress>02-07</macaddress><modelname>TARN 110</modelname>"
            "<vendor>Quellon</vendor><pid>1a2b</pid><port>QP_1</port><productname>TARN Scan</productname>"
            "<serialnumber>SN1</serialnumber><systemdevicename>qlscan0</systemdevicename>"
            "<userlocation>Desk</userlocation><vid>0x0c0d</vid></device></devicelist>";
        for (const std::string& change : Parts(changes))
        {
            const std::string name = change.substr(0, change.find('=')), text = change.substr(name.size() + 1);
            const std::size_t start = list.find("<" + name + ">");
            const std::string end = "</" + name + ">";
            list.replace(
                start, list.find(end) + end.size() - start,
                text == "-" ? "" : "<" + name + " xml:space='preserve'>" + text + end);
        }
        return ToWide(list);
    }
};

TEST_F(DeviceListParsing, ElementsAndTheirAbsence)
{
    const std::pair<const char*, _bstr_t Device::*> texts[] = {
        {"address", &Device::addressString},
        {"address 2", &Device::address2String},
        {"comment", &Device::commentString},
        {"device id", &Device::deviceIdString},
        {"host name", &Device::hostNameString},
        {"location", &Device::locationString},
        {"MAC address", &Device::macAddressString},
        {"scanner port", &Device::scannerPortString},
        {"serial number", &Device::serialNumberString},
        {"system device name", &Device::systemDeviceNameString},
        {"user location", &Device::userLocationString},
        {"vid", &Device::vidString}};
    Device used; // a record used before
    ExpectAnswers("unit/data/DeviceListParsing.txt", [&](const std::string& changes) {
        Device device = used;
        const DebugConsoleCapture console;
        if (!ParseDeviceList(ListText(changes).c_str(), device))
            return ReportedExpressions(console) + "\n";
        std::string answer;
        for (const auto& [name, text] : texts)
            if (used.ioTypeString.IsNull() || !(device.*text == used.*text))
                answer += name + (" [" + ToUtf8((device.*text).View())) + "]\n";
        if (used.ioTypeString.IsNull())
            used = device;
        return answer + (device.isNetwork ? "network" : "local") + (device.commentPresents ? ", comment" : "") +
               (device.scannerPortPresents ? ", scanner port" : "") +
               (device.userLocationPresents ? ", user location\n" : "\n");
    });
}

TEST_F(DeviceListParsing, UnusableText)
{
    Device device;
    const DebugConsoleCapture console;
    EXPECT_FALSE(ParseDeviceList(nullptr, device) || ParseDeviceList(OLESTR("<iotype>Network"), device));
    ::CoUninitialize();
    EXPECT_FALSE(ParseDeviceList(ListText("").c_str(), device));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ("loadXmlResult loadXmlResult createInstanceResult ", ReportedExpressions(console));
    const Report report = ReportsIn(console.Text())[0];
    EXPECT_TRUE(report.context.empty() && report.signature.find("ParseDeviceList") != std::string::npos);
    EXPECT_TRUE(device.ioTypeString.IsNull());
}

} // namespace
