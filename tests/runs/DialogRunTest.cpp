// Whole runs: what the library was asked, and everything that was stored.
#include "Installation.h"

#include <regex>

namespace
{

using namespace test;

struct StoredValue
{
    const char* name;
    const char* value;
};

struct DialogRun
{
    const char* name;
    const char* settings; // null: no ScanKELV.ini
    const char* arguments;
    const char* choice;
    const char* product; // the last part of the TWAIN storage's key
    std::initializer_list<const char*> asked;
    std::initializer_list<StoredValue> values; // of the registry
    const char* deviceXml;
    const char* configIni; // null: there is none afterwards
    const char* updaterArgument;
};

const DialogRun dialogRuns[] = {
    {"NetworkDeviceOfTheGenericDriver",
     nullptr,
     "/L de",
     "accepted",
     "Quellon Generic Scan Driver",
     {"GetDeviceList_LCode\n  zero = 0\n  languageCode = de\n  filterText = <?xml version=\"1.0\"",
      "<xmldevicepath>ScanKELV-Quellon Generic Scan Driver</xmldevicepath>", "<dialogmode>5</dialogmode>",
      "  HandleEvent(ADDBTN.onclick) -> 6, out 1\n  HandleEvent(other) -> 0, out 0\n",
      "  CheckDevice(Other) -> 0\n  CheckDevice(Weir) -> 1\n  CheckDevice(Brook) -> 1\n  chosen = Weir\n"
      "  resultCode = 1\n",
      "FreeDeviceList\n  released\n  returns 0\n"},
     {{"Address", "192.0.2.41"},
      {"Comment", "front desk"},
      {"ConnectionType", "#1"},
      {"DeviceID", "MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;"},
      {"DeviceName", "Weir"},
      {"DeviceSelect", "#0"},
      {"ExtDeviceID", "WC40"},
      {"HostName", "qlweir"},
      {"Location", "Büro 3 – 会議室 🖨"},
      {"MACAddress", "00-00-5E-00-53-41"},
      {"MDL", "Weir C40 Series"},
      {"MFG", "Quellon"},
      {"PID", "#7232"},
      {"PortName", "IP_41"},
      {"ProductName", "Quellon Weir C40 Series"},
      {"Serial", "WC40-77"},
      {"SystemDeviceName", "\\\\?\\ROOT#1"},
      {"UI_Mode", "#1"},
      {"VID", "#4294967295"},
      {"Address2", "(none)"},
      {"Online", "#1"},
      {"Other", "kept"}},
     "<Address>192.0.2.41</Address><Comment>front desk</Comment><ConnectionType>Network</ConnectionType>"
     "<DeviceID>MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;</DeviceID><DeviceName>Weir</DeviceName>"
     "<DeviceSelect>192.0.2.41</DeviceSelect><ExtDeviceID>WC40</ExtDeviceID><HostName>qlweir</HostName>"
     "<Location>Büro 3 – 会議室 🖨</Location><MACAddress>00-00-5E-00-53-41</MACAddress><MDL>Weir C40 "
     "Series</MDL>"
     "<MFG>Quellon</MFG><PID>0x1c40</PID><PortName>IP_41</PortName><ProductName>Quellon Weir C40 Series</ProductName>"
     "<Serial>WC40-77</Serial><SystemDeviceName>\\\\?\\ROOT#1</SystemDeviceName><UI_Mode>1</UI_Mode>"
     "<VID>FFFFFFFF</VID>",
     "[IO]\r\nAddress=192.0.2.41\r\nAddress2=192.0.2.41\r\nComment=front desk\r\nConnectionType=1\r\n"
     "DeviceID=MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;\r\nDeviceName=Weir\r\nDeviceSelect=0\r\n"
     "ExtDeviceID=WC40\r\nHostName=qlweir\r\nLocation=Büro 3 – 会議室 🖨\r\nMACAddress=00-00-5E-00-53-41\r\n"
     "MDL=Weir C40 Series\r\nMFG=Quellon\r\nPID=7232\r\nPortName=IP_41\r\nProductName=Quellon Weir C40 Series\r\n"
     "Serial=WC40-77\r\nSystemDeviceName=\\\\?\\ROOT#1\r\nVID=-1\r\n",
     "Quellon Weir C40 Series"},
    {"LocalDeviceWithScannerPortOfASingleModel",
     "ProductName=Run Driver\r\nModelName=Quellon Brooklet 130 Series MFP\r\nCurrentDeviceFeature=0",
     "",
     "accepted",
     "Run Driver",
     {"  languageCode = (null)\n", "  CheckDevice(Weir) -> 0\n  CheckDevice(Brook) -> 1\n  chosen = Brook\n"},
     {{"Address", "USBSCAN7"},
      {"Comment", ""},
      {"ConnectionType", "#0"},
      {"DeviceSelect", "#4"},
      {"HostName", ""},
      {"MACAddress", ""},
      {"PID", "#304"},
      {"PortName", "USB002"},
      {"Serial", ""},
      {"UI_Mode", "#1"},
      {"VID", "#3869"},
      {"Address2", "(none)"}},
     "<Address>USBSCAN7</Address><Comment></Comment><ConnectionType>Local</ConnectionType>"
     "<DeviceID>MFG:Quellon;MDL:Brooklet 130 Series;CMD:GDI; MODE:PRN, SCN</DeviceID><DeviceName>Brook</DeviceName>"
     "<DeviceSelect>USB002</DeviceSelect><ExtDeviceID></ExtDeviceID><HostName></HostName><Location></Location>"
     "<MACAddress></MACAddress><MDL>Brooklet 130 Series</MDL><MFG>Quellon</MFG><PID>0130</PID>"
     "<PortName>USB002</PortName><ProductName>Quellon Brooklet 130 Series</ProductName><Serial></Serial>"
     "<SystemDeviceName></SystemDeviceName><UI_Mode>1</UI_Mode><VID>f1d</VID>",
     nullptr,
     "Quellon Brooklet 130 Series"},
    {"LocationOfTheUserAndAPromptlessQuery",
     "ProductName=Run Driver\r\nModelName=Weir C40 Series\r\nPropertiesUI=1",
     "/H 0123456789012345678901234567890123456789012345678901234567890123456789",
     "name Weir",
     "Run Driver",
     {"GetDeviceInformation\n  hiddenUiArgument = 012345678901234567890123456789012345678901234567890123456789012\n"
      "  community = LANTERN\n"},
     {{"Location", "Empfang"}, {"Address", "192.0.2.41"}},
     nullptr,
     nullptr,
     "Quellon Weir C40 Series"},
};

class DialogRunTest : public testing::TestWithParam<DialogRun>
{
};

TEST_P(DialogRunTest, StoresTheDevice)
{
    const DialogRun& run = GetParam();
    const Installation installation;
    if (run.settings != nullptr)
        installation.Settings(run.settings);
    installation.Behave(run.choice, "");
    const Wide key = Wide(twainKeys) + OLESTR("\\") + ToWide(run.product);
    StoreText(HKEY_CURRENT_USER, key, OLESTR("Other"), OLESTR("kept"));
    StoreNumber(HKEY_CURRENT_USER, key, OLESTR("Online"), 1);

    const ProgramResult result = installation.Run(run.arguments);

    EXPECT_EQ(0U, result.exitCode) << result.debugConsole;
    const std::string asked = installation.Asked();
    for (const char* const part : run.asked)
        EXPECT_NE(std::string::npos, asked.find(part)) << part << "\nin:\n" << asked;
    for (const auto& [name, value] : run.values)
        EXPECT_EQ(value, Stored(key, name)) << name;
    EXPECT_TRUE(
        std::regex_match(Stored(key, "savedAt"), std::regex("\\d{4}/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}")));

    if (run.deviceXml != nullptr)
    {
        const std::string bytes = ReadFileBytes(deviceXml);
        const std::string content =
            "<devicelist version=\"1.0.2\"><device>" + std::string(run.deviceXml) + "</device></devicelist>";
        EXPECT_TRUE(bytes.starts_with("\xFF\xFE"));
        EXPECT_EQ(0U, bytes.find(Utf16Bytes(OLESTR("<?xml version=\"1.0\" encoding=\"UTF-16\"?>"))) - 2);
        EXPECT_NE(std::string::npos, bytes.find(Utf16Bytes(ToWide(content))));
    }
    if (run.configIni != nullptr)
        EXPECT_EQ("\xFF\xFE" + Utf16Bytes(ToWide(run.configIni)), ReadFileBytes(wiaStorage));
    else
        EXPECT_FALSE(FileExists(wiaStorage));

    const Wide updaterRecord = installation.File("Hueward.log");
    ASSERT_TRUE(Eventually([&] { return FileExists(updaterRecord) && ReadFileBytes(updaterRecord).ends_with('\n'); }));
    EXPECT_EQ(
        "\"" + ToUtf8(installation.File("Hueward.exe")) + "\" \"\"\"" + run.updaterArgument + "\"\"\"\n",
        ReadFileBytes(updaterRecord));
}

INSTANTIATE_TEST_SUITE_P(Runs, DialogRunTest, testing::ValuesIn(dialogRuns), [](const auto& run) {
    return std::string(run.param.name);
});

TEST(SecondDialogRun, ReplacesTheFirstAndTellsTheLibraryOfIt)
{
    const Installation installation;
    ASSERT_EQ(0U, installation.Run().exitCode);
    const std::string before = ReadFileBytes(wiaStorage);
    installation.Behave("name Brook", "");
    ASSERT_EQ(0U, installation.Run().exitCode);

    const std::string asked = installation.Asked();
    for (const char* const part :
         {"<devicelist version=\"1.0.1\">", "<ipaddress>192.0.2.41</ipaddress>", "<pid>0x1c40</pid>",
          "<vid>0xffffffff</vid>", "<userlocation>Büro 3 – 会議室 🖨</userlocation>"})
        EXPECT_NE(std::string::npos, asked.find(part)) << part << "\nin:\n" << asked;
    const Wide key = Wide(twainKeys) + OLESTR("\\Quellon Generic Scan Driver");
    EXPECT_EQ("USBSCAN7", Stored(key, "Address"));
    EXPECT_EQ("", Stored(key, "Comment"));
    EXPECT_EQ(std::string::npos, ReadFileBytes(deviceXml).find(Utf16Bytes(OLESTR("front desk"))));
    EXPECT_NE(before, ReadFileBytes(wiaStorage));
}

TEST(ReadOnlyConfigIni, IsLeftAsItWasAndTheRestIsStored)
{
    const Installation installation;
    ASSERT_EQ(0U, installation.Run().exitCode);
    const std::string before = ReadFileBytes(wiaStorage);
    SetReadOnly(wiaStorage, true);
    installation.Behave("name Brook", "");
    EXPECT_EQ(0U, installation.Run().exitCode);
    SetReadOnly(wiaStorage, false);
    EXPECT_EQ(before, ReadFileBytes(wiaStorage));
    EXPECT_EQ("USBSCAN7", Stored(Wide(twainKeys) + OLESTR("\\Quellon Generic Scan Driver"), "Address"));
}

TEST(DeviceListMode, StoresTheDefaultRecordAndMergesAll)
{
    const Installation installation;
    installation.Settings("ProductName=Run Driver\r\nModelName=None");
    const struct
    {
        const WCHAR* number;
        const WCHAR* address;
        DWORD isDefault;
        DWORD ipv6;
    } records[] = {{OLESTR("000"), OLESTR("192.0.2.1"), 0, 0}, {OLESTR("001"), OLESTR("2001:db8::1"), 1, 1}};
    for (const auto& [number, address, isDefault, ipv6] : records)
    {
        const Wide path = Wide(recordKeys) + OLESTR("\\Printer") + number;
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("Address"), address);
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("HostName"), OLESTR("host"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MDL"), OLESTR("Weir C40"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MFG"), OLESTR("Quellon"));
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("ConnectionType"), 1);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("PID"), 26);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("Default"), isDefault);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("IPv6"), ipv6);
    }
    const ProgramResult result = installation.Run("/devicelist " + ToUtf8(recordKeys));
    EXPECT_EQ(0U, result.exitCode) << result.debugConsole;
    const Wide key = Wide(twainKeys) + OLESTR("\\Run Driver");
    for (const auto& [name, value] : std::initializer_list<StoredValue>{
             {"Address", "2001:db8::1"},
             {"DeviceName", "Weir C40"},
             {"DeviceSelect", "#0"},
             {"ConnectionType", "#1"},
             {"HostName", "host"},
             {"PortName", "2001:db8::1"},
             {"ProductName", "Quellon Weir C40"},
             {"PID", "#26"},
             {"Serial", ""}})
        EXPECT_EQ(value, Stored(key, name)) << name;
    const std::string asked = installation.Asked();
    EXPECT_TRUE(asked.starts_with("MergeDevicelistXML\n")) << asked;
    EXPECT_NE(std::string::npos, asked.find("<ipaddress>192.0.2.1</ipaddress>"));
}

TEST(LogFile, TakesTheWholeRunAndThenTheNextOne)
{
    const Installation installation;
    WriteFileBytes(installation.DebugIni(), "[Modules]\r\nAgent=2\r\nKELVClient=2\r\n[Format]\r\nShowModule=1\r\n");
    installation.Settings("ProductName=Run Driver\r\nModelName=None");
    for (int run = 1; run <= 2; ++run)
        EXPECT_EQ(1U, installation.Run().exitCode);
    const std::string log = ReadFileBytes(installation.LogFile());
    EXPECT_TRUE(log.starts_with("KELVClient: \r\n---\r\n\r\nKELVClient: ScanKELV version 1.01.39\r\n")) << log;
    EXPECT_TRUE(log.ends_with("KELVClient: KELV port configuration not done.\r\nKELVClient: \r\n\r\n")) << log;
    EXPECT_NE(log.find("\r\n---\r\n"), log.rfind("\r\n---\r\n"));
}

} // namespace
