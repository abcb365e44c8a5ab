// One agent at a time, and none during an uninstall.
#include "Installation.h"
#include "InstanceWord.h"

namespace
{

using namespace test;

TEST(InstanceGuard, AsksTheWordOfAnObjectThatOthersHold)
{
    const struct
    {
        const char* name;
        DWORD word;
        const char* line;
        DWORD exitCode;
    } cases[] = {
        {"uninstall", 0, "ScanKELV cannot run due to uninstall!", 1},
        {"free", 1, "KELV port configuration done.", 0},
        {"an agent", 2, "ScanKELV cannot run due to other program instances running!", 1},
        {"highest id", 0xFFFFFFFF, "ScanKELV cannot run due to other program instances running!", 1},
    };
    for (const auto& [name, word, line, exitCode] : cases)
    {
        SCOPED_TRACE(name);
        const Installation installation;
        const InstanceWord held(word);
        const ProgramResult result = installation.Run();
        EXPECT_EQ(exitCode, result.exitCode);
        ExpectLines(result.debugConsole, "\n---\n|ScanKELV version 1.01.39|" + std::string(line) + "|\n");
        EXPECT_EQ(exitCode == 0, !installation.Asked().empty());
        if (word != 1)
        {
            EXPECT_EQ(word, held.Value());
            continue;
        }
        // The ended agent's id stays in the word.
        EXPECT_GT(held.Value(), 1U);
        ExpectLines(result.debugConsole, "KELV process Id: " + std::to_string(held.Value()));
    }
}

TEST(InstanceGuard, SecondAgentEndsWhileTheFirstRuns)
{
    const Installation installation;
    installation.Behave("accepted", "QueryDeviceAddress", "<thread>own</thread><delay>3000</delay>");
    SetVariable("HOSTWINDOWS_DEBUG_CONSOLE", ToUtf8(installation.File("console")));
    Wide commandLine = installation.CommandLine("/Q");
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION first{};
    ASSERT_NE(
        0, ::CreateProcessW(
               installation.Program().c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
               &startup, &first));
    EXPECT_TRUE(Eventually([&] { return !installation.Asked().empty(); }));

    const ProgramResult second = installation.Run();
    EXPECT_EQ(1U, second.exitCode);
    ExpectLines(second.debugConsole, "ScanKELV cannot run due to other program instances running!");

    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(first.hProcess, 30000));
    DWORD exitCode = 99;
    ::GetExitCodeProcess(first.hProcess, &exitCode);
    EXPECT_EQ(0U, exitCode);
    ::CloseHandle(first.hThread);
    ::CloseHandle(first.hProcess);

    // With the first one the object has gone.
    installation.Behave("accepted");
    EXPECT_EQ(0U, installation.Run("/Q").exitCode);
}

} // namespace
