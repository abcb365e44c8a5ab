// A command line taken apart, joined again from its commands, and taken apart once more.
#include "CommandLine.h"

#include "Fuzz.h"

#include <vector>

void fuzz::Try(std::string_view input)
{
    const auto commandsOn = [](const std::wstring& line) {
        std::vector<std::pair<std::wstring, std::optional<std::wstring>>> commands;
        for (scankelv::CommandScanner scanner(line); const auto next = scanner.Next();)
            commands.emplace_back(next->name, next->argument);
        return commands;
    };
    const auto commands = commandsOn(Widen(input));
    std::wstring joined;
    for (const auto& [name, argument] : commands)
    {
        const bool isQuoted = argument && argument->find(L'"') == argument->npos; // a quote inside has no other form
        joined += L"word /" + name + (argument ? L"  " : L"");
        joined += isQuoted ? L'"' + *argument + L'"' : argument ? *argument + L' ' : L"";
    }
    Require(commandsOn(joined) == commands, "joined again, the commands are the same");
}
