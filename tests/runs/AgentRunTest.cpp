// The kinds of run: what the library is asked, what is stored, and how each of them fails.
#include "RunFixture.h"

namespace test
{

using testing::AllOf, testing::EndsWith, testing::HasSubstr, testing::Not, testing::StartsWith;

const char* const weirValues =
    "Address=192.0.2.41\nComment=front desk & copy room\nConnectionType=#1\n"
    "DeviceID=mfg:quellon;cmd:pjl,pcl5e,pclxl,postscript,pdf,urf;mdl:Weir C40 Series;cls:printer;mode:prn,scn,fax;\n"
    "DeviceName=Quellon Weir C40\nDeviceSelect=#0\nExtDeviceID=WC40-EU\nHostName=qlweirc40\n"
    "Location=Büro 3 – Étage 2 – 会議室 🖨\nMACAddress=00-00-5E-00-53-41\nMDL=Weir C40 Series\n"
    "MFG=Quellon\nPID=#7232\nPortName=192.0.2.41\nProductName=Quellon Weir C40 Series\nSerial=WC40-000183-77\n"
    "SystemDeviceName=\\\\?\\ROOT#IMAGE#0001\nUI_Mode=#1\nVID=#3869\n";

TEST_F(AgentRun, StoresWhatTheUserChoseInTheDialog)
{
    EXPECT_EQ(0, Run(L"/L de"));
    EXPECT_EQ("GetDeviceList_LCode\nFreeDeviceList\n", Calls());
    EXPECT_THAT(LibraryLog(), HasSubstr("  zero = 0\n  languageCode = de\n  filterText = <?xml "));
    EXPECT_THAT(LibraryLog(), HasSubstr("  Query(0) -> 0\n  HandleEvent(dialog.onload) -> 0, out 0\n"));
    EXPECT_THAT(LibraryLog(), HasSubstr(" -> 6, out 1\n  CheckDevice(Harrowgate HG 2210dw) -> 0\n"));
    EXPECT_THAT(LibraryLog(), HasSubstr("  CheckDevice(Quellon Weir C40) -> 1\n"));
    EXPECT_EQ(weirValues, StoredValues());
    EXPECT_THAT(DeviceXml(), HasSubstr("<Location>Büro 3 – Étage 2 – 会議室 🖨</Location>"));
    EXPECT_EQ("absent", ConfigIni());
    EXPECT_THAT(Log(), HasSubstr("\ndo not do Online testing\n\n entering XmlGenerateFilterText\n\n"));
    EXPECT_THAT(Log(), AllOf(HasSubstr("\ncontentFilterOption: \n<?xml "), HasSubstr("\ndeviceListXml: \n<?xml ")));
    EXPECT_THAT(Log(), EndsWith("\nHueward finished normally.\nKELV port configuration done.\n\n\n"));
}

TEST_F(AgentRun, OfTheGenericDriverReplacesAnOlderDeviceAndKeepsWhatOthersStored)
{
    UseGenericDriver();
    EXPECT_EQ(0, Run());
    EXPECT_THAT(LibraryLog(), HasSubstr("  languageCode = (null)\n"));
    Store(HKEY_CURRENT_USER, m_key, L"Address2", L"kept", L"Resolution", 300UL);
    ::WritePrivateProfileStringW(L"IO", L"Timeout", L"9", configIni);
    UserChooses("name Quellon Brooklet 130");
    EXPECT_EQ(0, Run());
    EXPECT_THAT(LibraryLog(), HasSubstr("<devicepath>192.0.2.41</devicepath>")); // the older one
    EXPECT_THAT(StoredValues(), HasSubstr("\nAddress2=kept\nComment=Schreibtisch „Müller“\nConnectionType=#0\n"));
    EXPECT_THAT(StoredValues(), HasSubstr("\nDeviceSelect=#4\nExtDeviceID=B130\nHostName=\nLocation=Schreibtisch\n"));
    EXPECT_EQ("#300", Stored(L"Resolution"));
    EXPECT_THAT(DeviceXml(), AllOf(HasSubstr("<DeviceName>Quellon Brooklet 130</DeviceName>"), Not(HasSubstr("Weir"))));
    EXPECT_THAT(ConfigIni(), HasSubstr("\r\nAddress2=USB002\r\nComment=Schreibtisch „Müller“\r\nConnectionType=0\r\n"));
    EXPECT_THAT(ConfigIni(), AllOf(EndsWith("\r\nVID=3869\r\nTimeout=9\r\n"), Not(HasSubstr("Weir"))));
}

TEST_F(AgentRun, StoresTheRestWhereAFileCannotBeWritten)
{
    UseGenericDriver();
    std::filesystem::create_directories(deviceXml); // in the place of the file
    std::filesystem::create_directories(std::filesystem::path(configIni).parent_path());
    WriteFileBytes(configIni, "");
    SetReadOnly(configIni, true);
    ::DeleteFileW(File(L"Hueward.exe").c_str());
    EXPECT_EQ(0, Run());
    EXPECT_EQ(weirValues, StoredValues());
    EXPECT_EQ("", ReadFileBytes(configIni));
    EXPECT_THAT(Log(), AllOf(HasSubstr("\nHueward not found at "), HasSubstr("Expression  exportResult  failed!")));
    SetReadOnly(configIni, false);
}

TEST_F(AgentRun, AsksAboutAHiddenUiDeviceWithoutDialog)
{
    UserChooses("name Quellon Weir C40");
    EXPECT_EQ(0, Run(L"/H " + std::wstring(63, L'h') + L"cut"));
    EXPECT_EQ("GetDeviceInformation\nFreeDeviceList\n", Calls());
    EXPECT_THAT(LibraryLog(), HasSubstr(" = " + std::string(63, 'h') + "\n  community = LANTERN\n"));
    EXPECT_EQ(weirValues, StoredValues());
    EXPECT_EQ(0, Run(L"/H /L en"));
    EXPECT_THAT(LibraryLog(), HasSubstr("  hiddenUiArgument = \n"));
}

TEST_F(AgentRun, KeepsWhatThePropertiesDialogChose)
{
    m_settings += "PropertiesUI=1\n";
    EXPECT_EQ(0, Run(L"/PROP /H x /More Software\\QLScan")); // it comes before every other way
    EXPECT_EQ("ShowPropertiesUI\nFreeDeviceList\n", Calls());
    EXPECT_THAT(LibraryLog(), AllOf(HasSubstr("<properties>1</properties>"), HasSubstr("\n  zero = 0\n")));
    EXPECT_EQ("Empfang, Erdgeschoß", Stored(L"Location"));
    m_settings = "ProductName=Run Driver\nModelName=Quellon Weir C40 Series\nPropertiesUI=0\n";
    EXPECT_EQ(0, Run(L"/PROP"));
    EXPECT_THAT(LibraryLog(), HasSubstr("\nGetDeviceList_LCode\n"));
}

TEST_F(AgentRun, StoresTheDefaultOfTheDeviceList)
{
    Store(HKEY_LOCAL_MACHINE, L"Software\\QLScan\\Printer000", L"MDL", L"Other");
    Store(
        HKEY_LOCAL_MACHINE, L"Software\\QLScan\\Printer001", L"Address", L"192.0.2.7", L"ConnectionType", 1UL,
        L"DeviceID", L"MFG:Q;", L"DeviceName", L"unused", L"ExtDeviceID", L"Ext", L"HostName", L"host", L"IPv6", 0UL,
        L"Location", L"Keller", L"MACAddress", L"00-11", L"MDL", L"Model", L"MFG", L"Maker", L"PID", 26UL, L"PortName",
        L"unused", L"SystemDeviceName", L"System", L"VID", 3869UL, L"Default", 1UL);
    EXPECT_EQ(0, Run(L"/devicelist Software\\QLScan"));
    EXPECT_EQ("MergeDevicelistXML\n", Calls());
    EXPECT_THAT(LibraryLog(), AllOf(HasSubstr("<drivername>Other<"), HasSubstr("<drivername>Model<")));
    EXPECT_EQ(
        "Address=192.0.2.7\nComment=\nConnectionType=#1\nDeviceID=MFG:Q;\nDeviceName=Model\nDeviceSelect=#0\n"
        "ExtDeviceID=Ext\nHostName=host\nLocation=Keller\nMACAddress=00-11\nMDL=Model\nMFG=Maker\nPID=#26\n"
        "PortName=192.0.2.7\nProductName=Maker Model\nSerial=\nSystemDeviceName=System\nUI_Mode=#1\nVID=#3869\n",
        StoredValues());
    EXPECT_THAT(Log(), AllOf(HasSubstr("\ncommentPresents: 0\n"), HasSubstr("\nuserLocationPresents 0\nvidDWORD: ")));
    Store(
        HKEY_LOCAL_MACHINE, L"Software\\QLScan\\Printer000", L"Address", L"2001:db8::2", L"IPv6", 1UL, L"Default", 1UL);
    EXPECT_EQ(0, Run(L"/devicelist Software\\QLScan /More none"));
    EXPECT_THAT(StoredValues(), StartsWith("Address=2001:db8::2\nComment=\nConnectionType=#0\n"));
    EXPECT_EQ("#4", Stored(L"DeviceSelect"));
}

TEST_F(AgentRun, WorksWithTheSmallestLibrary)
{
    m_settings += "PropertiesUI=1\n";
    Install(L"tests/Smallest.dll", L"FindwellDlg.dll");
    EXPECT_EQ(0, Run(L"/PROP")); // not offered: the dialog
    EXPECT_EQ("Front desk", Stored(L"DeviceName"));
    EXPECT_EQ(0, Run(L"/Q"));
    EXPECT_THAT(Log(), HasSubstr("\ndo not do Online testing\nskip UI due to needQueryAddress\nKELV port"));
}

TEST_F(AgentRun, LeavesTheDialogToADriverThatHasItsOwn)
{
    m_settings += "Mode=1\n";
    Store(HKEY_LOCAL_MACHINE, m_key, L"UI_Mode", 7UL);
    EXPECT_EQ(0, Run(L"/U"));
    EXPECT_THAT(Log(), EndsWith("\nuiMode: 7\nskip UI due to UI_Mode\nKELV port configuration done.\n\n\n"));
    EXPECT_EQ("", Calls());
    EXPECT_EQ(0, Run());
    EXPECT_EQ(0, Run(L"/U /MODE 0"));
    Store(HKEY_CURRENT_USER, m_key, L"UI_Mode", 0UL);
    EXPECT_EQ(0, Run(L"/U"));
    const std::string call = "GetDeviceList_LCode\nFreeDeviceList\n";
    EXPECT_EQ(call + call + call, Calls());
}

const char* const dialog = "GetDeviceList_LCode";

struct FailureCase
{
    const char* name;
    std::wstring arguments;
    const char* call;
    const char* gives;
    const char* message;
    std::wstring library = L"bin/FindwellDlg.dll";
};
const FailureCase failureCases[] = {
    {"NoLibrary", L"/Q", "", "", "\nloading Findwell library failed!\n", L""},
    {"LibraryWithoutAFunction", L"/Q", "", "", "\nloading Findwell library failed!\n", L"tests/Lacking.dll"},
    {"DialogFailed", L"", dialog, "<return>2</return>", "\nGetDeviceList_LCode failed!\n"},
    {"DialogWithoutAText", L"", dialog, "<answer><null/></answer>", "\ndeviceListXml is empty!\n"},
    {"DialogCancelled", L"", dialog, "<resultcode>0</resultcode>", "The device search canceled."},
    {"DialogWithAnUnknownResult", L"", dialog, "<resultcode>4294967295</resultcode>", "The device search canceled."},
    {"AnswerIllFormed", L"", dialog, "<answer>&lt;device&gt;</answer>", "The device information not parsed."},
    {"NotStored", L"/M " + std::wstring(300, L'k'), dialog, "", "The device information not stored."},
    {"HiddenUiFailed", L"/H x", "GetDeviceInformation", "<return>1</return>", "\nGetDeviceInformation failed!\n"},
    {"HiddenUiOtherDevice", L"/H x", "GetDeviceInformation", "", "The device found does not match condition."},
    {"PropertiesFailed", L"/PROP", "ShowPropertiesUI", "<return>3</return>", "\nShowPropertiesUI failed!\n"},
    {"MergeFailed", L"/More x", "MergeDevicelistXML", "<return>0</return>", "\nMergeDevicelistXML failed!\n"},
    {"MergeAlone", L"/More x", "MergeDevicelistXML", "", "\ndeviceListXml is empty!\n"},
    {"MergeNotLinked", L"/More x", "", "", "\nMergeDevicelistXML not linked!\n", L"tests/Smallest.dll"},
    {"NoRecords", L"/devicelist x", "", "", "The device information in /devicelist mode not parsed."},
};
class FailureTest : public AgentRun, public testing::WithParamInterface<FailureCase>
{
};
TEST_P(FailureTest, IsLoggedAndStoresNothing)
{
    const auto& given = GetParam();
    m_settings += "PropertiesUI=1\n";
    Store(HKEY_LOCAL_MACHINE, L"Software\\QLScan\\Printer000", L"MDL", L"Model");
    ::DeleteFileW(File(L"FindwellDlg.dll").c_str());
    if (!given.library.empty())
        Install(given.library, L"FindwellDlg.dll");
    LibraryGives(given.call, given.gives);
    EXPECT_EQ(1, Run(given.arguments));
    EXPECT_EQ(given.call, Calls().substr(0, Calls().find('\n')));
    EXPECT_THAT(Log(), EndsWith("\n" + std::string(given.message) + "\nKELV port configuration not done.\n\n\n"));
    EXPECT_EQ("", StoredValues());
    EXPECT_EQ("absent", DeviceXml());
}
INSTANTIATE_TEST_SUITE_P(, FailureTest, testing::ValuesIn(failureCases), caseName);

} // namespace test
