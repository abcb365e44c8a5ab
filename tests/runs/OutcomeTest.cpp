// Every outcome of a run: its messages in their order, and the exit code.
#include "Installation.h"

namespace
{

using namespace test;

const char* const library = "FindwellDlg.dll";
const char* const dialog = "GetDeviceList_LCode";
const char* const query = "GetDeviceInformation";
const char* const singleModel = "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series";
const char* const withProperties = "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series\r\nPropertiesUI=1";
const char* const withSuift = "ProductName=Run Driver\r\nProductId=0\r\nMode=1\r\nSUIFT=1";
const char* const records = "/devicelist Software\\ScanKELVRuns";
const char* const moreRecords = "/More Software\\ScanKELVRuns";
const char* const emptyList = "\ndeviceListXml is empty!\n";
const char* const notParsed = "The device information not parsed.";
const char* const notLoaded = "\nloading Findwell library failed!\n";
const char* const noProduct = "FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini.";
const char* const noModel = "FATAL: No model name provided for GSD! Check ScanKELV.ini and command line.";

using Preparation = void (*)(const Installation&);

void StoreUiMode(const Installation&)
{
    StoreNumber(HKEY_CURRENT_USER, OLESTR("Software\\QLScan\\Run Driver"), OLESTR("UI_Mode"), 1);
}

void StoreUiModeForAll(const Installation&)
{
    StoreNumber(HKEY_LOCAL_MACHINE, OLESTR("Software\\QLScan\\Run Driver"), OLESTR("UI_Mode"), 7);
}

void StoreRecord(const Installation&)
{
    const Wide path = Wide(recordKeys) + OLESTR("\\Printer000");
    StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("Address"), OLESTR("192.0.2.9"));
    StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("ConnectionType"), 1);
}

void NestedAnswer(const Installation& installation)
{
    std::string opening;
    std::string closing;
    for (int depth = 0; depth < 100000; ++depth)
    {
        opening += "<n>";
        closing += "</n>";
    }
    WriteFileBytes(installation.File("answer"), opening + closing);
}

void HugeAnswer(const Installation& installation)
{
    std::string text = "<r>";
    while (text.size() < 50U << 20)
        text += "<e>ab</e>\n";
    WriteFileBytes(installation.File("answer"), text + "</r>");
    ::DeleteFileW(installation.DebugIni().c_str());
}

void LoneSurrogates(const Installation& installation)
{
    const std::string units = Utf16Bytes(OLESTR("<iotype>")) + "\x01\xD8\x01\xD8" + Utf16Bytes(OLESTR("</iotype>"));
    WriteFileBytes(installation.File("answer"), "\xFF\xFE" + units);
}

template <char... Bytes>
void SettingsOf(const Installation& installation)
{
    std::string bytes;
    while (bytes.size() < sizeof...(Bytes) * 1000)
        bytes += {Bytes...};
    WriteFileBytes(installation.File("ScanKELV.ini"), bytes);
}

void SettingsFolder(const Installation& installation)
{
    ::CreateDirectoryW(installation.File("ScanKELV.ini").c_str(), nullptr);
}

void HugeSettings(const Installation& installation)
{
    std::string text = "[Settings]\r\n";
    while (text.size() < 10U << 20)
        text += "; nothing that anybody reads, line after line after line\r\n";
    WriteFileBytes(installation.File("ScanKELV.ini"), text + singleModel);
}

void BrokenLibrary(const Installation& installation)
{
    WriteFileBytes(installation.File(library), "MZ");
}

struct Outcome
{
    std::string name;
    DWORD exitCode;
    std::string lines;                  // between bars
    const char* settings = singleModel; // null: no ScanKELV.ini
    std::string arguments = "";
    const char* choice = "accepted"; // of the search library's user
    const char* call = "c";
    const char* gives = ""; // this call of the library
    const char* libraryFile = library;
    Preparation prepare = nullptr;
};

