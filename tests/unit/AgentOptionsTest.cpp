#include "AgentOptions.h"

#include "AgentTest.h"

using namespace scankelv;
using namespace test;

std::string Answers(const AgentOptions& o)
{
    EXPECT_EQ(std::wstring_view(o.ProductName()) == L"Quellon Generic Scan Driver", o.IsDefaultProductName());
    EXPECT_EQ(o.HiddenUiArgument() != nullptr, o.HiddenUiRequested());
    return Format<char>(
        "%ws, %ws, %ws, %ws, ids %ws %ws, UI %ws, [%ws] [%ws], gsd %d suift %d current %d query %d prop %lu %d",
        o.ProductName(), o.VendorName(), o.LanguageCode(), o.ModelName(), o.VendorId(), o.ProductId(),
        o.HiddenUiArgument(), o.MultiDeviceRegistryPath(), o.DeviceListRegistryPath(), o.IsGsdMode(), o.IsSuiftOn(),
        o.IsCurrentDeviceFeatureOn(), o.NeedQueryAddress(), o.PropertiesUI(), o.PropertiesWanted());
}

struct OptionsCase
{
    const char* name;
    const char* settings; ///< lines of the section; null: no file
    const wchar_t* commands;
    const char* absent;   ///< keys whose absence is logged
    std::string messages; ///< logged after that; "*" for the command line
    const char* answers;  ///< null: no record
};
const char* const many = "LanguageCode VendorName VendorId ProductId SUIFT Mode CurrentDeviceFeature PropertiesUI";
const std::string noCommand = "*No command line found.\n0 commands processed\nneedQueryAddress: 0\n";
const std::string filtered = "WARNING: Model name filter specified for GSD! Check ScanKELV.ini and command line.\n";
#define GENERIC "Quellon Generic Scan Driver"
const OptionsCase optionsCases[] = {
    {"Nothing", nullptr, L"", "", noCommand,
     GENERIC ", Quellon, (null), (null), ids 0 0, UI (null), [] [], gsd 1 suift 0 current 1 query 0 prop 0 0"},
    {"EveryKeyword", nullptr,
     L"/M Two /L de /V \"A B\" /D T /VID 1a /PID 2b /MODE 2 /U 0 /H x /More R /Q /PROP /devicelist S", "",
     "*command line found.\ncommand 1: M\nproductName: Two\ncommand 2: L\nlanguageCode: de\ncommand 3: V\n"
     "vendorName: A B\ncommand 4: D\nmodelName: T\ncommand 5: VID\nvendorId: 1a\ncommand 6: PID\nproductId: 2b\n"
     "command 7: MODE\ngsdMode: 2\ncommand 8: U\ncommand 9: H\nhiddenUiArgument: x\ncommand 10: More\n"
     "multiDeviceRegistryPath: R\ncommand 11: Q\ncommand 12: PROP\ncommand 13: devicelist\n"
     "multiDeviceRegistryPath: S\n13 commands processed\nneedQueryAddress: 1\n" +
         filtered,
     "Two, A B, de, T, ids 1a 2b, UI x, [R] [S], gsd 1 suift 1 current 1 query 1 prop 0 0"},
    {"UnknownAndUnfinished", nullptr, L"/h /q /vids 1 /v x /V y /mORE \"\" /D", "",
     "*command line found.\ncommand 1: h\nhiddenUiArgument: \ncommand 2: q\ncommand 3: vids\ncommand 4: v\n"
     "vendorName: x\ncommand 5: V\nvendorName: y\ncommand 6: mORE\nmultiDeviceRegistryPath: \ncommand 7: D\n"
     "modelName: (null)\n7 commands processed\nneedQueryAddress: 1\n",
     GENERIC ", y, (null), (null), ids 0 0, UI , [] [], gsd 1 suift 0 current 1 query 1 prop 0 0"},
    {"OneModelUnnamed", nullptr, L"/MODE 0", "",
     "*command line found.\ncommand 1: MODE\ngsdMode: 0\n1 commands processed\nneedQueryAddress: 0\n"
     "FATAL: No model name provided for GSD! Check ScanKELV.ini and command line.\n",
     nullptr},
    {"EveryKey",
     "ProductName=One\nLanguageCode=de\nVendorName=V\nModelName=T 20 ; office\nVendorId=1\nProductId=2\n"
     "SUIFT=1\nMode=0\nCurrentDeviceFeature=0\nPropertiesUI=6844",
     L"/PROP", "",
     "both ModelName and ProductId present in ScanKELV.ini. Verify they do not conflict.\n"
     "*command line found.\ncommand 1: PROP\n1 commands processed\nneedQueryAddress: 0\n",
     "One, V, de, T 20 , ids 1 2, UI (null), [] [], gsd 0 suift 1 current 0 query 0 prop 6844 1"},
    {"CommandsAfterSettings", "ProductName=One\nModelName=M", L"/m Two /d \"\" /prop", many,
     "*command line found.\ncommand 1: m\nproductName: Two\ncommand 2: d\nmodelName: \ncommand 3: prop\n"
     "3 commands processed\nneedQueryAddress: 0\n",
     "Two, Quellon, (null), , ids (null) (null), UI (null), [] [], gsd 0 suift 0 current 1 query 0 prop 0 0"},
    {"EmptyProductName", "ProductName=\nModelName=M", L"/M One", "",
     "FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini.\n", nullptr},
    {"NeitherModelNorProductId", "ProductName=One\nVendorName=V\nVendorId=1\nSUIFT=0\nMode=1\nPropertiesUI=0", L"/D M",
     "LanguageCode ModelName ProductId CurrentDeviceFeature",
     "FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini.\n", nullptr},
    {"GenericOfAnotherProduct", "ProductName=quellon generic scan driver\nProductId=2\nMode=1", L"",
     "LanguageCode VendorName ModelName VendorId SUIFT CurrentDeviceFeature PropertiesUI",
     "Warning: Mode=1 specified in ScanKELV.ini, but ProductName is not default one! Check ScanKELV.ini.\n" + noCommand,
     "quellon generic scan driver, Quellon, (null), (null), ids (null) 2, UI (null), [] [], "
     "gsd 1 suift 0 current 1 query 0 prop 0 0"},
    {"DefaultProductForOneModel", "ProductName=" GENERIC "\nModelName=M", L"", many,
     "Warning: default ProductName specified in ScanKELV.ini for non-GSD mode (0 or none)! Check ScanKELV.ini.\n" +
         noCommand,
     GENERIC ", Quellon, (null), M, ids (null) (null), UI (null), [] [], gsd 0 suift 0 current 1 query 0 prop 0 0"},
};
using OptionsTest = AgentTestWith<OptionsCase>;
TEST_P(OptionsTest, AnswersAndLines)
{
    const auto& [name, settings, commands, absent, messages, answers] = GetParam();
    const TemporaryFolder folder;
    const std::wstring file = folder.File(L"ScanKELV.ini"), commandLine = std::wstring(L"agent ") + commands;
    if (settings != nullptr)
        WriteFileBytes(file, std::string("[Settings]\n") + settings);
    const DebugConsoleCapture console;
    const auto options = AgentOptions::Build(file.c_str(), commandLine.c_str());
    std::string expected = settings != nullptr ? "" : "ScanKELV.ini not found. Initialize GSD mode defaults.\n";
    std::istringstream keys(absent);
    for (std::string key; keys >> key;)
        expected += key + " absent in ScanKELV.ini.\n";
    expected += messages;
    if (const std::size_t at = expected.find('*'); at != expected.npos)
        expected.replace(at, 1, Format<char>("command line: %ws\n", commandLine));
    const auto lines = console.Lines(); // the first is of the file's existence
    EXPECT_EQ(expected, Joined({lines.begin() + 1, lines.end()}));
    EXPECT_EQ(answers != nullptr ? answers : "none", options ? Answers(*options) : "none");
}
INSTANTIATE_TEST_SUITE_P(, OptionsTest, testing::ValuesIn(optionsCases), caseName);

TEST_F(AgentTest, SettingsOfFormAndLength)
{
    const std::pair<const char*, const char*> numbers[] = {
        {"Mode=A", "101"},
        {"Mode=10000", "001"},
        {"Mode=x", "001"},
        {"SUIFT=20", "011"},
        {"SUIFT=A", "001"},
        {"CurrentDeviceFeature=A", "001"},
        {"CurrentDeviceFeature=x", "001"},
        {"CurrentDeviceFeature=00", "000"}};
    const std::string one = "ProductName=One\nModelName=";
    for (const auto& [setting, expected] : numbers)
    {
        const AgentOptions o = Options(L"", one + "M\n" + setting);
        EXPECT_EQ(expected, Format<char>("%d%d%d", o.IsGsdMode(), o.IsSuiftOn(), o.IsCurrentDeviceFeatureOn()))
            << setting;
    }
    const std::string model(255, 'm');
    EXPECT_EQ(ToWide(model), Options(L"", one + model + "x").ModelName());
    EXPECT_FALSE(Options(L"", one + "M\nPropertiesUI=1").PropertiesWanted());
}
