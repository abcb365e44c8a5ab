// Every outcome of a run: its messages in their order, and the exit code.
#include "Installation.h"

namespace
{

using namespace test;

constexpr const char* driverKey = "Software\\QLScan\\Run Driver";
constexpr const char* singleModel = "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series";
constexpr const char* withProperties = "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series\r\nPropertiesUI=1";
constexpr const char* withSuift = "ProductName=Run Driver\r\nProductId=0\r\nMode=1\r\nSUIFT=1";

struct Outcome
{
    const char* name;
    const char* settings; // keys of ScanKELV.ini; null: no such file
    const char* arguments;
    const char* choice; // of the search library's user
    const char* calls;  // what the library's calls give
    DWORD exitCode;
    std::initializer_list<const char*> lines; // after the options
    const char* library = "FindwellDlg.dll";
    void (*prepare)(const Installation&) = nullptr;
};

void StoreUiMode(const Installation&)
{
    StoreNumber(HKEY_CURRENT_USER, ToWide(driverKey), OLESTR("UI_Mode"), 1);
}

void StoreUiModeForAll(const Installation&)
{
    StoreNumber(HKEY_LOCAL_MACHINE, ToWide(driverKey), OLESTR("UI_Mode"), 7);
}

void StoreRecord(const Installation&)
{
    const Wide path = Wide(recordKeys) + OLESTR("\\Printer000");
    StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("Address"), OLESTR("192.0.2.9"));
    StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("ConnectionType"), 1);
}

/// A text that the model of documents must refuse or read within bounded memory and stack.
void WriteNestedAnswer(const Installation& installation)
{
    constexpr int depth = 100000;
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += "<n>";
    for (int i = 0; i < depth; ++i)
        text += "</n>";
    WriteFileBytes(installation.File("answer"), text);
}

void WriteHugeAnswer(const Installation& installation)
{
    constexpr int elements = 5000000; // 50 MB
    std::string text = "<r>";
    for (int i = 0; i < elements; ++i)
        text += "<e>ab</e>\n";
    WriteFileBytes(installation.File("answer"), text + "</r>");
    ::DeleteFileW(installation.DebugIni().c_str());
}

void WriteLoneSurrogates(const Installation& installation)
{
    WriteFileBytes(
        installation.File("answer"),
        "\xFF\xFE" + Utf16Bytes(OLESTR("<iotype>")) + "\x01\xD8\x01\xD8" + Utf16Bytes(OLESTR("</iotype>")));
}

void EmptyLibrary(const Installation& installation)
{
    WriteFileBytes(installation.File("FindwellDlg.dll"), "");
}

void SettingsFolder(const Installation& installation)
{
    ::CreateDirectoryW(installation.File("ScanKELV.ini").c_str(), nullptr);
}

void EmptySettings(const Installation& installation)
{
    WriteFileBytes(installation.File("ScanKELV.ini"), "");
}

void BinarySettings(const Installation& installation)
{
    std::string bytes;
    for (int i = 0; i < 4096; ++i)
        bytes += static_cast<char>((i * 37) ^ (i >> 3));
    WriteFileBytes(installation.File("ScanKELV.ini"), bytes);
}

void HugeSettings(const Installation& installation)
{
    std::string text = "[Settings]\r\n";
    while (text.size() < 10U << 20)
        text += "; nothing that anybody reads, line after line after line\r\n";
    WriteFileBytes(installation.File("ScanKELV.ini"), text + singleModel);
}

