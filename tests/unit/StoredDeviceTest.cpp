#include "StoredDevice.h"
#include "AgentTest.h"
#include "DeviceXml.h"
#include "SampleDevice.h"

#include <algorithm>
#include <set>

namespace scankelv
{
namespace
{

using namespace std::string_literals;
using test::ToUtf8;
using test::ToWide;
using test::Wide;

const Wide productsKey = OLESTR("Software\\QLScan\\");
const Wide genericKey = productsKey + OLESTR("Quellon Generic Scan Driver");

class StoredDevice : public test::AgentTest
{
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        ::SetFileAttributesW(m_config.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(m_config.c_str());
        ::DeleteFileW(m_deviceXml.c_str());
        ::RemoveDirectoryW(m_deviceXml.c_str());
    }

    static bool Store(const XmlParsedDeviceList& device, const std::string& command, std::string_view settings = {})
    {
        const test::TemporaryFolder folder;
        const Wide file = folder.File("ScanKELV.ini");
        if (!settings.empty())
            test::WriteFileBytes(file, settings);
        return StoreDeviceListAndUpdateIcc(
            AgentOptions::Build(file.c_str(), ToWide("agent " + command).c_str()).value(), device);
    }

    /// One line for each value in the order of the names, numbers as "#" and decimal digits.
    static std::string Registry(const Wide& path = genericKey)
    {
        std::set<std::string> lines;
        HKEY key = nullptr;
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return {};
        for (DWORD i = 0;; ++i)
        {
            WCHAR name[100];
            WCHAR data[6000] = {};
            DWORD length = 100;
            DWORD size = sizeof(data);
            DWORD type = 0;
            auto* const bytes = reinterpret_cast<BYTE*>(data);
            if (::RegEnumValueW(key, i, name, &length, nullptr, &type, bytes, &size) != ERROR_SUCCESS)
                break;
            DWORD number = 0;
            std::copy_n(bytes, sizeof(number), reinterpret_cast<BYTE*>(&number));
            lines.insert(ToUtf8(name) + "=" + (type == REG_DWORD ? "#" + std::to_string(number) : ToUtf8(data)) + "\n");
        }
        ::RegCloseKey(key);
        std::string all;
        for (const std::string& line : lines)
            all += line;
        return all;
    }
    static void SetNumber(const WCHAR* name, DWORD number)
    {
        HKEY key = nullptr;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, genericKey.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        ::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
        ::RegCloseKey(key);
    }

