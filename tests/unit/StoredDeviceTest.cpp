#include "StoredDevice.h"
#include "AgentTest.h"
#include "DeviceXml.h"

#include <map>

namespace scankelv
{
namespace
{

using test::ToUtf8;
using test::ToWide;
using test::Wide;
using Values = std::map<std::string, std::string>; // numbers as "#" and decimal digits

constexpr const WCHAR* genericKey = OLESTR("Software\\QLScan\\Quellon Generic Scan Driver");

class StoredDevice : public test::AgentTest
{
protected:
    void SetUp() override
    {
        m_config = WideFromNarrow(WiaConfigLocation().View());
        m_deviceXml = DeviceXmlLocation().Text();
        TearDown();
    }
    void TearDown() override
    {
        ::SetFileAttributesW(m_config.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(m_config.c_str());
        ::DeleteFileW(m_deviceXml.c_str());
        ::RemoveDirectoryW(m_deviceXml.c_str());
    }

    static AgentOptions Options(std::string_view command, std::string_view settings = {})
    {
        const test::TemporaryFolder folder;
        const Wide file = settings.empty() ? Wide() : folder.File("ScanKELV.ini");
        if (!settings.empty())
            test::WriteFileBytes(file, settings);
        return AgentOptions::Build(file.c_str(), ToWide("agent " + std::string(command)).c_str()).value();
    }

    static XmlParsedDeviceList NetworkDevice()
    {
        XmlParsedDeviceList device;
        device.addressString = OLESTR("10.0.0.7");
        device.commentPresents = true;
        device.commentString = OLESTR("2nd floor");
        device.ioTypeString = OLESTR("Network");
        device.deviceIdString = OLESTR("MFG:Quellon;MDL:TARN 110;");
        device.deviceNameString = OLESTR("Hall");
        device.address2String = OLESTR("10.0.0.7:80");
        device.extDeviceIdString = OLESTR("ext 1");
        device.hostNameString = OLESTR("hall.example");
        device.isNetwork = true;
        device.locationString = ToWide("K\xC3\xB6ln").c_str();
        device.macAddressString = OLESTR("02-00-00-00-00-07");
        device.mdlString = OLESTR("TARN 110");
        device.pidString = OLESTR("0xFFFFFFFF");
        device.portNameString = OLESTR("QP_10.0.0.7");
        device.productNameString = OLESTR("TARN 110 Scan");
        device.scannerPortString = OLESTR("USBSCAN1");
        device.serialNumberString = OLESTR("SN1");
        device.scannerPortPresents = true;
        device.systemDeviceNameString = OLESTR("qlscan0");
        device.userLocationPresents = true;
        device.userLocationString = OLESTR("Desk");
        device.mfgString = OLESTR("Quellon");
        device.vidString = OLESTR("1a2b");
        return device;
    }

    static Values Registry(const WCHAR* path = genericKey)
    {
        Values values;
        HKEY key = nullptr;
        if (::RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
            return values;
        for (const char* name : valueNames)
        {
            WCHAR data[6000] = {};
            DWORD size = sizeof(data) - sizeof(WCHAR);
            DWORD type = 0;
            if (::RegQueryValueExW(key, ToWide(name).c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data), &size) !=
                0)
                continue;
            DWORD number = 0;
            std::copy_n(reinterpret_cast<const char*>(data), sizeof(number), reinterpret_cast<char*>(&number));
            values[name] = type == REG_DWORD ? "#" + std::to_string(number) : type == REG_SZ ? ToUtf8(data) : "?";
        }
        ::RegCloseKey(key);
        return values;
    }
    static void SetNumber(const WCHAR* name, DWORD number)
    {
        HKEY key = nullptr;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, genericKey, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        ::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
        ::RegCloseKey(key);
    }

    static constexpr const char* valueNames[] = {
        "Address",  "Address2",   "Changed",      "Comment",     "ConnectionType",
        "DeviceID", "DeviceName", "DeviceSelect", "ExtDeviceID", "HostName",
        "Location", "MACAddress", "MDL",          "MFG",         "Online",
        "PID",      "PortName",   "ProductName",  "Serial",      "SystemDeviceName",
        "UI_Mode",  "VID",        "savedAt"};

    const test::PrivateRegistry m_registry;
    Wide m_config;
    Wide m_deviceXml;
};

constexpr const char* networkLog =
    "addressString: 10.0.0.7\r\naddress2String: 10.0.0.7:80\r\ncommentPresents: 1\r\ncommentString: 2nd floor\r\n"
    "connectionTypeDWORD: 1\r\ndeviceIdString: MFG:Quellon;MDL:TARN 110;\r\ndeviceNameString: Hall\r\n"
    "deviceSelectDWORD: 0\r\nextDeviceIdString: ext 1\r\nhostNameString: hall.example\r\nlocationString: Desk\r\n"
    "macAddressString: 02-00-00-00-00-07\r\nmdlString: TARN 110\r\nmfgString: Quellon\r\n"
    "pidDWORD: 4294967295 (0xffffffff)\r\nportNameString: QP_10.0.0.7\r\nproductNameString: TARN 110 Scan\r\n"
    "serialNumberString: SN1\r\nsystemDeviceNameString: qlscan0\r\nuiMode: 1\r\nuserLocationPresents 1\r\n"
    "userLocationString Desk\r\nvidDWORD: 6699 (0x1a2b)\r\n";

constexpr const char* networkConfig =
    "[IO]\r\nAddress=10.0.0.7\r\nAddress2=10.0.0.7:80\r\nComment=2nd floor\r\nConnectionType=1\r\n"
    "DeviceID=MFG:Quellon;MDL:TARN 110;\r\nDeviceName=Hall\r\nDeviceSelect=0\r\nExtDeviceID=ext 1\r\n"
    "HostName=hall.example\r\nLocation=K\xC3\xB6ln\r\nMACAddress=02-00-00-00-00-07\r\nMDL=TARN 110\r\nMFG=Quellon\r\n"
    "PID=-1\r\nPortName=QP_10.0.0.7\r\nProductName=TARN 110 Scan\r\nSerial=SN1\r\nSystemDeviceName=qlscan0\r\n"
    "VID=6699\r\n";

TEST_F(StoredDevice, NetworkDeviceOfOneModel)
{
    SetNumber(OLESTR("UI_Mode"), 7); // of another product: to stay
    test::DebugConsoleCapture console;
    EXPECT_TRUE(StoreDeviceListAndUpdateIcc(
        Options("", "[Settings]\r\nProductName=TARN Scan\r\nModelName=TARN\r\nPropertiesUI=1\r\n"), NetworkDevice()));
    const std::string log = console.Text();
    const std::size_t lines = log.find(networkLog);
    ASSERT_NE(std::string::npos, lines) << log;
    EXPECT_LT(lines, log.find("Hueward not found at expected location \"")) << log;
    EXPECT_LT(log.find("\\Hueward.exe\".\r\n"), log.find("keyOpenResult")) << log; // the updater first
    EXPECT_EQ("keyOpenResult ", ReportedExpressions(console));

    Values values = Registry(OLESTR("Software\\QLScan\\TARN Scan"));
    std::string savedAt = values["savedAt"];
    for (char& character : savedAt)
        character = character >= '0' && character <= '9' ? '9' : character;
    EXPECT_EQ("9999/99/99 99:99:99.999", savedAt);
    values.erase("savedAt");
    EXPECT_EQ(
        (Values{
            {"Address", "10.0.0.7"},
            {"Comment", "2nd floor"},
            {"ConnectionType", "#1"},
            {"DeviceID", "MFG:Quellon;MDL:TARN 110;"},
            {"DeviceName", "Hall"},
            {"DeviceSelect", "#0"},
            {"ExtDeviceID", "ext 1"},
            {"HostName", "hall.example"},
            {"Location", "Desk"},
            {"MACAddress", "02-00-00-00-00-07"},
            {"MDL", "TARN 110"},
            {"MFG", "Quellon"},
            {"PID", "#4294967295"},
            {"PortName", "QP_10.0.0.7"},
            {"ProductName", "TARN 110 Scan"},
            {"Serial", "SN1"},
            {"SystemDeviceName", "qlscan0"},
            {"UI_Mode", "#1"},
            {"VID", "#6699"}}),
        values);
    EXPECT_EQ((Values{{"UI_Mode", "#7"}}), Registry());
    EXPECT_TRUE(test::FileExists(m_deviceXml));
    EXPECT_FALSE(test::FileExists(m_config));
}

TEST_F(StoredDevice, DerivedValues)
{
    const char* const withProperties =
        "[Settings]\r\nProductName=Quellon Generic Scan Driver\r\nModelName=A\r\nPropertiesUI=2\r\n";
    const struct
    {
        const char* name;
        const char* settings;
        void (*change)(XmlParsedDeviceList&);
        Values expected;
    } rows[] = {
        {"local with scanner port",
         "",
         [](auto& device) { device.isNetwork = false; },
         {{"ConnectionType", "#0"}, {"DeviceSelect", "#4"}, {"Location", "K\xC3\xB6ln"}}},
        {"local without",
         "",
         [](auto& device) { device.isNetwork = device.scannerPortPresents = false; },
         {{"ConnectionType", "#0"}, {"DeviceSelect", "#2"}, {"UI_Mode", "#1"}}},
        {"ids",
         "",
         [](auto& device) { device.pidString = OLESTR("xyz"), device.vidString = _bstr_t(); },
         {{"PID", "#0"}, {"VID", "#0"}}},
        {"null texts",
         "",
         [](auto& device) { device = XmlParsedDeviceList(); },
         {{"Address", ""}, {"Serial", ""}, {"DeviceSelect", "#2"}}},
        {"no user location",
         withProperties,
         [](auto& device) { device.userLocationPresents = false; },
         {{"Location", "K\xC3\xB6ln"}}},
        {"empty user location",
         withProperties,
         [](auto& device) { device.userLocationString = OLESTR(""); },
         {{"Location", ""}}},
        {"long text",
         "",
         [](auto& device) { device.commentString = WideText(500, 'c').c_str(); },
         {{"Comment", std::string(500, 'c')}}},
    };
    // What an earlier device left behind stays where this one has nothing to say.
    for (const WCHAR* name : {OLESTR("Address2"), OLESTR("Online"), OLESTR("Changed"), OLESTR("UI_Mode")})
        SetNumber(name, 5);
    for (const auto& [name, settings, change, expected] : rows)
    {
        SCOPED_TRACE(name);
        XmlParsedDeviceList device = NetworkDevice();
        change(device);
        test::DebugConsoleCapture console;
        EXPECT_TRUE(StoreDeviceListAndUpdateIcc(
            Options("/MODE 0 /D TARN /M \"Quellon Generic Scan Driver\"", settings), device));
        EXPECT_EQ(device.userLocationPresents, console.Text().find("userLocationString ") != std::string::npos);
        Values values = Registry();
        for (const auto& [value, text] : expected)
            EXPECT_EQ(text, values[value]) << value;
        for (const char* kept : {"Address2", "Online", "Changed"})
            EXPECT_EQ("#5", values[kept]) << kept;
        EXPECT_EQ("#1", values["UI_Mode"]);
    }
}

TEST_F(StoredDevice, ConfigIni)
{
    EXPECT_TRUE(StoreDeviceListAndUpdateIcc(Options("/MODE 1"), NetworkDevice()));
    EXPECT_EQ("\xFF\xFE" + test::Utf16Bytes(ToWide(networkConfig)), test::ReadFileBytes(m_config));
    EXPECT_EQ(20U, Registry().size());

    // An existing file keeps its encoding and all that is not of the device.
    test::WriteFileBytes(m_config, "[Scan]\r\nMode=2\r\n[IO]\r\nTimeout=9\r\naddress=old\r\n");
    XmlParsedDeviceList local = NetworkDevice();
    local.isNetwork = false;
    local.commentString = _bstr_t();
    EXPECT_TRUE(StoreDeviceListAndUpdateIcc(Options("/MODE 1"), local));
    const std::string rest = std::string(networkConfig).substr(std::string_view("[IO]\r\nAddress=10.0.0.7\r\n").size());
    std::string expected = "[Scan]\r\nMode=2\r\n[IO]\r\nTimeout=9\r\naddress=10.0.0.7\r\n" + rest;
    const auto replace = [&expected](std::string_view from, std::string_view to) {
        expected.replace(expected.find(from), from.size(), to);
    };
    replace("Comment=2nd floor", "Comment=");
    replace("ConnectionType=1", "ConnectionType=0");
    replace("DeviceSelect=0", "DeviceSelect=4");
    replace("K\xC3\xB6ln", NarrowFromWide(ToWide("K\xC3\xB6ln")));
    EXPECT_EQ(expected, test::ReadFileBytes(m_config));
}

TEST_F(StoredDevice, WhatCannotBeWritten)
{
    // A product name that no key can have: nothing is written.
    test::DebugConsoleCapture console;
    EXPECT_FALSE(StoreDeviceListAndUpdateIcc(Options("/M " + std::string(300, 'p')), NetworkDevice()));
    EXPECT_EQ("keyOpenResult createKeyResult twainStorage.IsValid() ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("\r\nContext: prerequisite check \r\n")) << console.Text();
    EXPECT_NE(std::string::npos, console.Text().find("StoreDeviceListAndUpdateIcc")) << console.Text();
    EXPECT_FALSE(test::FileExists(m_deviceXml) || test::FileExists(m_config));

    // Neither a device.xml that cannot be saved nor a Config.ini that cannot be changed stops the rest.
    ::CreateDirectoryW(m_deviceXml.c_str(), nullptr);
    test::WriteFileBytes(m_config, "[IO]\r\nAddress=old\r\n");
    test::SetReadOnly(m_config, true);
    console.Clear();
    EXPECT_TRUE(StoreDeviceListAndUpdateIcc(Options(""), NetworkDevice()));
    EXPECT_EQ("keyOpenResult exportResult ", ReportedExpressions(console));
    EXPECT_EQ(20U, Registry().size());
    EXPECT_EQ("[IO]\r\nAddress=old\r\n", test::ReadFileBytes(m_config));
}

TEST_F(StoredDevice, Updater)
{
    // A file that is no program: the start is tried, and refused.
    const Wide updater = LocationOfModuleFile(OLESTR("Hueward.exe")).Text();
    test::WriteFileBytes(updater, "no program");
    for (const std::size_t length : {0U, 1016U, 1017U, 5000U})
    {
        XmlParsedDeviceList device = NetworkDevice();
        device.productNameString = WideText(length, 'n').c_str();
        const std::string quoted = ("\"\"\"" + std::string(length, 'n') + "\"\"\"").substr(0, 1022);
        test::DebugConsoleCapture console;
        EXPECT_TRUE(StoreDeviceListAndUpdateIcc(Options(""), device));
        const std::string log = console.Text();
        EXPECT_NE(std::string::npos, log.find("triple-quoted name " + quoted + "\r\n")) << log;
        EXPECT_NE(std::string::npos, log.find(" with argument \"" + quoted + "\" in working directory \"")) << log;
        EXPECT_LT(log.find("Expression  result  failed!"), log.find("Hueward failed.\r\n")) << log;
        EXPECT_EQ(20U, Registry().size());
    }
    ::DeleteFileW(updater.c_str());
}

} // namespace
} // namespace scankelv