const Outcome outcomes[] = {
    {"Stored",
     singleModel,
     "",
     "",
     "",
     0,
     {"do not do Online testing", "\n entering XmlGenerateFilterText\n", "Hueward finished normally."}},
    {"LibraryMissing", singleModel, "", "", "", 1, {"\nloading Findwell library failed!\n"}, ""},
    {"LibraryWithoutRequiredEntry",
     singleModel,
     "",
     "",
     "",
     1,
     {"\nloading Findwell library failed!\n"},
     "WithoutGetPrinterList.dll"},
    {"LibraryThatIsNone",
     singleModel,
     "",
     "",
     "",
     1,
     {"\nloading Findwell library failed!\n"},
     "FindwellDlg.dll",
     &EmptyLibrary},
    {"OnlineTesting", singleModel, "/Q", "", "", 0, {"do Online testing", "skip UI due to needQueryAddress"}},
    {"OnlineTestingNotOffered",
     singleModel,
     "/Q",
     "",
     "",
     0,
     {"do not do Online testing", "skip UI due to needQueryAddress"},
     "RequiredOnly.dll"},
    {"StoredUiMode",
     withSuift,
     "",
     "",
     "",
     0,
     {"uiMode: 1", "skip UI due to UI_Mode"},
     "FindwellDlg.dll",
     &StoreUiMode},
    {"StoredUiModeForAllUsers",
     withSuift,
     "",
     "",
     "",
     0,
     {"fail to open user storage for read in HKCU, trying system storage in HKLM", "uiMode: 7",
      "skip UI due to UI_Mode"},
     "FindwellDlg.dll",
     &StoreUiModeForAll},
    {"StoredUiModeOfSingleModel",
     singleModel,
     "/U",
     "cancel",
     "",
     1,
     {"\ndeviceListXml is empty!\n"},
     "FindwellDlg.dll",
     &StoreUiMode},
    {"DeviceListWithoutRecords",
     singleModel,
     "/devicelist Software\\ScanKELVRuns",
     "",
     "",
     1,
     {"no multi-select records found, device list generation canceled!",
      "The device information in /devicelist mode not parsed."}},
    {"DeviceListStored",
     singleModel,
     "/devicelist Software\\ScanKELVRuns",
     "",
     "",
     0,
     {"addressString: 192.0.2.9"},
     "FindwellDlg.dll",
     &StoreRecord},
    {"MergeNotOffered",
     singleModel,
     "/devicelist Software\\ScanKELVRuns",
     "",
     "",
     1,
     {"\nMergeDevicelistXML not linked!\n"},
     "RequiredOnly.dll",
     &StoreRecord},
    {"MergeFails",
     singleModel,
     "/More Software\\ScanKELVRuns",
     "",
     "<MergeDevicelistXML><return>0</return></MergeDevicelistXML>",
     1,
     {"\nMergeDevicelistXML failed!\n"}},
    {"MergeGivesNoList",
     singleModel,
     "/More Software\\ScanKELVRuns",
     "",
     "",
     1,
     {"\ndeviceListXml is empty!\n"},
     "FindwellDlg.dll",
     &StoreRecord},
    {"PropertiesFail",
     withProperties,
     "/PROP",
     "",
     "<ShowPropertiesUI><return>3</return></ShowPropertiesUI>",
     1,
     {"\nShowPropertiesUI failed!\n"}},
    {"PropertiesEmpty", withProperties, "/PROP", "", "", 1, {"\ndeviceListXml is empty!\n"}},
    {"PropertiesNotOffered", withProperties, "/PROP", "", "", 1, {"\ndeviceListXml is empty!\n"}, "RequiredOnly.dll"},
    {"PropertiesNotPermitted", singleModel, "/PROP", "cancel", "", 1, {"\ndeviceListXml is empty!\n"}},
    {"DialogFails",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><return>2</return></GetDeviceList_LCode>",
     1,
     {"\nGetDeviceList_LCode failed!\n"}},
    {"DialogCancelledWithText",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><resultcode>0</resultcode><answer>left over</answer></GetDeviceList_LCode>",
     1,
     {"\ndeviceListXml: \nleft over\n", "The device search canceled."}},
    {"DialogWithUnknownCode",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><resultcode>4294967295</resultcode></GetDeviceList_LCode>",
     1,
     {"The device search canceled."}},
    {"NothingAccepted", "ProductName=Run Driver\r\nModelName=Unknown", "", "", "", 1, {"\ndeviceListXml is empty!\n"}},
    {"QueryFails",
     singleModel,
     "/H 1",
     "",
     "<GetDeviceInformation><return>1</return></GetDeviceInformation>",
     1,
     {"\nGetDeviceInformation failed!\n"}},
    {"QueriedDeviceDoesNotMatch",
     singleModel,
     "/H 1",
     "position 1",
     "",
     1,
     {"The device found does not match condition."}},
    {"QueriedDeviceStored", singleModel, "/H 1", "position 2", "", 0, {"deviceNameString: Weir"}},
    {"StorageCannotBeOpened",
     singleModel,
     nullptr,
     "",
     "",
     1,
     {"Hueward finished normally.", "The device information not stored."}},
    {"AnswerIllFormed",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer>&lt;device&gt;</answer></GetDeviceList_LCode>",
     1,
     {"The device information not parsed."}},
    {"AnswerEmpty",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer></answer></GetDeviceList_LCode>",
     1,
     {"The device information not parsed."}},
    {"AnswerNull",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer><null/></answer></GetDeviceList_LCode>",
     1,
     {"\ndeviceListXml is empty!\n"}},
    {"AnswerWithoutElements",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer>&lt;devicelist/&gt;</answer></GetDeviceList_LCode>",
     1,
     {"The device information not parsed."}},
    {"AnswerWithDocumentType",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer><![CDATA[<!DOCTYPE d [<!ENTITY a \"aaaaaaaaaa\">]><d><iotype>&a;</iotype></d>]]>"
     "</answer></GetDeviceList_LCode>",
     1,
     {"The device information not parsed."}},
    {"AnswerDeeplyNested",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer><file>answer</file></answer></GetDeviceList_LCode>",
     1,
     {"The device information not parsed."},
     "FindwellDlg.dll",
     &WriteNestedAnswer},
    {"AnswerOf50Megabytes",
     singleModel,
     "",
     "",
     "<GetDeviceList_LCode><answer><file>answer</file></answer></GetDeviceList_LCode>",
     1,
     {},
     "FindwellDlg.dll",
     &WriteHugeAnswer},
    {"AnswerWithLoneSurrogates",
     singleModel,
     "/H 1",
     "",
     "<GetDeviceInformation><answer><file>answer</file></answer></GetDeviceInformation>",
     1,
     {"The device found does not match condition."},
     "FindwellDlg.dll",
     &WriteLoneSurrogates},
    {"SettingsAreAFolder",
     nullptr,
     "",
     "cancel",
     "",
     1,
     {"ScanKELV.ini not found. Initialize GSD mode defaults.", "\ndeviceListXml is empty!\n"},
     "FindwellDlg.dll",
     &SettingsFolder},
    {"SettingsOf10Megabytes",
     nullptr,
     "",
     "cancel",
     "",
     1,
     {"LanguageCode absent in ScanKELV.ini.", "\ndeviceListXml is empty!\n"},
     "FindwellDlg.dll",
     &HugeSettings},
    {"SettingsEmpty",
     nullptr,
     "",
     "",
     "",
     3,
     {"FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini."},
     "FindwellDlg.dll",
     &EmptySettings},
    {"SettingsBinary",
     nullptr,
     "",
     "",
     "",
     3,
     {"FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini."},
     "FindwellDlg.dll",
     &BinarySettings},
    {"NeitherModelNorProductId",
     "ProductName=Run Driver\r\nMode=1",
     "",
     "",
     "",
     3,
     {"FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini."}},
    {"SingleModeWithoutModel",
     "ProductName=Run Driver\r\nProductId=1",
     "",
     "",
     "",
     3,
     {"needQueryAddress: 0", "FATAL: No model name provided for GSD! Check ScanKELV.ini and command line."}},
    {"SingleModeByCommand",
     nullptr,
     "/MODE 0",
     "",
     "",
     3,
     {"FATAL: No model name provided for GSD! Check ScanKELV.ini and command line."}},
};

class Run : public testing::TestWithParam<Outcome>
{
};

std::size_t Count(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

TEST_P(Run, EndsWithItsMessageAndExitCode)
{
    const Outcome& outcome = GetParam();
    const Installation installation;
    if (outcome.settings != nullptr)
        installation.Settings(outcome.settings);
    installation.Behave(outcome.choice, outcome.calls);
    if (std::string_view(outcome.library) != "FindwellDlg.dll")
        installation.UseLibrary(outcome.library);
    if (outcome.prepare != nullptr)
        outcome.prepare(installation);

    // A key of the registry cannot have a name of 300 characters.
    const ProgramResult result =
        installation.Run(outcome.arguments == nullptr ? "/M " + std::string(300, 'x') : outcome.arguments);

    EXPECT_TRUE(result.started);
    EXPECT_EQ(outcome.exitCode, result.exitCode);
    ExpectLines(result.debugConsole, outcome.lines);
    if (outcome.lines.size() != 0 && outcome.exitCode != 3)
        ExpectLines(
            result.debugConsole,
            {"\n---\n", outcome.exitCode == 0 ? "KELV port configuration done." : "KELV port configuration not done.",
             "\n"});
    // A text that the library handed out comes back exactly once.
    const std::string asked = installation.Asked();
    EXPECT_EQ(Count(asked, "  listText = ") - Count(asked, "  listText = (null)"), Count(asked, "  released")) << asked;
    EXPECT_EQ(0U, Count(asked, "not a text of this library"));
}

INSTANTIATE_TEST_SUITE_P(Runs, Run, testing::ValuesIn(outcomes), [](const auto& run) {
    return std::string(run.param.name);
});

} // namespace
