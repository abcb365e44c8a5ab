#include "StoredDevice.h"
#include "DeviceXml.h"
#include "DriverStorages.h"
#include "OptionsTest.h"
#include "XmlParsedDeviceList.h"

using namespace scankelv;
using namespace test;

namespace
{

constexpr const char* genericKey = "Software\\QLScan\\Quellon Generic Scan Driver";
constexpr const char* oneModel = "ProductName=TARN Scan\r\nModelName=TARN\r\nPropertiesUI=1\r\n";

/// A network device with a text of its own in every member.
XmlParsedDeviceList SampleDevice()
{
    // clang-format off
    return {OLESTR("10.0.0.7"), true, OLESTR("2 < 3 & \"4\""), OLESTR("Network"), OLESTR("MFG:Quellon;MDL:TARN 110;"),
            OLESTR("Hall"), OLESTR("10.0.0.7:80"), OLESTR("ext 1"), OLESTR("hall.example"), true, OLESTR("Cologne"),
            OLESTR("02-00-00-00-00-07"), OLESTR("TARN 110"), OLESTR("0xFFFFFFFF"), OLESTR("QP_10"), OLESTR("TARN Scan"),
            OLESTR("USBSCAN1"), OLESTR("SN1"), true, OLESTR("qlscan0"), true, OLESTR("Desk"), OLESTR("Quellon"),
            OLESTR("1a2B")};
    // clang-format on
}

class StoredDevice : public OptionsTest
{
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        test::SetReadOnly(m_config, false);
        ::DeleteFileW(m_config.c_str());
        ::RemoveDirectoryW(m_deviceXml.c_str());
        ::DeleteFileW(m_deviceXml.c_str());
    }
    static bool
    StoreDevice(const XmlParsedDeviceList& device, const std::string& command, std::string_view settings = {})
    {
        return StoreDeviceListAndUpdateIcc(Options(command, settings), device);
    }

    const Wide m_config = WideFromNarrow(WiaConfigLocation().View());
    const Wide m_deviceXml = DeviceXmlLocation().Text();
};

TEST_F(StoredDevice, DerivedValuesAmongOthers)
{
    const std::string longText(500, 'h');
    const struct
    {
        const char* settings;
        void (*change)(XmlParsedDeviceList&);
        std::string expected;
    } rows[] = {
        {"", [](auto& device) { device.isNetwork = false; }, "ConnectionType=#0|DeviceSelect=#4"},
        {"", [](auto& device) { device.isNetwork = device.scannerPortPresents = false; }, "DeviceSelect=#2"},
        {"", [](auto& device) { device.pidString = OLESTR("xyz"); }, "PID=#0"},
        {"", [](auto& device) { device.vidString = {}; }, "VID=#0"},
        {"", [](auto& device) { device.addressString = {}; }, "Address="},
        {"", [](auto& device) { device.hostNameString = WideText(500, 'h').c_str(); }, "HostName=" + longText},
        {"", [](auto&) {}, "Location=Cologne"},
        {oneModel, [](auto& device) { device.userLocationPresents = false; }, "Location=Cologne"},
        {oneModel, [](auto& device) { device.userLocationString = {}; }, "Location="}};
    // What an earlier device left behind stays where this one has nothing to say.
    Store(HKEY_CURRENT_USER, genericKey, "Address2=5|Online=#5|Changed=#5|UI_Mode=#5");
    for (const auto& [settings, change, expected] : rows)
    {
        XmlParsedDeviceList device = SampleDevice();
        change(device);
        DebugConsoleCapture console;
        EXPECT_TRUE(StoreDevice(device, "/MODE 0 /D TARN /M \"Quellon Generic Scan Driver\"", settings));
        EXPECT_EQ(device.userLocationPresents, console.Text().find("userLocationString ") != std::string::npos);
        ExpectStored(genericKey, expected + "|Address2=5|Changed=#5|Online=#5|UI_Mode=#1");
    }
    // So it does in Config.ini, which keeps its encoding.
    WriteFileBytes(m_config, "[Scan]\r\nMode=2\r\n[IO]\r\nTimeout=9\r\naddress=old\r\n");
    EXPECT_TRUE(StoreDevice(SampleDevice(), "/MODE 1"));
    EXPECT_TRUE(ReadFileBytes(m_config).starts_with(
        "[Scan]\r\nMode=2\r\n[IO]\r\nTimeout=9\r\naddress=10.0.0.7\r\nAddress2=10.0.0.7:80\r\n"));
}

TEST_F(StoredDevice, WhatCannotBeWritten)
{
    // A product name that no key can have: nothing is written.
    DebugConsoleCapture console;
    EXPECT_FALSE(StoreDevice(SampleDevice(), "/M " + std::string(300, 'p')));
    EXPECT_EQ("keyOpenResult createKeyResult twainStorage.IsValid() ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("\r\nContext: prerequisite check \r\n")) << console.Text();
    EXPECT_FALSE(FileExists(m_deviceXml) || FileExists(m_config));

    // Neither a device.xml that cannot be saved nor a Config.ini that cannot be changed stops the rest.
    EXPECT_EQ("C:\\ProgramData\\Quellon\\ScanKELV\\device.xml", ToUtf8(m_deviceXml));
    ::CreateDirectoryW(m_deviceXml.c_str(), nullptr);
    WriteFileBytes(m_config, "[IO]\r\nAddress=old\r\n");
    SetReadOnly(m_config, true);
    console.Clear();
    EXPECT_TRUE(StoreDevice(SampleDevice(), ""));
    EXPECT_EQ("keyOpenResult exportResult ", ReportedExpressions(console));
    ExpectStored(genericKey, "Address=10.0.0.7|VID=#6699");
    EXPECT_EQ("[IO]\r\nAddress=old\r\n", ReadFileBytes(m_config));
}

TEST_F(StoredDevice, UpdaterThatIsNoProgram)
{
    const Wide updater = LocationOfModuleFile(OLESTR("Hueward.exe")).Text();
    WriteFileBytes(updater, "no program");
    for (const std::size_t length : {0U, 1016U, 1017U, 5000U})
    {
        XmlParsedDeviceList device = SampleDevice();
        device.productNameString = WideText(length, 'n').c_str();
        const std::string quoted = ("\"\"\"" + std::string(length, 'n') + "\"\"\"").substr(0, 1022);
        DebugConsoleCapture console;
        EXPECT_TRUE(StoreDevice(device, ""));
        const std::string log = console.Text();
        EXPECT_NE(std::string::npos, log.find("triple-quoted name " + quoted + "\r\n")) << log;
        EXPECT_NE(std::string::npos, log.find(" with argument \"" + quoted + "\" in working directory \"")) << log;
        EXPECT_LT(log.find("Expression  result  failed!"), log.find("Hueward failed.\r\n")) << log;
        ExpectStored(genericKey, "ProductName=" + std::string(length, 'n'));
    }
    ::DeleteFileW(updater.c_str());
}

} // namespace
