// A command line (the first line) and a settings file (what follows; nothing: no file): what the record of both holds,
// said as a command line, gives the same record.
#include "AgentOptions.h"

#include "Fuzz.h"

#include <optional>
#include <utility>

using namespace fuzz;

namespace
{

constexpr std::pair<const WCHAR*, const WCHAR* (AgentOptions::*)() const> texts[] = {
    {OLESTR(" /m "), &AgentOptions::ProductName},
    {OLESTR(" /L "), &AgentOptions::LanguageCode},
    {OLESTR(" /v "), &AgentOptions::VendorName},
    {OLESTR(" /D "), &AgentOptions::ModelName},
    {OLESTR(" /vId "), &AgentOptions::VendorId},
    {OLESTR(" /PID "), &AgentOptions::ProductId},
    {OLESTR(" /h "), &AgentOptions::HiddenUiArgument},
    {OLESTR(" /MORE "), &AgentOptions::MultiDeviceRegistryPath},
    {OLESTR(" /DeviceList "), &AgentOptions::DeviceListRegistryPath},
};

/// Each text in quotes only where it must be, and behind another one: the last counts. @return nothing for a text that
/// has no form on a command line
std::optional<WideText> CommandLineOf(const AgentOptions& record)
{
    WideText line = record.IsGsdMode() ? OLESTR("agent /MODE 0 /Mode 1") : OLESTR("agent /MODE 1 /Mode 0");
    line += record.IsSuiftOn() ? OLESTR(" /u") : OLESTR("");
    line += record.NeedQueryAddress() ? OLESTR(" /q") : OLESTR("");
    line += record.PropertiesWanted() ? OLESTR(" /prop") : OLESTR("");
    for (const auto& [command, member] : texts)
    {
        if ((record.*member)() == nullptr)
            continue;
        const WideText text = (record.*member)();
        const bool isPlain = !text.starts_with('/') && !text.starts_with('"') && text.find(' ') == text.npos;
        if (!isPlain && text.find('"') != text.npos)
            return std::nullopt;
        line = line + command + OLESTR("other") + command + OLESTR(" ") +
               (isPlain ? text : OLESTR('"') + text + OLESTR('"'));
    }
    return line + OLESTR(" /M"); // without an argument, at the end: it changes nothing
}

} // namespace

void fuzz::Try(std::string_view input)
{
    const WideText line = Widen(TakeLine(input)).c_str(); // up to its terminator
    WriteFile(OnDrive("ScanKELV.ini"), input);
    const WCHAR* const settings = input.empty() ? OLESTR("") : OLESTR("C:\\ScanKELV.ini");

    const auto whole = AgentOptions::Build(settings, OLESTR("agent /D model"));
    const auto built = AgentOptions::Build(settings, line.c_str());
    Require(whole.has_value() || !built, "a command line mends no settings");
    Require(!built || built->IsGsdMode() || built->ModelName() != nullptr, "a record has a model or the generic mode");
    // What was said alone wins over the settings as well.
    for (const auto& record : {built, AgentOptions::Build(OLESTR(""), line.c_str())})
    {
        const auto said = whole && record ? CommandLineOf(*record) : std::nullopt;
        if (!said)
            continue;
        const auto again = AgentOptions::Build(settings, said->c_str());
        Require(again.has_value(), "a record can be said");
        for (const auto& [command, text] : texts)
            if (const WCHAR* const given = ((*record).*text)())
                Require(WideText(given) == ((*again).*text)(), "a text reads as it was said");
        for (const auto isOn :
             {&AgentOptions::IsGsdMode, &AgentOptions::NeedQueryAddress, &AgentOptions::HiddenUiRequested,
              &AgentOptions::PropertiesWanted})
            Require(((*again).*isOn)() == ((*record).*isOn)(), "a switch is what was said last");
        Require(again->IsSuiftOn() || !record->IsSuiftOn(), "U switches on");
    }
}
