// The kinds of run: what the library is asked, what is stored, and how each of them fails.
#include "RunFixture.h"

using namespace test;
using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::Not;

TEST_F(AgentRun, StoresWhatTheUserChoseInTheDialog)
{
    EXPECT_EQ(0, Run(L"/L de"));
    EXPECT_EQ("GetDeviceList_LCode\nFreeDeviceList\n", Calls());
    EXPECT_THAT(LibraryLog(), HasSubstr("  zero = 0\n  languageCode = de\n  filterText = <?xml "));
    EXPECT_THAT(LibraryLog(), HasSubstr("  Query(0) -> 0\n  HandleEvent(dialog.onload) -> 0, out 0\n"));
    EXPECT_THAT(LibraryLog(), HasSubstr(" -> 6, out 1\n  CheckDevice(Harrowgate HG 2210dw) -> 0\n"));
    EXPECT_THAT(LibraryLog(), HasSubstr("  CheckDevice(Quellon Weir C40) -> 1\n"));
    EXPECT_EQ(
        "Quellon Weir C40, Büro 3 – Étage 2 – 会議室 🖨",
        Stored(L"DeviceName") + ", " + Stored(L"Location"));
    EXPECT_THAT(Log(), EndsWith("\nHueward finished normally.\nKELV port configuration done.\n\n\n"));
}

TEST_F(AgentRun, OfTheGenericDriverReplacesAnOlderDevice)
{
    UseGenericDriver();
    Store(
        HKEY_LOCAL_MACHINE, m_key,
        "Address=a\nComment=b\nDeviceID=c\nDeviceName=d\nExtDeviceID=e\nHostName=f\nLocation=g\nMACAddress=h\nMDL=i\n"
        "MFG=j\nPortName=k\nProductName=l\nSerial=m\nSystemDeviceName=n\nConnectionType=#1\nPID=#26\nVID=#0\n");
    EXPECT_EQ(0, Run());
    EXPECT_THAT(LibraryLog(), HasSubstr("  languageCode = (null)\n"));
    EXPECT_THAT(
        WithoutLines(Log()),
        HasSubstr("<devicelist version=\"1.0.1\"><device><ipaddress>a</ipaddress><devicepath>a</devicepath><comment>b"
                  "</comment><iotype>Network</iotype><deviceid>c</deviceid><ext>e</ext><hostname>f</hostname><location>"
                  "g</location><userlocation>g</userlocation><macaddress>h</macaddress><modelname>i</modelname>"
                  "<devicename>d</devicename><vendor>j</vendor><pid>0x1a</pid><port>k</port><productname>l"
                  "</productname><serialnumber>m</serialnumber><systemdevicename>n</systemdevicename><vid>0x0</vid>"
                  "</device></devicelist></option>"));
    Override("<user><choice>name Quellon Brooklet 130</choice></user>");
    EXPECT_EQ(0, Run());
    EXPECT_THAT(LibraryLog(), HasSubstr("<devicepath>192.0.2.41</devicepath>")); // the older one
    EXPECT_THAT(StoredValues(), HasSubstr("\nDeviceSelect=#4\nExtDeviceID=B130\nHostName=\nLocation=Schreibtisch\n"));
    EXPECT_THAT(ConfigIni(), HasSubstr("\r\nAddress2=USB002\r\nComment=Schreibtisch „Müller“\r\nConnectionType=0\r\n"));
    EXPECT_THAT(ConfigIni(), Not(HasSubstr("Weir")));
}

TEST_F(AgentRun, StoresTheDefaultOfTheDeviceListEvenWithoutDeviceXmlAndUpdater)
{
    std::filesystem::create_directories(deviceXml); // in the place of the file
    ::DeleteFileW(File(L"Hueward.exe").c_str());
    Store(HKEY_LOCAL_MACHINE, L"Software\\QLScan\\Printer000", L"MDL", L"Other");
    Store(
        HKEY_LOCAL_MACHINE, L"Software\\QLScan\\Printer001",
        "Address=192.0.2.7\nConnectionType=#1\nDeviceID=MFG:Q;\nDeviceName=unused\nExtDeviceID=Ext\nHostName=host\n"
        "IPv6=#1\nLocation=Keller\nMACAddress=00-11\nMDL=Model\nMFG=Maker\nPID=#26\nPortName=unused\n"
        "SystemDeviceName=System\nVID=#3869\nDefault=#1\n");
    EXPECT_EQ(0, Run(L"/devicelist Software\\QLScan /More none /D M /VID 2"));
    EXPECT_THAT(
        WithoutLines(Log()),
        HasSubstr("<vid></vid></device><device><ipv6address>192.0.2.7</ipv6address><ipaddress>192.0.2.7</ipaddress>"
                  "<devicepath>host</devicepath><iotype>Network</iotype><deviceid>MFG:Q;</deviceid><devicename>unused"
                  "</devicename><ext>Ext</ext><hostname>host</hostname><location>Keller</location><macaddress>00-11"
                  "</macaddress><modelname>Model</modelname><drivername>Model</drivername><printername>Model"
                  "</printername><vendor>Maker</vendor><pid>0x1a</pid><port/><productname>Maker Model</productname>"
                  "<systemdevicename>System</systemdevicename><vid>0xf1d</vid></device></devicelist></option>"));
    EXPECT_EQ(
        "Address=192.0.2.7\nComment=\nConnectionType=#1\nDeviceID=MFG:Q;\nDeviceName=Model\nDeviceSelect=#0\n"
        "ExtDeviceID=Ext\nHostName=host\nLocation=Keller\nMACAddress=00-11\nMDL=Model\nMFG=Maker\nPID=#26\n"
        "PortName=192.0.2.7\nProductName=Maker Model\nSerial=\nSystemDeviceName=System\nUI_Mode=#1\nVID=#3869\n",
        StoredValues());
    EXPECT_THAT(
        Log(), AllOf(
                   HasSubstr("\nipv6DWORD: 1 (0x1)\n"), HasSubstr("\npidDWORD: 26 (0x1a)\npidString: 0x1a\n"),
                   HasSubstr("\ncommentPresents: 0\n"), HasSubstr("\nHueward not found at "),
                   HasSubstr("Expression  exportResult  failed!")));
}

