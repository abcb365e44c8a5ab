// The commands on a command line.
#include "CommandLine.h"

#include "CaseName.h"

using namespace scankelv;

struct CommandLineCase
{
    const char* name;
    std::wstring line, commands; ///< "name=argument;" for each, "name;" for one without argument
};
const CommandLineCase commandLineCases[] = {
    {"SlashInTheProgramPath", L"C:/agent.exe /Q", L"agent.exe=;Q;"},
    {"OnlyBlanksSeparate", L"agent /L   de x /q\ty z", L"L=de;q\ty=z;"},
    {"QuotesKeepBlanksAndSlashes", L"\"C:\\Program Files\\agent.exe\" /M \" Big /Scan \"/Q", L"M= Big /Scan ;Q;"},
    {"QuotesOfNothing", L"agent /M \"\" /M \"", L"M=;M=;"},
    {"QuotesAndSlashesInsideWords", L"agent /M a\"b c\" /More a/b /x/y", L"M=a\"b;More=a/b;x/y;"},
    {"NextCommandIsNoArgument", L"agent /U  /H /", L"U=;H=;;"},
    {"BlanksAtTheEndAreAnEmptyArgument", L"agent /D  ", L"D=;"},
};
using CommandLine = testing::TestWithParam<CommandLineCase>;
TEST_P(CommandLine, IsTakenApart)
{
    std::wstring commands;
    for (CommandScanner scanner(GetParam().line); const std::optional<Command> next = scanner.Next();)
        commands.append(next->name).append(next->argument ? L"=" : L"").append(next->argument.value_or(L"")) += L';';
    EXPECT_EQ(GetParam().commands, commands);
}
INSTANTIATE_TEST_SUITE_P(, CommandLine, testing::ValuesIn(commandLineCases), test::caseName);
