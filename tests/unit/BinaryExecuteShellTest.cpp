#include "BinaryExecuteShell.h"
#include "Reports.h"
#include "ResourceLocation.h"

using namespace scankelv;

namespace
{

TEST(BinaryExecuteShell, StartsAndReports)
{
    const test::TemporaryFolder folder;
    const test::Wide missing = folder.File("none.exe");
    test::DebugConsoleCapture console;
    DebugConsoleLogger();
    console.Clear();
    EXPECT_FALSE(BinaryExecuteShellNoWait(missing.c_str(), OLESTR("open"), OLESTR("a \"b\""), OLESTR("")));
    const std::string prefix = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId());
    EXPECT_EQ(
        0U,
        console.Text().find(Format<char>(
            "%sabout to [open] <%ws> with argument \"a \"b\"\" in working directory \"\"...\r\n", prefix, missing)));
    ASSERT_EQ(std::vector<std::string>{"result"}, test::ExpressionsIn(console.Text()));
    EXPECT_EQ(test::SystemText(::GetLastError()), test::ReportsIn(console.Text())[0].context);

    console.Clear();
    const ResourceLocationWide own = ModuleFileLocation<WCHAR>();
    EXPECT_TRUE(
        BinaryExecuteShellNoWait(own.Text(), OLESTR("open"), OLESTR("--gtest_list_tests"), folder.Path().c_str()));
    EXPECT_TRUE(console.Text().ends_with(
        Format<char>("%sstart <%ws> successful, not waiting for finish\r\n", prefix, own.Text())));
}

} // namespace
