// Two agents at once, of which one runs.
#include "Installation.h"

namespace
{

using namespace test;

TEST(SecondAgent, EndsWhileTheFirstRuns)
{
    const Installation installation;
    installation.Behave("accepted", "QueryDeviceAddress", "<thread>own</thread><until>go</until>");
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
    EXPECT_NE(
        std::string::npos,
        second.debugConsole.find("\r\nScanKELV cannot run due to other program instances running!\r\n"))
        << second.debugConsole;

    WriteFileBytes(installation.File("go"), "");
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
