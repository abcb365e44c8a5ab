#include "OptionsTest.h"

#include <map>

using namespace scankelv;
using namespace test;

namespace
{

using Record = std::map<std::string, std::string>;

Record RecordOf(const AgentOptions& options)
{
    const auto text = [](const WCHAR* value) { return value != nullptr ? ToUtf8(value) : "(unset)"; };
    const auto flag = [](bool value) { return std::string(value ? "1" : "0"); };
    return {
        {"product", text(options.ProductName())},
        {"language", text(options.LanguageCode())},
        {"vendor", text(options.VendorName())},
        {"model", text(options.ModelName())},
        {"vid", text(options.VendorId())},
        {"pid", text(options.ProductId())},
        {"gsd", flag(options.IsGsdMode())},
        {"suift", flag(options.IsSuiftOn())},
        {"feature", flag(options.IsCurrentDeviceFeatureOn())},
        {"hidden", text(options.HiddenUiArgument())},
        {"more", text(options.MultiDeviceRegistryPath())},
        {"list", text(options.DeviceListRegistryPath())},
        {"query", flag(options.NeedQueryAddress())},
        {"ui", std::to_string(options.PropertiesUI())},
        {"properties", flag(options.PropertiesWanted())}};
}

/// The entries that are not the usual ones, a bar behind each, in the order of their names.
std::string Differences(const std::optional<AgentOptions>& options, const Record& usual)
{
    std::string differences = options ? "" : "ended";
    for (const auto& [name, value] : options ? RecordOf(*options) : Record())
        if (const auto found = usual.find(name); found == usual.end() || found->second != value)
            differences.append(name).append("=").append(value).append("|");
    return differences;
}

using AgentOptionsTest = OptionsTest;

TEST_F(AgentOptionsTest, WithoutSettingsFile)
{
    const TemporaryFolder folder;
    for (const Wide& path : {Wide(), folder.File("absent.ini")})
    {
        const DebugConsoleCapture console;
        EXPECT_EQ(
            "feature=1|gsd=1|hidden=(unset)|language=(unset)|list=|model=(unset)|more=|pid=0|product=Quellon Generic "
            "Scan Driver|properties=0|query=0|suift=0|ui=0|vendor=Quellon|vid=0|",
            Differences(AgentOptions::Build(path.c_str(), OLESTR("a")), {}));
        EXPECT_EQ(
            (path.empty() ? "" : "File \"" + ToUtf8(path) + "\" does not exist!|") +
                "ScanKELV.ini not found. Initialize GSD mode defaults.|command line: a|No command line found.|"
                "0 commands processed|needQueryAddress: 0|",
            AgentLines(console));
    }
}

TEST_F(AgentOptionsTest, CommandLine)
{
    const struct
    {
        const char* line;
        std::string log; ///< of the commands
        const char* differences;
    } rows[] = {
        {"C:\\agent.exe word \"quoted\"", "", ""},
        {"\"C:\\Program Files\\agent.exe\" /m \"Big Scan\" /q", "command 1: m|productName: Big Scan|command 2: q|",
         "product=Big Scan|query=1|"},
        {"a /M quellon /L de /V Other /VID 1a /PID 2b /MODE 2 /U",
         "command 1: M|productName: quellon|command 2: L|languageCode: de|command 3: V|vendorName: Other|"
         "command 4: VID|vendorId: 1a|command 5: PID|productId: 2b|command 6: MODE|gsdMode: 2|command 7: U|",
         "language=de|pid=2b|product=quellon|suift=1|vendor=Other|vid=1a|"},
        {"a /more Rec\\A /DEVICELIST \"Rec B\" /H x /prop",
         "command 1: more|multiDeviceRegistryPath: Rec\\A|command 2: DEVICELIST|multiDeviceRegistryPath: Rec B|"
         "command 3: H|hiddenUiArgument: x|command 4: prop|",
         "hidden=x|list=Rec B|more=Rec\\A|"},
        // A command directly behind another leaves that one's argument empty, but assigned.
        {"a /H /Q", "command 1: H|hiddenUiArgument: |command 2: Q|", "hidden=|query=1|"},
        // Blanks up to the end are an empty argument, the end itself is none.
        {"a /MODE 0 /D  ", "command 1: MODE|gsdMode: 0|command 2: D|modelName: |", "gsd=0|model=|"},
        {"a /H", "command 1: H|hiddenUiArgument: (null)|", ""},
        {"a /V x /V   y /V", "command 1: V|vendorName: x|command 2: V|vendorName: y|command 3: V|vendorName: y|",
         "vendor=y|"},
        // Inside quotes "/" is text; outside it starts a command wherever it stands behind an argument.
        {"a /V \"x/L y\"/L z w /", "command 1: V|vendorName: x/L y|command 2: L|languageCode: z|command 3: |",
         "language=z|vendor=x/L y|"},
        {"a /V x/L /L y", "command 1: V|vendorName: x/L|command 2: L|languageCode: y|", "language=y|vendor=x/L|"},
        {"a /V \"open /L y", "command 1: V|vendorName: open /L y|", "vendor=open /L y|"},
        {"a /V \"\" /V", "command 1: V|vendorName: |command 2: V|vendorName: |", "vendor=|"},
        {"a /V x\"y z\"", "command 1: V|vendorName: x\"y|", "vendor=x\"y|"},
        // Names end at a blank and at nothing else; unknown ones are counted.
        {"a /V=x /L\ty / z //q /vids 1", "command 1: V=x|command 2: L\ty|command 3: |command 4: /q|command 5: vids|",
         ""},
        {"a/q b", "command 1: q|", "query=1|"},
    };
    const Record usual = RecordOf(Options(""));
    for (const auto& [line, log, differences] : rows)
    {
        SCOPED_TRACE(line);
        std::size_t count = 0;
        for (std::size_t at = 0; (at = log.find("command ", at)) != log.npos; ++at)
            ++count;
        const DebugConsoleCapture console;
        const auto options = AgentOptions::Build(OLESTR(""), ToWide(line).c_str());
        EXPECT_EQ(differences, Differences(options, usual));
        EXPECT_EQ(
            "ScanKELV.ini not found. Initialize GSD mode defaults.|command line: " + std::string(line) +
                (count != 0 ? "|command line found.|" : "|No command line found.|") + log + std::to_string(count) +
                " commands processed|needQueryAddress: " + (options && options->NeedQueryAddress() ? "1|" : "0|"),
            AgentLines(console));
    }
    const std::string text = std::string(70000, 'x') + "\xC3\x84\xF0\x9F\x96\xA8";
    EXPECT_EQ(
        "language=" + text + "|query=1|vendor=" + text + "|",
        Differences(Options("/V " + text + " /L \"" + text + "\" /Q"), usual));
}

TEST_F(AgentOptionsTest, SettingsFile)
{
    const std::string one = "ProductName=One\r\nModelName=M\r\n";
    const std::string generic = "ProductName=Quellon Generic Scan Driver\r\n";
    const char* const notDefault =
        "Warning: Mode=1 specified in ScanKELV.ini, but ProductName is not default one! Check ScanKELV.ini.|";
    const char* const filterForGsd =
        "WARNING: Model name filter specified for GSD! Check ScanKELV.ini and command line.|";
    const struct
    {
        std::string settings;
        const char* commands;
        std::string before; ///< the command line's own lines, but for those of absent keys
        const char* after;  ///< them
        const char* differences;
    } rows[] = {
        {one + "LanguageCode=de\r\nVendorName=V\r\nVendorId=1\r\nProductId=2\r\nSUIFT=1\r\nMode=0\r\n"
               "CurrentDeviceFeature=0\r\nPropertiesUI=6844\r\n",
         "/PROP", "both ModelName and ProductId present in ScanKELV.ini. Verify they do not conflict.|", "",
         "feature=0|language=de|pid=2|properties=1|suift=1|ui=6844|vendor=V|vid=1|"},
        // The command line comes after the file.
        {one, "/M Two /V W /D \"\"", "", "", "model=|product=Two|vendor=W|"},
        {one, "/mode 1", "", filterForGsd, "gsd=1|"},
        {one + "SUIFT=0\r\n", "/u x", "", "", "suift=1|"},
        {one + "PropertiesUI=0\r\n", "/PROP", "", "", ""},
        {one + "PropertiesUI=1\r\n", "", "", "", "ui=1|"},
        // Numbers in texts.
        {one + "Mode=A\r\n", "", notDefault, filterForGsd, "gsd=1|"},
        {one + "Mode=x\r\nCurrentDeviceFeature=x\r\nSUIFT=x\r\n", "", "", "", ""},
        {one + "Mode=10000\r\nCurrentDeviceFeature=-0\r\nSUIFT=0x1\r\n", "", "", "", "feature=0|"},
        // The generic driver.
        {generic + "Mode=1\r\nProductId=7\r\n", "", "", "",
         "gsd=1|model=(unset)|pid=7|product=Quellon Generic Scan Driver|"},
        {generic + "ModelName=M\r\n", "",
         "Warning: default ProductName specified in ScanKELV.ini for non-GSD mode (0 or none)! Check ScanKELV.ini.|",
         "", "product=Quellon Generic Scan Driver|"},
        {"ProductName=quellon generic scan driver\r\nModelName=M\r\nMode=1\r\n", "", notDefault, filterForGsd,
         "gsd=1|product=quellon generic scan driver|"},
        // A command may name the model, but only where a product id has let the file pass.
        {"ProductName=One\r\nProductId=7\r\n", "/D M", "", "", "pid=7|"},
        {"ProductName=One\r\n", "/D M",
         "FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini.|", "", "ended"},
        {"ProductName=\r\nModelName=M\r\n", "", "FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini.|", "",
         "ended"},
    };
    const Record usual = RecordOf(Options("", one));
    EXPECT_EQ(
        "gsd=0|model=M|pid=(unset)|product=One|vid=(unset)|", Differences(Options("", one), RecordOf(Options(""))));
    const TemporaryFolder folder;
    const Wide file = folder.File("ScanKELV.ini");
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.settings + row.commands);
        WriteFileBytes(file, "[Settings]\r\n" + row.settings);
        std::string before = "File \"" + ToUtf8(file) + "\" does exist.|";
        for (const char* const key :
             {"LanguageCode", "VendorName", "ModelName", "VendorId", "ProductId", "SUIFT", "Mode",
              "CurrentDeviceFeature", "PropertiesUI"})
            if (!row.before.starts_with("FATAL: P") &&
                row.settings.find(std::string("\n") + key + "=") == std::string::npos)
                before += std::string(key) + " absent in ScanKELV.ini.|";
        before += row.before;
        const DebugConsoleCapture console;
        const auto options = AgentOptions::Build(file.c_str(), ToWide(std::string("a ") + row.commands).c_str());
        EXPECT_EQ(row.differences, Differences(options, usual));
        const std::string lines = AgentLines(console);
        EXPECT_EQ(
            options ? before + "command line: a " : before, options ? lines.substr(0, before.size() + 16) : lines);
        EXPECT_EQ(options.has_value(), lines.ends_with(std::string("needQueryAddress: 0|") + row.after)) << lines;
    }
}

TEST_F(AgentOptionsTest, EncodingsOfTheSettingsFile)
{
    const TemporaryFolder folder;
    const Wide text = ToWide("[Settings]\r\nProductName=Gr\xC3\xB6\xC3\x9F\x65\r\nModelName=M\r\n");
    for (const std::string& bytes : {NarrowFromWide(text), "\xFF\xFE" + Utf16Bytes(text)})
    {
        WriteFileBytes(folder.File("s.ini"), bytes);
        const auto options = AgentOptions::Build(folder.File("s.ini").c_str(), OLESTR("a"));
        EXPECT_EQ("Gr\xC3\xB6\xC3\x9F\x65", ToUtf8(options.value().ProductName()));
    }
}

} // namespace
