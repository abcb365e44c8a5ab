#include "DeviceXml.h"
#include "AgentTest.h"
#include "SampleDevice.h"
#include "XmlDocument.h"

namespace scankelv
{
namespace
{

class DeviceXml : public test::AgentTest
{
protected:
    void SetUp() override
    {
        ::DeleteFileW(m_file.c_str());
        ::RemoveDirectoryW(m_file.c_str());
    }
    void TearDown() override { SetUp(); }

    /// The file as UTF-8, without its mark and the white space between tags.
    std::string Content() const
    {
        const std::string bytes = test::ReadFileBytes(m_file);
        test::Wide text;
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
            text += static_cast<WCHAR>(static_cast<BYTE>(bytes[i]) + static_cast<BYTE>(bytes[i + 1]) * 256);
        EXPECT_EQ(0xFEFF, text.at(0));
        std::string content;
        for (const char character : test::ToUtf8(text.substr(1)) + '<')
        {
            if (character == '<')
                content.erase(content.find_last_not_of("\r\n\t ") + 1);
            content += character;
        }
        return content;
    }

    const test::Wide m_file = DeviceXmlLocation().Text();
};

constexpr const char* sampleFile =
    R"(<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device><Address>10.0.0.7</Address>)"
    R"(<Comment>2 &lt; 3 &amp; "4"</Comment><ConnectionType>Network</ConnectionType>)"
    R"(<DeviceID>MFG:Quellon;MDL:TARN 110;</DeviceID><DeviceName>Hall</DeviceName>)"
    R"(<DeviceSelect>10.0.0.7:80</DeviceSelect><ExtDeviceID>ext 1</ExtDeviceID><HostName>hall.example</HostName>)"
    "<Location>K\xC3\xB6ln \xF0\x9F\x96\xA8</Location><MACAddress>02-00-00-00-00-07</MACAddress><MDL>TARN 110</MDL>"
    R"(<MFG>Quellon</MFG><PID>0xFFFFFFFF</PID><PortName>QP_10</PortName><ProductName>TARN Scan</ProductName>)"
    R"(<Serial>SN1</Serial><SystemDeviceName>qlscan0</SystemDeviceName><UI_Mode>1</UI_Mode><VID>1a2B</VID>)"
    R"(</device></devicelist><)";

constexpr const char* bareFile =
    R"(<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device><Address></Address>)"
    R"(<Comment></Comment><ConnectionType>Local</ConnectionType><DeviceID></DeviceID><DeviceName></DeviceName>)"
    R"(<DeviceSelect></DeviceSelect><ExtDeviceID></ExtDeviceID><HostName></HostName><Location></Location>)"
    R"(<MACAddress></MACAddress><MDL></MDL><MFG></MFG><PID></PID><PortName></PortName><ProductName></ProductName>)"
    R"(<Serial></Serial><SystemDeviceName></SystemDeviceName><UI_Mode>1</UI_Mode><VID></VID></device></devicelist><)";

TEST_F(DeviceXml, Content)
{
    EXPECT_TRUE(ExportDeviceXml(test::SampleDevice()));
    EXPECT_EQ(sampleFile, Content());

    // A second device replaces the whole file; a thread without COM is no obstacle.
    XmlParsedDeviceList bare;
    bare.ioTypeString = OLESTR("Local");
    ::CoUninitialize();
    EXPECT_TRUE(ExportDeviceXml(bare));
    EXPECT_EQ(bareFile, Content());
    const XmlDocument document = XmlCreateDocumentInitialisingCom();
    ASSERT_TRUE(XmlLoadFile(document, m_file.c_str()));
    EXPECT_TRUE(XmlSelectElement(document.Get(), OLESTR("/devicelist/device")));
}

TEST_F(DeviceXml, FolderInItsPlace)
{
    EXPECT_EQ("C:\\ProgramData\\Quellon\\ScanKELV\\device.xml", test::ToUtf8(m_file));
    ::CreateDirectoryW(m_file.c_str(), nullptr);
    EXPECT_THROW(ExportDeviceXml(test::SampleDevice()), XmlError);
}

} // namespace
} // namespace scankelv
