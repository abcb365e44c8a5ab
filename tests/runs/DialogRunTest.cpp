// Whole runs: what the library was asked, and everything that was stored.
#include "Installation.h"

namespace
{

using namespace test;

const Wide genericKey = OLESTR("Software\\QLScan\\Quellon Generic Scan Driver");
const Wide driverKey = OLESTR("Software\\QLScan\\Run Driver");

struct DialogRun
{
    const char* name;
    const char* settings; // null: no ScanKELV.ini
    const char* arguments;
    const char* asked;  // pieces of the library's record
    const char* values; // of the registry
    const char* deviceXml;
    const char* configIni; // null: there is none afterwards
    const char* updaterArgument;
};

const DialogRun dialogRuns[] = {
    {"NetworkDeviceOfTheGenericDriver", nullptr, "/L de",
     "GetDeviceList_LCode\n  zero = 0\n  languageCode = de\n  filterText = <?xml version=\"1.0\"|"
     "<xmldevicepath>ScanKELV-Quellon Generic Scan Driver</xmldevicepath>|<dialogmode>5</dialogmode>|"
     "  HandleEvent(ADDBTN.onclick) -> 6, out 1\n  HandleEvent(other) -> 0, out 0\n|"
     "  CheckDevice(Other) -> 0\n  CheckDevice(Weir) -> 1\n  CheckDevice(Brook) -> 1\n  chosen = Weir\n"
     "  resultCode = 1\n|FreeDeviceList\n  released\n  returns 0\n",
     "Address=192.0.2.41|Comment=front desk|ConnectionType=#1|DeviceName=Weir|DeviceSelect=#0|ExtDeviceID=WC40|"
     "DeviceID=MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;|HostName=qlweir|"
     "Location=Büro 3 – 会議室 🖨|MACAddress=00-00-5E-00-53-41|MDL=Weir C40 Series|MFG=Quellon|PID=#7232|"
     "PortName=IP_41|ProductName=Quellon Weir C40 Series|Serial=WC40-77|SystemDeviceName=\\\\?\\ROOT#1|UI_Mode=#1|"
     "VID=#4294967295|Address2=(none)|Online=#1|Other=kept",
     "<devicelist version=\"1.0.2\"><device>"
     "<Address>192.0.2.41</Address><Comment>front desk</Comment><ConnectionType>Network</ConnectionType>"
     "<DeviceID>MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;</DeviceID><DeviceName>Weir</DeviceName>"
     "<DeviceSelect>192.0.2.41</DeviceSelect><ExtDeviceID>WC40</ExtDeviceID><HostName>qlweir</HostName>"
     "<Location>Büro 3 – 会議室 🖨</Location><MACAddress>00-00-5E-00-53-41</MACAddress><MDL>Weir C40 "
     "Series</MDL>"
     "<MFG>Quellon</MFG><PID>0x1c40</PID><PortName>IP_41</PortName><ProductName>Quellon Weir C40 Series</ProductName>"
     "<Serial>WC40-77</Serial><SystemDeviceName>\\\\?\\ROOT#1</SystemDeviceName><UI_Mode>1</UI_Mode>"
     "<VID>FFFFFFFF</VID></device></devicelist>",
     "[IO]\r\nAddress=192.0.2.41\r\nAddress2=192.0.2.41\r\nComment=front desk\r\nConnectionType=1\r\n"
     "DeviceID=MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;\r\nDeviceName=Weir\r\nDeviceSelect=0\r\n"
     "ExtDeviceID=WC40\r\nHostName=qlweir\r\nLocation=Büro 3 – 会議室 🖨\r\nMACAddress=00-00-5E-00-53-41\r\n"
     "MDL=Weir C40 Series\r\nMFG=Quellon\r\nPID=7232\r\nPortName=IP_41\r\nProductName=Quellon Weir C40 Series\r\n"
     "Serial=WC40-77\r\nSystemDeviceName=\\\\?\\ROOT#1\r\nVID=-1\r\n",
     "Quellon Weir C40 Series"},
    {"LocalDeviceWithScannerPortOfASingleModel",
     "ProductName=Run Driver\r\nModelName=Quellon Brooklet 130 Series MFP\r\nCurrentDeviceFeature=0", "",
     "  languageCode = (null)\n|  CheckDevice(Weir) -> 0\n  CheckDevice(Brook) -> 1\n  chosen = Brook\n",
     "Address=USBSCAN7|Comment=|ConnectionType=#0|DeviceSelect=#4|HostName=|MACAddress=|PID=#304|PortName=USB002|"
     "Serial=|UI_Mode=#1|VID=#3869|Address2=(none)|Other=kept",
     "<devicelist version=\"1.0.2\"><device>"
     "<Address>USBSCAN7</Address><Comment></Comment><ConnectionType>Local</ConnectionType>"
     "<DeviceID>MFG:Quellon;MDL:Brooklet 130 Series;CMD:GDI; MODE:PRN, SCN</DeviceID><DeviceName>Brook</DeviceName>"
     "<DeviceSelect>USB002</DeviceSelect><ExtDeviceID></ExtDeviceID><HostName></HostName><Location></Location>"
     "<MACAddress></MACAddress><MDL>Brooklet 130 Series</MDL><MFG>Quellon</MFG><PID>0130</PID>"
     "<PortName>USB002</PortName><ProductName>Quellon Brooklet 130 Series</ProductName><Serial></Serial>"
     "<SystemDeviceName></SystemDeviceName><UI_Mode>1</UI_Mode><VID>f1d</VID></device></devicelist>",
     nullptr, "Quellon Brooklet 130 Series"},
    {"LocationOfTheUserAndAQueryWithoutDialog", "ProductName=Run Driver\r\nModelName=Weir C40 Series\r\nPropertiesUI=1",
     "/H 0123456789012345678901234567890123456789012345678901234567890123456789",
     "GetDeviceInformation\n  hiddenUiArgument = 012345678901234567890123456789012345678901234567890123456789012\n"
     "  community = LANTERN\n",
     "Location=Empfang|Address=192.0.2.41", "<Location>Büro 3 – 会議室 🖨</Location>", nullptr,
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
    installation.Behave(*run.arguments == '/' && run.arguments[1] == 'H' ? "name Weir" : "accepted");
    const Wide key = run.settings == nullptr ? genericKey : driverKey;
    StoreText(HKEY_CURRENT_USER, key, OLESTR("Other"), OLESTR("kept"));
    StoreNumber(HKEY_CURRENT_USER, key, OLESTR("Online"), 1);

    const ProgramResult result = installation.Run(run.arguments);

    EXPECT_EQ(0U, result.exitCode) << result.debugConsole;
    ExpectAsked(installation.Asked(), run.asked);
    ExpectStored(key, run.values);
    std::string time = Stored(key, "savedAt");
    std::ranges::replace_if(
        time, [](char c) { return c >= '0' && c <= '9'; }, '0');
    EXPECT_EQ("0000/00/00 00:00:00.000", time);

    const std::string saved = ReadFileBytes(deviceXml);
    const Wide declaration = OLESTR("<?xml version=\"1.0\" encoding=\"UTF-16\"?>");
    EXPECT_TRUE(saved.starts_with("\xFF\xFE" + Utf16Bytes(declaration)));
    EXPECT_NE(std::string::npos, saved.find(Utf16Bytes(ToWide(run.deviceXml))));
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
    installation.Behave("name Brook");
    ASSERT_EQ(0U, installation.Run().exitCode);
    ExpectAsked(
        installation.Asked(), "<devicelist version=\"1.0.1\">|<ipaddress>192.0.2.41</ipaddress>|<pid>0x1c40</pid>|"
                              "<vid>0xffffffff</vid>|<userlocation>Büro 3 – 会議室 🖨</userlocation>");
    ExpectStored(genericKey, "Address=USBSCAN7|Comment=");
    for (const WCHAR* const file : {deviceXml, wiaStorage})
        EXPECT_EQ(std::string::npos, ReadFileBytes(file).find(Utf16Bytes(OLESTR("front desk"))));
}

TEST(ReadOnlyConfigIni, IsLeftAsItWasAndTheRestIsStored)
{
    const Installation installation;
    ASSERT_EQ(0U, installation.Run().exitCode);
    const std::string before = ReadFileBytes(wiaStorage);
    SetReadOnly(wiaStorage, true);
    installation.Behave("name Brook");
    EXPECT_EQ(0U, installation.Run().exitCode);
    SetReadOnly(wiaStorage, false);
    EXPECT_EQ(before, ReadFileBytes(wiaStorage));
    ExpectStored(genericKey, "Address=USBSCAN7");
}

TEST(DeviceListMode, StoresTheDefaultRecordAndMergesAll)
{
    const Installation installation;
    installation.Settings("ProductName=Run Driver\r\nModelName=None");
    for (const DWORD number : {0U, 1U})
    {
        const Wide path = Wide(recordKeys) + OLESTR("\\Printer00") + (number == 0 ? OLESTR("0") : OLESTR("1"));
        const WCHAR* const address = number == 0 ? OLESTR("192.0.2.1") : OLESTR("2001:db8::1");
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("Address"), address);
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("HostName"), OLESTR("host"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MDL"), OLESTR("Weir C40"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MFG"), OLESTR("Quellon"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("PortName"), OLESTR("USB001"));
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("ConnectionType"), 1 - number);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("PID"), 26);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("Default"), number);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("IPv6"), number);
    }
    const ProgramResult result = installation.Run("/devicelist " + ToUtf8(recordKeys));
    EXPECT_EQ(0U, result.exitCode) << result.debugConsole;
    ExpectStored(
        driverKey,
        "Address=2001:db8::1|DeviceName=Weir C40|DeviceSelect=#4|ConnectionType=#0|HostName=host|PortName=USB001|"
        "ProductName=Quellon Weir C40|PID=#26|Serial=");
    ExpectAsked(installation.Asked(), "MergeDevicelistXML\n|<ipaddress>192.0.2.1</ipaddress>");
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