    const test::PrivateRegistry m_registry;
    const Wide m_config = WideFromNarrow(WiaConfigLocation().View());
    const Wide m_deviceXml = DeviceXmlLocation().Text();
};

constexpr const char* sampleLog =
    "addressString: 10.0.0.7\r\naddress2String: 10.0.0.7:80\r\ncommentPresents: 1\r\ncommentString: 2 < 3 & \"4\"\r\n"
    "connectionTypeDWORD: 1\r\ndeviceIdString: MFG:Quellon;MDL:TARN 110;\r\ndeviceNameString: Hall\r\n"
    "deviceSelectDWORD: 0\r\nextDeviceIdString: ext 1\r\nhostNameString: hall.example\r\nlocationString: Desk\r\n"
    "macAddressString: 02-00-00-00-00-07\r\nmdlString: TARN 110\r\nmfgString: Quellon\r\n"
    "pidDWORD: 4294967295 (0xffffffff)\r\nportNameString: QP_10\r\nproductNameString: TARN Scan\r\n"
    "serialNumberString: SN1\r\nsystemDeviceNameString: qlscan0\r\nuiMode: 1\r\nuserLocationPresents 1\r\n"
    "userLocationString Desk\r\nvidDWORD: 6699 (0x1a2b)\r\nFile \"";

constexpr const char* sampleConfig =
    "[IO]\r\nAddress=10.0.0.7\r\nAddress2=10.0.0.7:80\r\nComment=2 < 3 & \"4\"\r\nConnectionType=1\r\n"
    "DeviceID=MFG:Quellon;MDL:TARN 110;\r\nDeviceName=Hall\r\nDeviceSelect=0\r\nExtDeviceID=ext 1\r\n"
    "HostName=hall.example\r\nLocation=K\xC3\xB6ln \xF0\x9F\x96\xA8\r\nMACAddress=02-00-00-00-00-07\r\n"
    "MDL=TARN 110\r\nMFG=Quellon\r\nPID=-1\r\nPortName=QP_10\r\nProductName=TARN Scan\r\nSerial=SN1\r\n"
    "SystemDeviceName=qlscan0\r\nVID=6699\r\n";

constexpr const char* sampleRegistry =
    "Address=10.0.0.7\nComment=2 < 3 & \"4\"\nConnectionType=#1\nDeviceID=MFG:Quellon;MDL:TARN 110;\nDeviceName=Hall\n"
    "DeviceSelect=#0\nExtDeviceID=ext 1\nHostName=hall.example\nLocation=Desk\nMACAddress=02-00-00-00-00-07\n"
    "MDL=TARN 110\nMFG=Quellon\nPID=#4294967295\nPortName=QP_10\nProductName=TARN Scan\nSerial=SN1\n"
    "SystemDeviceName=qlscan0\nUI_Mode=#1\nVID=#6699\nsavedAt=9999/99/99 99:99:99.999\n";

constexpr const char* oneModel = "[Settings]\r\nProductName=TARN Scan\r\nModelName=TARN\r\nPropertiesUI=1\r\n";

TEST_F(StoredDevice, OneModel)
{
    test::DebugConsoleCapture console;
    EXPECT_TRUE(Store(test::SampleDevice(), "", oneModel));
    const std::string log = console.Text();
    EXPECT_NE(std::string::npos, log.find(sampleLog)) << log;
    // The updater comes first.
    EXPECT_LT(log.find("Hueward not found at expected location \""), log.find("keyOpenResult")) << log;
    EXPECT_EQ("keyOpenResult ", ReportedExpressions(console));

    std::string values = Registry(productsKey + OLESTR("TARN Scan"));
    for (std::size_t at = values.find("savedAt="); at < values.size(); ++at)
        values[at] = values[at] >= '0' && values[at] <= '9' ? '9' : values[at];
    EXPECT_EQ(sampleRegistry, values);
    EXPECT_TRUE(Registry().empty());
    EXPECT_TRUE(test::FileExists(m_deviceXml));
    EXPECT_FALSE(test::FileExists(m_config));
}

TEST_F(StoredDevice, DerivedValues)
{
    const struct
    {
        const char* settings;
        void (*change)(XmlParsedDeviceList&);
        std::string expected;
    } rows[] = {
        {"", [](auto& device) { device.isNetwork = false; }, "DeviceSelect=#4\n"},
        {"", [](auto& device) { device.isNetwork = device.scannerPortPresents = false; }, "DeviceSelect=#2\n"},
        {"", [](auto& device) { device.isNetwork = false; }, "ConnectionType=#0\n"},
        {"", [](auto& device) { device.pidString = OLESTR("xyz"); }, "PID=#0\n"},
        {"", [](auto& device) { device.vidString = {}; }, "VID=#0\n"},
        {"", [](auto& device) { device.addressString = {}; }, "Address=\n"},
        {"", [](auto& device) { device.hostNameString = WideText(500, 'h').c_str(); }, std::string(500, 'h')},
        {"", [](auto&) {}, "Location=K\xC3\xB6ln \xF0\x9F\x96\xA8\n"},
        {oneModel, [](auto& device) { device.userLocationPresents = false; }, "Location=K\xC3\xB6ln"},
        {oneModel, [](auto& device) { device.userLocationString = {}; }, "Location=\n"}};
    // What an earlier device left behind stays where this one has nothing to say.
    for (const WCHAR* name : {OLESTR("Address2"), OLESTR("Online"), OLESTR("Changed"), OLESTR("UI_Mode")})
        SetNumber(name, 5);
    for (const auto& [settings, change, expected] : rows)
    {
        XmlParsedDeviceList device = test::SampleDevice();
        change(device);
        test::DebugConsoleCapture console;
        EXPECT_TRUE(Store(device, "/MODE 0 /D TARN /M \"Quellon Generic Scan Driver\"", settings));
        EXPECT_EQ(device.userLocationPresents, console.Text().find("userLocationString ") != std::string::npos);
        const std::string all = Registry();
        for (const std::string& value : {expected, "Address2=#5\n"s, "Online=#5\n"s, "Changed=#5\n"s, "UI_Mode=#1\n"s})
            EXPECT_NE(std::string::npos, all.find(value)) << value << all;
    }
}

TEST_F(StoredDevice, ConfigIni)
{
    EXPECT_TRUE(Store(test::SampleDevice(), "/MODE 1"));
    EXPECT_EQ("\xFF\xFE" + test::Utf16Bytes(ToWide(sampleConfig)), test::ReadFileBytes(m_config));

    // An existing file keeps its encoding and all that is not the device's.
    const std::string scan = "[Scan]\r\nMode=2\r\n[IO]\r\nTimeout=9\r\naddress=";
    test::WriteFileBytes(m_config, scan + "old\r\n");
    XmlParsedDeviceList device = test::SampleDevice();
    device.locationString = _bstr_t();
    EXPECT_TRUE(Store(device, "/MODE 1"));
    std::string expected = scan + (sampleConfig + std::string_view("[IO]\r\nAddress=").size());
    const std::string_view location = "K\xC3\xB6ln \xF0\x9F\x96\xA8";
    expected.erase(expected.find(location), location.size());
    EXPECT_EQ(expected, test::ReadFileBytes(m_config));
}

TEST_F(StoredDevice, WhatCannotBeWritten)
{
    // A product name that no key can have: nothing is written.
    test::DebugConsoleCapture console;
    EXPECT_FALSE(Store(test::SampleDevice(), "/M " + std::string(300, 'p')));
    EXPECT_EQ("keyOpenResult createKeyResult twainStorage.IsValid() ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("\r\nContext: prerequisite check \r\n")) << console.Text();
    EXPECT_NE(std::string::npos, console.Text().find("StoreDeviceListAndUpdateIcc")) << console.Text();
    EXPECT_FALSE(test::FileExists(m_deviceXml) || test::FileExists(m_config));

    // Neither a device.xml that cannot be saved nor a Config.ini that cannot be changed stops the rest.
    ::CreateDirectoryW(m_deviceXml.c_str(), nullptr);
    test::WriteFileBytes(m_config, "[IO]\r\nAddress=old\r\n");
    test::SetReadOnly(m_config, true);
    console.Clear();
    EXPECT_TRUE(Store(test::SampleDevice(), ""));
    EXPECT_EQ("keyOpenResult exportResult ", ReportedExpressions(console));
    EXPECT_EQ(20, std::ranges::count(Registry(), '\n'));
    EXPECT_EQ("[IO]\r\nAddress=old\r\n", test::ReadFileBytes(m_config));
}

TEST_F(StoredDevice, Updater)
{
    // A file that is no program: the start is tried, and refused.
    const Wide updater = LocationOfModuleFile(OLESTR("Hueward.exe")).Text();
    test::WriteFileBytes(updater, "no program");
    for (const std::size_t length : {0U, 1016U, 1017U, 5000U})
    {
        XmlParsedDeviceList device = test::SampleDevice();
        device.productNameString = WideText(length, 'n').c_str();
        const std::string quoted = ("\"\"\"" + std::string(length, 'n') + "\"\"\"").substr(0, 1022);
        test::DebugConsoleCapture console;
        EXPECT_TRUE(Store(device, ""));
        const std::string log = console.Text();
        EXPECT_NE(std::string::npos, log.find("triple-quoted name " + quoted + "\r\n")) << log;
        EXPECT_NE(std::string::npos, log.find(" with argument \"" + quoted + "\" in working directory \"")) << log;
        EXPECT_LT(log.find("Expression  result  failed!"), log.find("Hueward failed.\r\n")) << log;
        EXPECT_NE(std::string::npos, Registry().find("ProductName=" + std::string(length, 'n') + "\n"));
    }
    ::DeleteFileW(updater.c_str());
}

} // namespace
} // namespace scankelv