struct WayCase
{
    const char* name;
    int exitCode;
    std::wstring arguments;
    const char *call, *gives; ///< the library's function and its result
    std::string asked, lastLine;
    const char* device = "absent"; ///< stored
    const wchar_t* library = L"bin/FindwellDlg.dll";
};
constexpr auto dialog = "GetDeviceList_LCode", hidden = "GetDeviceInformation", merge = "MergeDevicelistXML",
               properties = "ShowPropertiesUI", weir = "Quellon Weir C40", stored = "Hueward finished normally.";
constexpr auto smallest = L"tests/Smallest.dll", none = L"bin/FindwellDlg.xml";
const std::string h63 = " = " + std::string(63, 'h') + "\n  community = LANTERN\n";
const WayCase wayCases[] = {
    {"Properties", 0, L"/PROP /H x /More x", properties, "", "<properties>1</properties>", stored, weir},
    {"PropertiesFailed", 1, L"/PROP", properties, "<return>3</return>", "\n  zero = 0\n",
     "\nShowPropertiesUI failed!\n"},
    {"PropertiesNotOffered", 0, L"/PROP", "", "", "", stored, "Front desk", smallest},
    {"NoQuery", 0, L"/Q", "", "", "", "do not do Online testing\nskip UI due to needQueryAddress", "absent", smallest},
    {"DriverWithItsOwnDialog", 0, L"/U /MODE 1", "", "", "", "uiMode: 7\nskip UI due to UI_Mode"},
    {"OneModelHasNoOwnDialog", 0, L"/U", dialog, "", "", stored, weir},
    {"DialogFailed", 1, L"", dialog, "<return>2</return>", "", "\nGetDeviceList_LCode failed!\n"},
    {"UnknownResult", 1, L"", dialog, "<resultcode>2</resultcode>", "", "The device search canceled."},
    {"AnswerIllFormed", 1, L"", dialog, "<answer>&lt;device&gt;</answer>", "", "The device information not parsed."},
    {"NotStored", 1, L"/M " + std::wstring(300, L'k'), dialog, "", "", "The device information not stored."},
    {"HiddenUi", 0, L"/H " + std::wstring(63, L'h') + L"cut", hidden, "", h63, stored, weir},
    {"HiddenUiFailed", 1, L"/H x", hidden, "<return>1</return>", "", "\nGetDeviceInformation failed!\n"},
    {"HiddenUiOtherDevice", 1, L"/H x /D Other", hidden, "", "", "The device found does not match condition."},
    {"MergeFailed", 1, L"/More x", merge, "<return>0</return>", "", "\nMergeDevicelistXML failed!\n"},
    {"MergeAloneGivesNoText", 1, L"/More x", merge, "", "", "\ndeviceListXml is empty!\n"},
    {"MergeNotLinked", 1, L"/More x", "", "", "", "\nMergeDevicelistXML not linked!\n", "absent", smallest},
    {"NoRecords", 1, L"/devicelist x", "", "", "", "The device information in /devicelist mode not parsed."},
    {"LibraryThatIsNone", 1, L"/Q", "", "", "", "\nloading Findwell library failed!\n", "absent", none},
};
using WayTest = TableOf<WayCase, AgentRun>;
TEST_P(WayTest, StoresADeviceOrTellsWhyNot)
{
    const auto& [name, exitCode, arguments, call, gives, asked, lastLine, device, library] = GetParam();
    m_settings += "PropertiesUI=1\n";
    Store(HKEY_LOCAL_MACHINE, m_key, L"UI_Mode", 7UL);
    EXPECT_TRUE(::CopyFileW((buildFolder / library).c_str(), File(L"FindwellDlg.dll").c_str(), FALSE));
    Override("<user><choice>name Quellon Weir C40</choice></user>");
    LibraryGives(call, gives);
    EXPECT_EQ(exitCode, Run(arguments));
    EXPECT_EQ(call, Calls().substr(0, Calls().find('\n')));
    EXPECT_THAT(LibraryLog(), HasSubstr(asked));
    const std::string done = exitCode == 0 ? "done" : "not done";
    EXPECT_THAT(Log(), EndsWith("\n" + lastLine + "\nKELV port configuration " + done + ".\n\n\n"));
    EXPECT_EQ(device, Stored(L"DeviceName"));
}
INSTANTIATE_TEST_SUITE_P(, WayTest, testing::ValuesIn(wayCases), caseName);
