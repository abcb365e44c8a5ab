// Texts from outside: what a device tells of itself, read as an identifier, as a number, as a text of a log line and as
// a command line. The first line of the input is the vendor that is asked for.
#include "CommandLine.h"
#include "DeviceIdentifier.h"
#include "Latin1.h"
#include "ModelComparison.h"
#include "TextScan.h"

#include <cstdlib>
#include <tuple>
#include <vector>

using namespace scankelv;

/// A property that holds for every input; one for which it does not is a finding.
static void Require(bool holds)
{
    if (!holds)
        std::abort();
}

/// UTF-16 units of UTF-8, also of malformed bytes, so that every text of 16-bit units has an input.
static std::wstring Widen(std::string_view text)
{
    std::wstring wide;
    for (const char c : text)
        if (const int byte = static_cast<unsigned char>(c); (byte & 0xC0) == 0x80 && !wide.empty())
            wide.back() = static_cast<wchar_t>((wide.back() << 6 | (byte & 0x3F)) & 0xFFFF);
        else
            wide += static_cast<wchar_t>(byte < 0xC0 ? byte : byte & (byte < 0xE0 ? 0x1F : 0xF));
    return wide;
}

static auto CommandsOn(const std::wstring& line)
{
    std::vector<std::pair<std::wstring, std::optional<std::wstring>>> commands;
    for (CommandScanner scanner(line); const auto next = scanner.Next();)
        commands.emplace_back(next->name, next->argument);
    return commands;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t lineEnd = std::min(input.find('\n'), size);
    const std::wstring vendor = Widen(input.substr(0, lineEnd));
    const std::wstring told = Widen(input.substr(std::min(lineEnd + 1, size)));

    const auto ask = [&vendor](const std::wstring& identifier) {
        const std::size_t modelLength = ModelIn(identifier).value_or(L"").size();
        return std::tuple(DeviceIdHasScanMode(identifier), DeviceIdManufacturerIs(identifier, vendor), modelLength);
    };
    Require(ask(L"CMD:SCN,a;;MOD:x;" + told) == ask(L";" + told)); // fields before others change nothing
    Require(ScanDecimal16(told + L";", 7) == ScanDecimal16(told, 7));
    Require(ScanHexadecimal32(told + L";", 7) == ScanHexadecimal32(told, 7));

    std::wstring joined;
    for (const auto& [name, argument] : CommandsOn(told))
    {
        const bool isQuoted = argument && argument->find(L'"') == argument->npos; // a quote inside has no other form
        joined += L"word /" + name + (argument ? L"  " : L"");
        joined += isQuoted ? L'"' + *argument + L'"' : argument ? *argument + L' ' : L"";
    }
    Require(CommandsOn(joined) == CommandsOn(told));

    const FormatArgument arguments[] = {FormatArgument(told), FormatArgument(input)};
    std::string line(told.size() + size, '#');
    const std::span space(line.data(), line.size() + 1);
    Require(FormatErased(space, "%ws%s", arguments, test::latin1) == line.size() && line.ends_with(input));
    return 0;
}
