#include "BinaryExecuteShell.h"

#include "ResourceLocation.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;

// Hueward.exe writes its command line to Hueward.log in its working directory.
TEST(BinaryExecuteShellTest, StartsAProgramWithItsParametersInItsDirectory)
{
    const TemporaryFolder folder;
    const DebugConsoleCapture console;
    const std::wstring log = folder.File(L"Hueward.log"), none = folder.File(L"none.exe");
    const std::wstring program = std::wstring(ModuleFolderLocation<wchar_t>().Text()) + L"\\..\\bin\\Hueward.exe";
    EXPECT_TRUE(BinaryExecuteShellNoWait(program.c_str(), L"open", L"/a  \"b c\" \x00E4", folder.Path().c_str()));
    for (int tenths = 0; tenths < 300 && (!FileExists(log) || !ReadFileBytes(log).ends_with("\n")); ++tenths)
        ::Sleep(100);
    EXPECT_EQ("\"" + ToUtf8(program) + "\" /a  \"b c\" \xC3\xA4\n", ReadFileBytes(log));
    EXPECT_FALSE(BinaryExecuteShellNoWait(none.c_str(), L"open", L"", L""));
    EXPECT_THAT(console.Text(), testing::HasSubstr("about to [open] <" + ToUtf8(none) + "> with argument \"\" in"));
    EXPECT_EQ(std::vector{std::string("result")}, console.Reports());
}