const Outcome outcomes[] = {
    {"Stored", 0, "do not do Online testing|\n entering XmlGenerateFilterText\n|Hueward finished normally."},
    {"LibraryMissing", 1, notLoaded, singleModel, "", "", "c", "", ""},
    {"LibraryLacksRequiredEntry", 1, notLoaded, singleModel, "", "", "c", "", "WithoutGetPrinterList.dll"},
    {"LibraryBroken", 1, notLoaded, singleModel, "", "", "c", "", library, &BrokenLibrary},
    {"OnlineTesting", 0, "do Online testing|skip UI due to needQueryAddress", singleModel, "/Q"},
    {"OnlineTestingNotOffered", 0, "do not do Online testing|skip UI due to needQueryAddress", singleModel, "/Q", "",
     "c", "", "RequiredOnly.dll"},
    {"StoredUiMode", 0, "uiMode: 1|skip UI due to UI_Mode", withSuift, "", "", "c", "", library, &StoreUiMode},
    {"StoredUiModeForAllUsers", 0,
     "fail to open user storage for read in HKCU, trying system storage in HKLM|uiMode: 7|skip UI due to UI_Mode",
     withSuift, "", "", "c", "", library, &StoreUiModeForAll},
    {"StoredUiModeOfSingleModel", 1, emptyList, singleModel, "/U", "cancel", "c", "", library, &StoreUiMode},
    {"NoRecords", 1,
     "no multi-select records found, device list generation canceled!|"
     "The device information in /devicelist mode not parsed.",
     singleModel, records},
    {"RecordStored", 0, "addressString: 192.0.2.9", singleModel, records, "", "c", "", library, &StoreRecord},
    {"MergeNotOffered", 1, "\nMergeDevicelistXML not linked!\n", singleModel, records, "", "c", "", "RequiredOnly.dll",
     &StoreRecord},
    {"MergeFails", 1, "\nMergeDevicelistXML failed!\n", singleModel, moreRecords, "", "MergeDevicelistXML",
     "<return>0</return>"},
    {"MergeGivesNoList", 1, emptyList, singleModel, moreRecords, "", "c", "", library, &StoreRecord},
    {"PropertiesFail", 1, "\nShowPropertiesUI failed!\n", withProperties, "/PROP", "", "ShowPropertiesUI",
     "<return>3</return>"},
    {"PropertiesEmpty", 1, emptyList, withProperties, "/PROP"},
    {"PropertiesNotOffered", 1, emptyList, withProperties, "/PROP", "", "c", "", "RequiredOnly.dll"},
    {"PropertiesNotPermitted", 1, emptyList, singleModel, "/PROP", "cancel"},
    {"DialogFails", 1, "\nGetDeviceList_LCode failed!\n", singleModel, "", "accepted", dialog, "<return>2</return>"},
    {"DialogCancelledWithText", 1, "\ndeviceListXml: \nleft over\n|The device search canceled.", singleModel, "",
     "accepted", dialog, "<resultcode>0</resultcode><answer>left over</answer>"},
    {"DialogWithUnknownCode", 1, "The device search canceled.", singleModel, "", "accepted", dialog,
     "<resultcode>4294967295</resultcode>"},
    {"NothingAccepted", 1, emptyList, "ProductName=Run Driver\r\nModelName=Unknown"},
    {"QueryFails", 1, "\nGetDeviceInformation failed!\n", singleModel, "/H 1", "accepted", query, "<return>1</return>"},
    {"QueriedDeviceDiffers", 1, "The device found does not match condition.", singleModel, "/H 1", "position 1"},
    {"QueriedDeviceStored", 0, "deviceNameString: Weir", singleModel, "/H 1", "position 2"},
    // The registry takes no key of such a name.
    {"StorageCannotBeOpened", 1, "Hueward finished normally.|The device information not stored.", singleModel,
     "/M " + std::string(300, 'x')},
    {"AnswerIllFormed", 1, notParsed, singleModel, "", "accepted", dialog, "<answer>&lt;device&gt;</answer>"},
    {"AnswerEmpty", 1, notParsed, singleModel, "", "accepted", dialog, "<answer></answer>"},
    {"AnswerNull", 1, emptyList, singleModel, "", "accepted", dialog, "<answer><null/></answer>"},
    {"AnswerWithoutElements", 1, notParsed, singleModel, "", "accepted", dialog, "<answer>&lt;d/&gt;</answer>"},
    {"AnswerWithDocumentType", 1, notParsed, singleModel, "", "accepted", dialog,
     "<answer><![CDATA[<!DOCTYPE d [<!ENTITY a \"aaaaaaaaaa\">]><d><iotype>&a;</iotype></d>]]></answer>"},
    {"AnswerDeeplyNested", 1, notParsed, singleModel, "", "accepted", dialog, "<answer><file>answer</file></answer>",
     library, &NestedAnswer},
    {"AnswerOf50Megabytes", 1, "", singleModel, "", "accepted", dialog, "<answer><file>answer</file></answer>", library,
     &HugeAnswer},
    {"AnswerWithLoneSurrogates", 1, "The device found does not match condition.", singleModel, "/H 1", "accepted",
     query, "<answer><file>answer</file></answer>", library, &LoneSurrogates},
    {"SettingsFolder", 1, std::string("ScanKELV.ini not found. Initialize GSD mode defaults.|") + emptyList, nullptr,
     "", "cancel", "c", "", library, &SettingsFolder},
    {"SettingsHuge", 1, std::string("LanguageCode absent in ScanKELV.ini.|") + emptyList, nullptr, "", "cancel", "c",
     "", library, &HugeSettings},
    {"SettingsEmpty", 3, noProduct, nullptr, "", "", "c", "", library, &SettingsOf<>},
    {"SettingsBinary", 3, noProduct, nullptr, "", "", "c", "", library,
     &SettingsOf<'[', '\0', '\xFF', '=', '\n', '\x1A'>},
    {"NeitherModelNorProductId", 3, "FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini.",
     "ProductName=D\r\nMode=1"},
    {"SingleModeWithoutModel", 3, std::string("needQueryAddress: 0|") + noModel, "ProductName=D\r\nProductId=1"},
    {"SingleModeByCommand", 3, noModel, nullptr, "/MODE 0"},
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
    installation.Behave(outcome.choice, outcome.call, outcome.gives);
    installation.UseLibrary(outcome.libraryFile);
    if (outcome.prepare != nullptr)
        outcome.prepare(installation);

    const ProgramResult result = installation.Run(outcome.arguments);

    EXPECT_TRUE(result.started);
    EXPECT_EQ(outcome.exitCode, result.exitCode);
    ExpectLines(result.debugConsole, outcome.lines);
    if (!outcome.lines.empty() && outcome.exitCode != 3)
        ExpectLines(
            result.debugConsole, outcome.exitCode == 0 ? "\n---\n|KELV port configuration done.|\n"
                                                       : "\n---\n|KELV port configuration not done.|\n");
    // A text that the library handed out comes back exactly once.
    const std::string asked = installation.Asked();
    EXPECT_EQ(Count(asked, "  listText = ") - Count(asked, "  listText = (null)"), Count(asked, "  released")) << asked;
    EXPECT_EQ(0U, Count(asked, "not a text of this library"));
}

INSTANTIATE_TEST_SUITE_P(Runs, Run, testing::ValuesIn(outcomes), [](const auto& run) { return run.param.name; });

} // namespace
