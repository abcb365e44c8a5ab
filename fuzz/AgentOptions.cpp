// A command line (the first line) and a settings file (what follows; nothing: no file).
#include "AgentOptions.h"

#include "Fuzz.h"

#include <algorithm>
#include <map>
#include <optional>

namespace
{

using namespace fuzz;
using scankelv::AgentOptions;
using Text = std::optional<WideText>;

constexpr const WCHAR* settingsPath = OLESTR("C:\\ScanKELV.ini");

std::optional<AgentOptions> Build(bool withSettings, const WideText& line)
{
    return AgentOptions::Build(withSettings ? settingsPath : OLESTR(""), line.c_str());
}

/// The last argument of each command by its name in capitals; no text for one that ended the line.
std::map<WideText, Text> Commands(const WideText& line)
{
    std::map<WideText, Text> commands;
    std::size_t at = 0;
    while (at < line.size())
    {
        if (line[at++] != '/')
            continue;
        WideText name;
        while (at < line.size() && line[at] != ' ')
            name += line[at++];
        Text& last = commands[Upper(name)];
        if (at == line.size())
            break;
        while (at < line.size() && line[at] == ' ')
            ++at;
        WideText argument;
        if (at < line.size() && line[at] == '"')
            for (++at; at < line.size() && line[at] != '"';)
                argument += line[at++];
        else if (at < line.size() && line[at] != '/')
            while (at < line.size() && line[at] != ' ')
                argument += line[at++];
        last = argument;
    }
    return commands;
}

Text Nullable(const WCHAR* text)
{
    return text == nullptr ? Text() : Text(text);
}

/// One of the last four hexadecimal digits is not 0. (The C library's "%hx" does the same, but promises nothing for
/// a number that is too large.)
bool IsOn(WideView text)
{
    const auto drop = [&](std::size_t count) { text.remove_prefix(std::min(count, text.size())); };
    drop(text.find_first_not_of(OLESTR(" \t\n\v\f\r")));
    drop(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
    drop(Upper(text.substr(0, 2)) == OLESTR("0X") ? 2 : 0);
    text = text.substr(0, text.find_first_not_of(OLESTR("0123456789abcdefABCDEF")));
    drop(std::max<std::size_t>(text.size(), 4) - 4);
    return text.find_first_not_of('0') != text.npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view input = TextOf(data, size);
    const WideText line = Widen(TakeLine(input)).c_str(); // up to its terminator
    const bool withSettings = !input.empty();
    if (withSettings)
        WriteMachineFile("ScanKELV.ini", input);

    // The settings alone, with a command that keeps the record consistent: one shows all but the mode, one the mode.
    const std::optional<AgentOptions> settings = Build(withSettings, OLESTR("agent /MODE 1"));
    const std::optional<AgentOptions> settingsMode = Build(withSettings, OLESTR("agent /D model"));
    const std::optional<AgentOptions> built = Build(withSettings, line);
    Require(settings.has_value() == settingsMode.has_value(), "settings are whole or not, whatever the command line");
    if (!settings)
    {
        Require(!built, "a command line mends no settings");
        return 0;
    }

    const std::map<WideText, Text> commands = Commands(line);
    const auto given = [&](const char* name) { return commands.contains(Widen(name)); };
    const auto overridden = [&](const char* name, const Text& otherwise) {
        const auto command = commands.find(Widen(name));
        return command != commands.end() && command->second ? command->second : otherwise;
    };
    const Text model = overridden("D", Nullable(settings->ModelName()));
    const Text mode = overridden("MODE", settingsMode->IsGsdMode() ? OLESTR("1") : OLESTR("0"));
    const bool isGsd = IsOn(*mode);
    Require(built.has_value() == (isGsd || model), "a record has a model or the generic-driver mode");
    if (!built)
        return 0;

    const Text none;
    const struct
    {
        const char* what;
        Text is;
        Text expected;
    } texts[] = {
        {"product name", built->ProductName(), overridden("M", settings->ProductName())},
        {"language code", Nullable(built->LanguageCode()), overridden("L", Nullable(settings->LanguageCode()))},
        {"vendor name", built->VendorName(), overridden("V", settings->VendorName())},
        {"model name", Nullable(built->ModelName()), model},
        {"vendor id", Nullable(built->VendorId()), overridden("VID", Nullable(settings->VendorId()))},
        {"product id", Nullable(built->ProductId()), overridden("PID", Nullable(settings->ProductId()))},
        {"hidden argument", Nullable(built->HiddenUiArgument()), overridden("H", none)},
        {"records' path", built->MultiDeviceRegistryPath(), overridden("MORE", WideText())},
        {"list's path", built->DeviceListRegistryPath(), overridden("DEVICELIST", WideText())},
    };
    for (const auto& [what, is, expected] : texts)
        Require(is == expected, "a text is the last command's, else the settings'", what);
    Require(built->IsGsdMode() == isGsd, "the mode is the last command's, else the settings'");
    Require(built->IsSuiftOn() == (given("U") || settings->IsSuiftOn()), "U switches on");
    Require(built->NeedQueryAddress() == given("Q"), "Q asks for the online testing");
    Require(built->PropertiesWanted() == (given("PROP") && settings->PropertiesUI() != 0), "PROP needs the permission");
    Require(built->HiddenUiRequested() == (built->HiddenUiArgument() != nullptr), "hidden when there is an argument");
    return 0;
}
