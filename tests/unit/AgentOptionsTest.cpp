#include "AgentOptions.h"
#include "FilterTest.h"

#include <map>

namespace scankelv
{
namespace
{

using test::ToUtf8;
using test::ToWide;
using test::Wide;

using Record = std::map<std::string, std::string>;

Record RecordOf(const AgentOptions& options)
{
    const auto text = [](const WCHAR* value) { return value != nullptr ? ToUtf8(value) : "(unset)"; };
    const auto flag = [](bool value) { return std::string(value ? "1" : "0"); };
    return {
        {"product", text(options.ProductName())},
        {"isDefault", flag(options.IsDefaultProductName())},
        {"language", text(options.LanguageCode())},
        {"vendor", text(options.VendorName())},
        {"model", text(options.ModelName())},
        {"vid", text(options.VendorId())},
        {"pid", text(options.ProductId())},
        {"gsd", flag(options.IsGsdMode())},
        {"suift", flag(options.IsSuiftOn())},
        {"feature", flag(options.IsCurrentDeviceFeatureOn())},
        {"hidden", text(options.HiddenUiArgument())},
        {"hiddenRequested", flag(options.HiddenUiRequested())},
        {"more", text(options.MultiDeviceRegistryPath())},
        {"multi", flag(options.MultiSelectMode())},
        {"list", text(options.DeviceListRegistryPath())},
        {"listMode", flag(options.DeviceListMode())},
        {"query", flag(options.NeedQueryAddress())},
        {"ui", std::to_string(options.PropertiesUI())},
        {"properties", flag(options.PropertiesWanted())},
    };
}

const Record noFileNoCommand = {
    {"product", "Quellon Generic Scan Driver"},
    {"isDefault", "1"},
    {"language", "(unset)"},
    {"vendor", "Quellon"},
    {"model", "(unset)"},
    {"vid", "0"},
    {"pid", "0"},
    {"gsd", "1"},
    {"suift", "0"},
    {"feature", "1"},
    {"hidden", "(unset)"},
    {"hiddenRequested", "0"},
    {"more", ""},
    {"multi", "0"},
    {"list", ""},
    {"listMode", "0"},
    {"query", "0"},
    {"ui", "0"},
    {"properties", "0"},
};

/// The entries that differ from a record of neither file nor commands.
Record Differences(const std::optional<AgentOptions>& options)
{
    Record differences;
    if (!options)
        return {{"ended", "FATAL"}};
    for (const auto& [name, value] : RecordOf(*options))
        if (noFileNoCommand.at(name) != value)
            differences[name] = value;
    return differences;
}

class AgentOptionsTest : public test::FilterTest
{
protected:
    /// What was logged behind the line that repeats the command line, `first` being what came before it.
    static std::string LinesBehindCommandLine(const test::DebugConsoleCapture& console, std::string_view commandLine)
    {
        const std::string lines = test::AgentLines(console);
        const std::string line = "command line: " + std::string(commandLine) + "|";
        const std::size_t at = lines.find(line);
        return at == std::string::npos ? "no command line: " + lines : lines.substr(at + line.size());
    }
};

TEST_F(AgentOptionsTest, CommandLine)
{
    struct Row
    {
        const char* line;
        const char* log; ///< behind the line that repeats the command line, up to the closing count
        int count;
        Record differences;
    };
    const Row rows[] = {
        {"", "No command line found.|", 0, {}},
        {"C:\\agent.exe word \"quoted\"", "No command line found.|", 0, {}},
        {"\"C:\\Program Files\\agent.exe\" /m \"Big Scan\" /q",
         "command line found.|command 1: m|productName: Big Scan|command 2: q|",
         2,
         {{"product", "Big Scan"}, {"isDefault", "0"}, {"query", "1"}}},
        {"a /M quellon /L de /V Other /VID 1a /PID 2b /MODE 2 /U",
         "command line found.|command 1: M|productName: quellon|command 2: L|languageCode: de|command 3: V|"
         "vendorName: Other|command 4: VID|vendorId: 1a|command 5: PID|productId: 2b|command 6: MODE|gsdMode: 2|"
         "command 7: U|",
         7,
         {{"product", "quellon"},
          {"isDefault", "0"},
          {"language", "de"},
          {"vendor", "Other"},
          {"vid", "1a"},
          {"pid", "2b"},
          {"suift", "1"}}},
        {"a /more Rec\\A /DEVICELIST \"Rec B\" /H x /prop",
         "command line found.|command 1: more|multiDeviceRegistryPath: Rec\\A|command 2: DEVICELIST|"
         "multiDeviceRegistryPath: Rec B|command 3: H|hiddenUiArgument: x|command 4: prop|",
         4,
         {{"more", "Rec\\A"},
          {"multi", "1"},
          {"list", "Rec B"},
          {"listMode", "1"},
          {"hidden", "x"},
          {"hiddenRequested", "1"}}},
        // A command directly behind another leaves that one's argument empty, but assigned.
        {"a /H /Q",
         "command line found.|command 1: H|hiddenUiArgument: |command 2: Q|",
         2,
         {{"hidden", ""}, {"hiddenRequested", "1"}, {"query", "1"}}},
        // Blanks up to the end are an empty argument, the end itself is none.
        {"a /H   ",
         "command line found.|command 1: H|hiddenUiArgument: |",
         1,
         {{"hidden", ""}, {"hiddenRequested", "1"}}},
        {"a /H", "command line found.|command 1: H|hiddenUiArgument: (null)|", 1, {}},
        {"a /V x /V",
         "command line found.|command 1: V|vendorName: x|command 2: V|vendorName: x|",
         2,
         {{"vendor", "x"}}},
        {"a /V x /V y /V  z",
         "command line found.|command 1: V|vendorName: x|command 2: V|vendorName: y|command 3: V|vendorName: z|",
         3,
         {{"vendor", "z"}}},
        // Inside quotes "/" is text; outside it starts a command wherever it stands behind an argument.
        {"a /V \"x/L y\"/L z w /",
         "command line found.|command 1: V|vendorName: x/L y|command 2: L|languageCode: z|command 3: |",
         3,
         {{"vendor", "x/L y"}, {"language", "z"}}},
        {"a /V x/L /L y",
         "command line found.|command 1: V|vendorName: x/L|command 2: L|languageCode: y|",
         2,
         {{"vendor", "x/L"}, {"language", "y"}}},
        {"a /V \"open /L y", "command line found.|command 1: V|vendorName: open /L y|", 1, {{"vendor", "open /L y"}}},
        {"a /V \"\" /V",
         "command line found.|command 1: V|vendorName: |command 2: V|vendorName: |",
         2,
         {{"vendor", ""}}},
        {"a /V x\"y z\"", "command line found.|command 1: V|vendorName: x\"y|", 1, {{"vendor", "x\"y"}}},
        // Names end at a blank and at nothing else; unknown ones are counted.
        {"a /V=x /L\ty / z //q /vids 1",
         "command line found.|command 1: V=x|command 2: L\ty|command 3: |command 4: /q|command 5: vids|",
         5,
         {}},
        {"a/q b", "command line found.|command 1: q|", 1, {{"query", "1"}}},
        {"a /V \xC3\x84\xF0\x9F\x96\xA8",
         "command line found.|command 1: V|vendorName: \xC3\x84?|",
         1,
         {{"vendor", "\xC3\x84\xF0\x9F\x96\xA8"}}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.line);
        const test::DebugConsoleCapture console;
        const auto options = AgentOptions::Build(OLESTR(""), ToWide(row.line).c_str());
        EXPECT_EQ(row.differences, Differences(options));
        if (std::string_view(row.line).find('\xF0') != std::string_view::npos)
            continue; // how the log shows it follows the code page
        const std::string closing = std::to_string(row.count) + " commands processed|needQueryAddress: " +
                                    (options && options->NeedQueryAddress() ? "1|" : "0|");
        EXPECT_EQ(row.log + closing, LinesBehindCommandLine(console, row.line));
    }
}

TEST_F(AgentOptionsTest, CommandLineOfAnyLength)
{
    const std::string longText(70000, 'x');
    const auto options =
        AgentOptions::Build(OLESTR(""), ToWide(longText + " /V " + longText + " /L \"" + longText + "\" /Q").c_str());
    EXPECT_EQ((Record{{"vendor", longText}, {"language", longText}, {"query", "1"}}), Differences(options));
}

constexpr const char* oneModel = "ProductName=One\r\nModelName=M\r\n";

/// The messages of absent keys, but for those named.
std::string Absent(const std::vector<std::string>& present)
{
    std::string messages;
    for (const char* key :
         {"LanguageCode", "VendorName", "ModelName", "VendorId", "ProductId", "SUIFT", "Mode", "CurrentDeviceFeature",
          "PropertiesUI"})
        if (std::find(present.begin(), present.end(), key) == present.end())
            messages += std::string(key) + " absent in ScanKELV.ini.|";
    return messages;
}

TEST_F(AgentOptionsTest, SettingsFile)
{
    const std::string both = "both ModelName and ProductId present in ScanKELV.ini. Verify they do not conflict.|";
    const std::string notDefault =
        "Warning: Mode=1 specified in ScanKELV.ini, but ProductName is not default one! Check ScanKELV.ini.|";
    const std::string isDefault = "Warning: default ProductName specified in ScanKELV.ini for non-GSD mode (0 or "
                                  "none)! Check ScanKELV.ini.|";
    const std::string filterForGsd =
        "WARNING: Model name filter specified for GSD! Check ScanKELV.ini and command line.|";
    const std::string noProduct = "FATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini.|";
    const std::string neither = "FATAL: both ModelName and ProductId absent in ScanKELV.ini! Check ScanKELV.ini.|";
    const std::string noModel = "FATAL: No model name provided for GSD! Check ScanKELV.ini and command line.|";
    const Record single = {{"product", "One"}, {"isDefault", "0"}, {"model", "M"},
                           {"vid", "(unset)"}, {"pid", "(unset)"}, {"gsd", "0"}};
    const auto singleBut = [&](const Record& others) {
        Record record = single;
        for (const auto& [name, value] : others)
            if (noFileNoCommand.at(name) == value)
                record.erase(name);
            else
                record[name] = value;
        return record;
    };
    const Record ended = {{"ended", "FATAL"}};

    struct Row
    {
        std::string settings;
        const char* commands;
        std::string before; ///< the command line's own lines
        std::string after;  ///< them; not looked at when the settings ended the build
        Record differences;
    };
    const Row rows[] = {
        {oneModel, "", Absent({"ModelName"}), "", single},
        {"ProductName=One\r\nLanguageCode=de\r\nVendorName=V\r\nModelName=M\r\nVendorId=1\r\nProductId=2\r\nSUIFT=1\r\n"
         "Mode=0\r\nCurrentDeviceFeature=0\r\nPropertiesUI=6844\r\n",
         "/PROP",
         both,
         "",
         {{"product", "One"},
          {"isDefault", "0"},
          {"language", "de"},
          {"vendor", "V"},
          {"model", "M"},
          {"vid", "1"},
          {"pid", "2"},
          {"gsd", "0"},
          {"suift", "1"},
          {"feature", "0"},
          {"ui", "6844"},
          {"properties", "1"}}},
        // The command line comes after the file.
        {oneModel, "/M Two /V W /D \"\"", Absent({"ModelName"}), "",
         singleBut({{"product", "Two"}, {"vendor", "W"}, {"model", ""}})},
        {std::string(oneModel) + "PropertiesUI=0\r\n", "/PROP", Absent({"ModelName", "PropertiesUI"}), "", single},
        {std::string(oneModel) + "PropertiesUI=1\r\n", "", Absent({"ModelName", "PropertiesUI"}), "",
         singleBut({{"ui", "1"}})},
        // Numbers in texts.
        {std::string(oneModel) + "Mode=A\r\n", "", Absent({"ModelName", "Mode"}) + notDefault, filterForGsd,
         singleBut({{"gsd", "1"}})},
        {std::string(oneModel) + "Mode=x\r\nCurrentDeviceFeature=x\r\nSUIFT=x\r\n", "",
         Absent({"ModelName", "Mode", "CurrentDeviceFeature", "SUIFT"}), "", single},
        {std::string(oneModel) + "Mode=10000\r\nCurrentDeviceFeature=-0\r\nSUIFT=0x1\r\n", "",
         Absent({"ModelName", "Mode", "CurrentDeviceFeature", "SUIFT"}), "", singleBut({{"feature", "0"}})},
        {std::string(oneModel) + "SUIFT=9 \r\n", "", Absent({"ModelName", "SUIFT"}), "", singleBut({{"suift", "1"}})},
        {std::string(oneModel) + "SUIFT=0\r\n", "/u x", Absent({"ModelName", "SUIFT"}), "",
         singleBut({{"suift", "1"}})},
        // What a value is.
        {"ProductName=One\r\nModelName=TARN ; all of them\r\n", "", Absent({"ModelName"}), "",
         singleBut({{"model", "TARN "}})},
        {"ProductName=One\r\nModelName=" + std::string(300, 'n') + "\r\n", "", Absent({"ModelName"}), "",
         singleBut({{"model", std::string(255, 'n')}})},
        {std::string(oneModel) + "VendorName=\r\n", "", Absent({"ModelName"}), "", single},
        // The generic driver.
        {"ProductName=Quellon Generic Scan Driver\r\nMode=1\r\nProductId=7\r\n",
         "",
         Absent({"ProductId", "Mode"}),
         "",
         {{"vid", "(unset)"}, {"pid", "7"}}},
        {"ProductName=Quellon Generic Scan Driver\r\nModelName=M\r\n", "", Absent({"ModelName"}) + isDefault, "",
         singleBut({{"product", "Quellon Generic Scan Driver"}, {"isDefault", "1"}})},
        {"ProductName=quellon generic scan driver\r\nModelName=M\r\nMode=1\r\n", "",
         Absent({"ModelName", "Mode"}) + notDefault, filterForGsd,
         singleBut({{"product", "quellon generic scan driver"}, {"gsd", "1"}})},
        // What ends the process.
        {"ModelName=M\r\n", "", noProduct, "", ended},
        {"ProductName=\r\nModelName=M\r\n", "", noProduct, "", ended},
        {"ProductName=;\r\nModelName=M\r\n", "", Absent({"ModelName"}), "", singleBut({{"product", ""}})},
        {std::string("\0\xFF\xFE\r\n=\r\n[", 8), "", noProduct, "", ended},
        {"ProductName=One\r\n", "/D M", Absent({}) + neither, "", ended},
        {"ProductName=One\r\nProductId=7\r\n", "", Absent({"ProductId"}), noModel, ended},
        {"ProductName=One\r\nProductId=7\r\n", "/D M", Absent({"ProductId"}), "", singleBut({{"pid", "7"}})},
        {oneModel, "/mode 1", Absent({"ModelName"}), filterForGsd, singleBut({{"gsd", "1"}})},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.settings + " " + row.commands);
        const test::TemporaryFolder folder;
        const Wide file = folder.File("ScanKELV.ini");
        test::WriteFileBytes(file, "[Settings]\r\n" + row.settings);
        const std::string line = std::string("agent ") + row.commands;
        const test::DebugConsoleCapture console;
        const auto options = AgentOptions::Build(file.c_str(), ToWide(line).c_str());
        EXPECT_EQ(row.differences, Differences(options));
        const std::string lines = test::AgentLines(console);
        const std::string start = "File \"" + ToUtf8(file) + "\" does exist.|" + row.before;
        EXPECT_EQ(start, lines.substr(0, start.size()));
        if (row.before.find("FATAL:") != std::string::npos)
            EXPECT_EQ(start, lines);
        else
            EXPECT_TRUE(lines.ends_with(" commands processed|needQueryAddress: 0|" + row.after)) << lines;
    }
}

TEST_F(AgentOptionsTest, WithoutSettingsFile)
{
    const test::TemporaryFolder folder;
    ::CreateDirectoryW(folder.File("Folder.ini").c_str(), nullptr);
    const std::string defaults =
        "ScanKELV.ini not found. Initialize GSD mode defaults.|command line: a|No command line "
        "found.|0 commands processed|needQueryAddress: 0|";
    const Wide paths[] = {Wide(), folder.File("absent.ini"), folder.File("Folder.ini")};
    for (const Wide& path : paths)
    {
        SCOPED_TRACE(ToUtf8(path));
        const test::DebugConsoleCapture console;
        const auto options = AgentOptions::Build(path.c_str(), OLESTR("a"));
        ASSERT_TRUE(options.has_value());
        EXPECT_EQ(noFileNoCommand, RecordOf(*options));
        EXPECT_EQ(
            (path.empty() ? "" : "File \"" + ToUtf8(path) + "\" does not exist!|") + defaults,
            test::AgentLines(console));
    }
    const test::DebugConsoleCapture console;
    EXPECT_FALSE(AgentOptions::Build(OLESTR(""), OLESTR("a /MODE 0")).has_value());
    EXPECT_TRUE(test::AgentLines(console).ends_with(
        "needQueryAddress: 0|FATAL: No model name provided for GSD! Check ScanKELV.ini and command line.|"));
    EXPECT_TRUE(AgentOptions::Build(OLESTR(""), OLESTR("a /MODE 0 /D ")).has_value());
}

TEST_F(AgentOptionsTest, EncodingsOfTheSettingsFile)
{
    const Wide text = ToWide("[Settings]\r\nProductName=Gr\xC3\xB6\xC3\x9F"
                             "e\r\nModelName=M\r\n");
    const std::string contents[] = {
        NarrowFromWide(text),
        "\xFF\xFE" + test::Utf16Bytes(text),
    };
    for (const std::string& bytes : contents)
    {
        SCOPED_TRACE(bytes);
        const test::TemporaryFolder folder;
        test::WriteFileBytes(folder.File("s.ini"), bytes);
        const auto options = AgentOptions::Build(folder.File("s.ini").c_str(), OLESTR("a"));
        ASSERT_TRUE(options.has_value());
        EXPECT_EQ(
            "Gr\xC3\xB6\xC3\x9F"
            "e",
            ToUtf8(options->ProductName()));
    }
}

} // namespace
} // namespace scankelv
