#include "OptionsTest.h"

using namespace scankelv;
using namespace test;

namespace
{

using AgentOptionsTest = OptionsTest;

std::string Entries(const AgentOptions& options)
{
    return Format<char>(
        "product [%ws]\nlanguage [%ws]\nvendor [%ws]\nmodel [%ws]\nvid [%ws]\npid [%ws]\nhidden [%ws]\nmore [%ws]\n"
        "list [%ws]\ngsd %d, suift %d, feature %d\nquery %d, properties %lu, wanted %d\n",
        options.ProductName(), options.LanguageCode(), options.VendorName(), options.ModelName(), options.VendorId(),
        options.ProductId(), options.HiddenUiArgument(), options.MultiDeviceRegistryPath(),
        options.DeviceListRegistryPath(), options.IsGsdMode(), options.IsSuiftOn(), options.IsCurrentDeviceFeatureOn(),
        options.NeedQueryAddress(), options.PropertiesUI(), options.PropertiesWanted());
}

TEST_F(AgentOptionsTest, SettingsAndCommandLines)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("ScanKELV.ini");
    std::string usual; // entries of the first case
    ExpectAnswers("unit/data/AgentOptions.txt", [&](const std::string& given) {
        const std::size_t bar = given.find('|');
        if (bar != 0)
            WriteFileBytes(file, "[Settings]\r\n" + given.substr(0, bar));
        const DebugConsoleCapture console;
        const auto options = AgentOptions::Build(file.c_str(), ToWide(given.substr(bar + 1)).c_str());
        ::DeleteFileW(file.c_str());
        std::istringstream log(AgentLines(console)), entries(options ? Entries(*options) : "ended\n");
        std::string absent, answer;
        std::string line;
        std::getline(log, line);
        EXPECT_TRUE(line.ends_with(bar == 0 ? "ScanKELV.ini\" does not exist!" : "ScanKELV.ini\" does exist.")) << line;
        while (std::getline(log, line))
            if (line.ends_with(" absent in ScanKELV.ini."))
                absent += " " + line.substr(0, line.find(' '));
            else
                answer += line + "\n";
        while (std::getline(entries, line))
            if (usual.find(line + "\n") == usual.npos)
                answer += line + "\n";
        usual = usual.empty() ? Entries(*options) : usual;
        return (absent.empty() ? "" : "absent:" + absent + "\n") + answer;
    });
}

} // namespace
