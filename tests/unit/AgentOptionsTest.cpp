#include "AgentOptions.h"

#include "AgentTest.h"

using namespace scankelv;
using namespace test;

std::string Answers(const AgentOptions& o)
{
    return Format<char>(
        "%ws %d, %ws, %ws, %ws, %ws %ws, UI %d %ws, [%ws] [%ws], gsd %d suift %d now %d ask %d prop %lu %d",
        o.ProductName(), o.IsDefaultProductName(), o.VendorName(), o.LanguageCode(), o.ModelName(), o.VendorId(),
        o.ProductId(), o.HiddenUiRequested(), o.HiddenUiArgument(), o.MultiDeviceRegistryPath(),
        o.DeviceListRegistryPath(), o.IsGsdMode(), o.IsSuiftOn(), o.IsCurrentDeviceFeatureOn(), o.NeedQueryAddress(),
        o.PropertiesUI(), o.PropertiesWanted());
}

struct OptionsCase
{
    const char* name;
    const char* settings; ///< lines of the section; null: no file
    const wchar_t* commands;
    std::string log; ///< a part of it
    const char* answers = "none";
};
#define ABSENT " absent in ScanKELV.ini.\n"
const OptionsCase optionsCases[] = {
    {"EveryKeyword", nullptr,
     L"/M Two /L de /V \"A B\" /D T /VID 1a /PID 2b /MODE A /U 0 /H x /More R /Q /PROP /devicelist S",
     "\nmultiDeviceRegistryPath: S\n13 commands processed\nneedQueryAddress: 1\n"
     "WARNING: Model name filter specified for GSD! Check ScanKELV.ini and command line.\n",
     "Two 0, A B, de, T, 1a 2b, UI 1 x, [R] [S], gsd 1 suift 1 now 1 ask 1 prop 0 0"},
    {"UnknownAndUnfinished", nullptr, L"/h /vids 1 /mORE \"\" /D",
     "\nScanKELV.ini not found. Initialize GSD mode defaults.\ncommand line: agent /h /vids 1 /mORE \"\" /D\ncommand "
     "line found.\ncommand 1: h\nhiddenUiArgument: \ncommand 2: vids\ncommand 3: mORE\nmultiDeviceRegistryPath: \n",
     "Quellon Generic Scan Driver 1, Quellon, (null), (null), 0 0, UI 1 , [] [], gsd 1 suift 0 now 1 ask 0 prop 0 0"},
    {"OneModelUnnamed", nullptr, L"/MODE x",
     "needQueryAddress: 0\nFATAL: No model name provided for GSD! Check ScanKELV.ini and command line.\n"},
    {"EveryKey",
     "ProductName=One\nLanguageCode=de\nVendorName=V\nModelName=T 20 ; office\nVendorId=1\nProductId=2\n"
     "SUIFT=1\nMode=10000\nCurrentDeviceFeature=0\nPropertiesUI=6844",
     L"/PROP", "\nboth ModelName and ProductId present in ScanKELV.ini. Verify they do not conflict.\ncommand line: ",
     "One 0, V, de, T 20 , 1 2, UI 0 (null), [] [], gsd 0 suift 1 now 0 ask 0 prop 6844 1"},
    {"CommandsAfterDefaultProduct",
     "ProductName=Quellon Generic Scan Driver\nModelName=M\nSUIFT=A\nCurrentDeviceFeature=x", L"/m Two /d \"\" /prop",
     "Warning: default ProductName specified in ScanKELV.ini for non-GSD mode (0 or none)! Check ScanKELV.ini.\n",
     "Two 0, Quellon, (null), , (null) (null), UI 0 (null), [] [], gsd 0 suift 0 now 1 ask 0 prop 0 0"},
    {"NeitherModelNorProductId", "ProductName=One\nMode=1", L"/D M",
     "\nModelName" ABSENT "VendorId" ABSENT "ProductId" ABSENT "SUIFT" ABSENT "CurrentDeviceFeature" ABSENT
     "PropertiesUI" ABSENT "FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini.\n"},
    {"OtherProductInGenericMode",
     "ProductName=quellon generic scan driver\nLanguageCode=de\nVendorName=V\nProductId=2\nMode=1\nPropertiesUI=1", L"",
     "\nWarning: Mode=1 specified in ScanKELV.ini, but ProductName is not default one! Check ScanKELV.ini.\n"
     "command line: agent \nNo command line found.\n0 commands processed\nneedQueryAddress: 0\n",
     "quellon generic scan driver 0, V, de, (null), (null) 2, UI 0 (null), [] [], gsd 1 suift 0 now 1 ask 0 prop 1 0"},
};
using OptionsTest = TableOf<OptionsCase, AgentTest>;
TEST_P(OptionsTest, AnswersAndLines)
{
    const auto& [name, settings, commands, log, answers] = GetParam();
    const TemporaryFolder folder;
    const std::wstring file = folder.File(L"ScanKELV.ini"), commandLine = std::wstring(L"agent ") + commands;
    if (settings != nullptr)
        WriteFileBytes(file, std::string("[Settings]\n") + settings);
    const DebugConsoleCapture console;
    const auto options = AgentOptions::Build(file.c_str(), commandLine.c_str());
    EXPECT_EQ(answers, options ? Answers(*options) : "none");
    std::string lines = console.Text();
    std::erase(lines, '\r');
    EXPECT_THAT(lines, testing::HasSubstr(log));
}
INSTANTIATE_TEST_SUITE_P(, OptionsTest, testing::ValuesIn(optionsCases), caseName);
