// The commands on a command line.
#include "CommandLine.h"

#include "CaseName.h"

#include <gmock/gmock.h>

using namespace scankelv;
using namespace test;

namespace
{

struct CommandLineCase
{
    const char* name;
    const wchar_t* line;
    std::wstring commands; ///< "name=argument;" for each, "name;" for one without argument
};
const CommandLineCase commandLineCases[] = {
    {"NoCommand", L"C:\\agent.exe word \"quoted\"", L""},
    {"ArgumentUpToTheBlank", L"agent /L de x", L"L=de;"},
    {"ArgumentInQuotesKeepsBlanks", L"agent /M \"Big Scan\" /Q", L"M=Big Scan;Q;"},
    {"NextCommandIsNoArgument", L"agent /U /Q", L"U=;Q;"},
};

class CommandLine : public testing::TestWithParam<CommandLineCase>
{
};

TEST_P(CommandLine, IsTakenApart)
{
    CommandScanner scanner(GetParam().line);
    std::wstring commands;
    while (const std::optional<Command> command = scanner.Next())
        commands += std::wstring(command->name) +
                    (command->argument ? L"=" + std::wstring(*command->argument) : std::wstring()) + L";";
    EXPECT_EQ(GetParam().commands, commands);
}
INSTANTIATE_TEST_SUITE_P(, CommandLine, testing::ValuesIn(commandLineCases), caseName);

} // namespace
