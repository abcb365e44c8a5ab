#include "OptionsTest.h"

#include <algorithm>

using namespace scankelv;
using namespace test;

namespace
{

using AgentOptionsTest = OptionsTest;

std::vector<std::string> Entries(const AgentOptions& options)
{
    const auto text = [](const WCHAR* value) { return value != nullptr ? "[" + ToUtf8(value) + "]" : "unset"; };
    return {
        "product " + text(options.ProductName()),
        "language " + text(options.LanguageCode()),
        "vendor " + text(options.VendorName()),
        "model " + text(options.ModelName()),
        "vid " + text(options.VendorId()),
        "pid " + text(options.ProductId()),
        "hidden " + text(options.HiddenUiArgument()),
        "more " + text(options.MultiDeviceRegistryPath()),
        "list " + text(options.DeviceListRegistryPath()),
        Format<char>(
            "gsd %d, suift %d, feature %d", options.IsGsdMode(), options.IsSuiftOn(),
            options.IsCurrentDeviceFeatureOn()),
        Format<char>("query %d, properties %lu", options.NeedQueryAddress(), options.PropertiesUI()) +
            (options.PropertiesWanted() ? " wanted" : "")};
}

TEST_F(AgentOptionsTest, SettingsAndCommandLines)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("ScanKELV.ini");
    std::vector<std::string> usual; // entries of the first case
    ExpectAnswers("unit/data/AgentOptions.txt", [&](const std::string& given) {
        const std::size_t bar = given.find('|');
        if (bar != 0)
            WriteFileBytes(file, "[Settings]\r\n" + given.substr(0, bar));
        const DebugConsoleCapture console;
        const auto options = AgentOptions::Build(file.c_str(), ToWide(given.substr(bar + 1)).c_str());
        ::DeleteFileW(file.c_str());
        const std::string log = AgentLines(console);
        const std::string start =
            bar == 0 ? " does not exist!\nScanKELV.ini not found. Initialize GSD mode defaults.\n" : " does exist.\n";
        const std::size_t from = log.find(start);
        EXPECT_LT(from, log.find('\n')) << log;
        std::istringstream lines(log.substr(from + start.size()));
        std::string absent, answer;
        for (std::string line; std::getline(lines, line);)
            if (line.ends_with(" absent in ScanKELV.ini."))
                absent += " " + line.substr(0, line.find(' '));
            else
                answer += line + "\n";
        answer = (absent.empty() ? "" : "absent:" + absent + "\n") + answer;
        if (!options)
            return answer + "ended\n";
        for (const std::string& entry : Entries(*options))
            if (std::ranges::find(usual, entry) == usual.end())
                answer += entry + "\n";
        if (usual.empty())
            usual = Entries(*options);
        return answer;
    });
    const DebugConsoleCapture console;
    const std::string text = std::string(70000, 'x') + "\xC3\x84\xF0\x9F\x96\xA8";
    const auto options = AgentOptions::Build(OLESTR(""), ToWide("a /V " + text + " /L \"" + text + "\" /Q").c_str());
    EXPECT_TRUE(AgentLines(console).starts_with("ScanKELV.ini not found."));
    EXPECT_EQ("language [" + text + "]vendor [" + text + "]", Entries(*options)[1] + Entries(*options)[2]);
}

TEST_F(AgentOptionsTest, EncodingsOfTheSettingsFile)
{
    const TemporaryFolder folder;
    const Wide text = ToWide("[Settings]\r\nProductName=Größe\r\nModelName=M\r\n");
    for (const std::string& bytes : {NarrowFromWide(text), "\xFF\xFE" + Utf16Bytes(text)})
    {
        WriteFileBytes(folder.File("s.ini"), bytes);
        const auto options = AgentOptions::Build(folder.File("s.ini").c_str(), OLESTR("a"));
        EXPECT_EQ("Größe", ToUtf8(options.value().ProductName()));
    }
}

} // namespace
