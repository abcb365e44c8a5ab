#include "DeviceXml.h"
#include "AgentTest.h"
#include "XmlDocument.h"

namespace scankelv
{
namespace
{

using test::ToUtf8;
using test::ToWide;

class DeviceXml : public test::AgentTest
{
protected:
    static test::Wide Location() { return DeviceXmlLocation().Text(); }

    /// What the file holds as UTF-8, without the mark in front and white space between tags.
    static std::string Content()
    {
        const std::string bytes = test::ReadFileBytes(Location());
        EXPECT_EQ("\xFF\xFE", bytes.substr(0, 2));
        test::Wide text;
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text += static_cast<WCHAR>(
                static_cast<unsigned char>(bytes[i]) + static_cast<unsigned char>(bytes[i + 1]) * 256);
        std::string content;
        for (const char character : ToUtf8(text))
        {
            if (character == '<')
                content.erase(content.find_last_not_of("\r\n\t ") + 1);
            content += character;
        }
        return content.erase(content.find_last_not_of("\r\n\t ") + 1);
    }

    void SetUp() override
    {
        ::DeleteFileW(Location().c_str());
        ::RemoveDirectoryW(Location().c_str());
    }
    void TearDown() override { SetUp(); }
};

constexpr const char* networkFile =
    R"(<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device><Address>10.0.0.7</Address>)"
    R"(<Comment>2 &lt; 3 &amp; "4"</Comment><ConnectionType>Network</ConnectionType><DeviceID>MFG:Quellon;</DeviceID>)"
    R"(<DeviceName>Hall</DeviceName><DeviceSelect>10.0.0.7:80</DeviceSelect><ExtDeviceID>ext 1</ExtDeviceID>)"
    "<HostName>hall.example</HostName><Location>K\xC3\xB6ln \xF0\x9F\x96\xA8</Location>"
    R"(<MACAddress>02-00-00-00-00-07</MACAddress><MDL>TARN 110</MDL><MFG>Quellon</MFG><PID>0x1A2b</PID>)"
    R"(<PortName>QP_10.0.0.7</PortName><ProductName>TARN 110 Scan</ProductName><Serial>SN1</Serial>)"
    R"(<SystemDeviceName>qlscan0</SystemDeviceName><UI_Mode>1</UI_Mode><VID>0c0D</VID></device></devicelist>)";

constexpr const char* bareFile =
    R"(<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device><Address></Address>)"
    R"(<Comment></Comment><ConnectionType>Local</ConnectionType><DeviceID></DeviceID><DeviceName></DeviceName>)"
    R"(<DeviceSelect></DeviceSelect><ExtDeviceID></ExtDeviceID><HostName></HostName><Location></Location>)"
    R"(<MACAddress></MACAddress><MDL></MDL><MFG></MFG><PID></PID><PortName></PortName><ProductName></ProductName>)"
    R"(<Serial></Serial><SystemDeviceName></SystemDeviceName><UI_Mode>1</UI_Mode><VID></VID></device></devicelist>)";

TEST_F(DeviceXml, FileContent)
{
    XmlParsedDeviceList device;
    device.addressString = OLESTR("10.0.0.7");
    device.commentString = OLESTR("2 < 3 & \"4\"");
    device.ioTypeString = OLESTR("Network");
    device.deviceIdString = OLESTR("MFG:Quellon;");
    device.deviceNameString = OLESTR("Hall");
    device.address2String = OLESTR("10.0.0.7:80");
    device.extDeviceIdString = OLESTR("ext 1");
    device.hostNameString = OLESTR("hall.example");
    device.isNetwork = true;
    device.locationString = ToWide("K\xC3\xB6ln \xF0\x9F\x96\xA8").c_str();
    device.macAddressString = OLESTR("02-00-00-00-00-07");
    device.mdlString = OLESTR("TARN 110");
    device.pidString = OLESTR("0x1A2b");
    device.portNameString = OLESTR("QP_10.0.0.7");
    device.productNameString = OLESTR("TARN 110 Scan");
    device.serialNumberString = OLESTR("SN1");
    device.systemDeviceNameString = OLESTR("qlscan0");
    device.userLocationPresents = true;
    device.userLocationString = OLESTR("Desk"); // never written here
    device.mfgString = OLESTR("Quellon");
    device.vidString = OLESTR("0c0D");
    EXPECT_TRUE(ExportDeviceXml(device));
    EXPECT_EQ(networkFile, Content());

    // A second device replaces the whole file; COM not initialised by the caller is no obstacle.
    XmlParsedDeviceList bare;
    bare.ioTypeString = OLESTR("Local");
    ::CoUninitialize();
    EXPECT_TRUE(ExportDeviceXml(bare));
    EXPECT_EQ(bareFile, Content());
    XmlDocument document = XmlCreateDocumentInitialisingCom();
    ASSERT_TRUE(XmlLoadFile(document, Location().c_str()));
    EXPECT_TRUE(XmlSelectElement(document.Get(), OLESTR("/devicelist/device")));
}

TEST_F(DeviceXml, Location)
{
    const test::Wide file = Location();
    EXPECT_EQ("C:\\ProgramData\\Quellon\\ScanKELV\\device.xml", ToUtf8(file));
    EXPECT_TRUE(test::FileExists(file.substr(0, file.rfind(OLESTR('\\')))));
    ::CreateDirectoryW(file.c_str(), nullptr);
    try
    {
        ExportDeviceXml({});
        ADD_FAILURE() << "saved over a folder";
    }
    catch (const XmlError& error)
    {
        EXPECT_TRUE(FAILED(error.Code()));
    }
}

} // namespace
} // namespace scankelv
