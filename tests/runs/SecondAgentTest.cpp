// Two agents at once, of which one runs.
#include "Installation.h"
#include "Role.h"

namespace
{

using namespace test;

TEST(SecondAgent, EndsWhileTheFirstRuns)
{
    const Installation installation;
    installation.Behave("accepted", "QueryDeviceAddress", "<thread>own</thread><until>go</until>");
    SetVariable("HOSTWINDOWS_DEBUG_CONSOLE", ToUtf8(installation.File("console")));
    const Child first(installation.CommandLine("/Q"), installation.Program());
    ASSERT_TRUE(Eventually([&] { return !installation.Asked().empty(); }));

    const ProgramResult second = installation.Run();
    EXPECT_EQ(1U, second.exitCode);
    EXPECT_NE(
        std::string::npos,
        second.debugConsole.find("\r\nScanKELV cannot run due to other program instances running!\r\n"))
        << second.debugConsole;

    WriteFileBytes(installation.File("go"), "");
    EXPECT_EQ(0U, first.Wait());

    // With the first one the object has gone.
    installation.Behave("accepted");
    EXPECT_EQ(0U, installation.Run("/Q").exitCode);
}

} // namespace
