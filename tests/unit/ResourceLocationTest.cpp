// Locations of the program's and the shell's, and the folders on their way.
#include "FolderOperations.h"
#include "ResourceLocationShell.h"
#include "TestSupport.h"

#include <cstdlib>
#include <filesystem>

using namespace scankelv;
using namespace test;

TEST(ResourceLocationTest, OfTheProgramAndWhatIsBesideIt)
{
    wchar_t program[MAX_PATH];
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::wstring folder = std::filesystem::path(program).parent_path().native();
    EXPECT_EQ(program, std::wstring(ModuleFileLocation<wchar_t>().Text()));
    EXPECT_EQ(folder + L"\\a.ini", LocationOfModuleFile(L"a.ini").Text());
    EXPECT_TRUE(LocationOfModuleFile("").IsEmpty());
}

TEST(ResourceLocationTest, IsComposedAndItsFoldersAreMade)
{
    const TemporaryFolder temporary;
    const std::string root = ToUtf8(temporary.Path()), file = root + "\\file";
    WriteFileBytes(temporary.File(L"file"), "");
    EXPECT_STREQ("\\a", ComposeLocation("", "a", nullptr, nullptr, false).Text());
    const DebugConsoleCapture console;
    EXPECT_EQ(root + "\\r\\a\\b\\c", ComposeLocation((root + "\\r").c_str(), "a", "b", "c", true).Text());
    EXPECT_EQ(root + "\\file\\x\\c", ComposeLocation(file.c_str(), nullptr, "x", "c", true).Text());
    EXPECT_THAT(console.Text(), testing::HasSubstr("Context: " + SystemMessage(ERROR_PATH_NOT_FOUND)));
    EXPECT_TRUE(FileExists(temporary.File(L"r\\a\\b")) && !FileExists(temporary.File(L"r\\a\\b\\c")));
}

TEST(ResourceLocationShellTest, KnowsTheSystemsFolders)
{
    const std::string user = std::string(std::getenv("LOCALAPPDATA")) + "\\ScanKELV\\";
    EXPECT_EQ(user + "Debug.ini", DebugIniLocation().Text());
    EXPECT_EQ(user + "Log.txt", LogFileLocation().Text());
    const std::string folder = std::string(std::getenv("ProgramData")) + "\\QLScan\\Quellon Generic Scan Driver";
    std::filesystem::remove_all(folder);
    EXPECT_EQ(folder + "\\Config.ini", WiaConfigLocation().Text());
    const DebugConsoleCapture console;
    WiaConfigLocation(); // whose folders exist now
    EXPECT_TRUE(PathExists(ToWide(folder).c_str(), true) && !PathExists(folder.c_str(), false));
    EXPECT_TRUE(GetLocationByFolderID(0x7777).IsEmpty() && GetLocationByPIDL(nullptr).IsEmpty());
    EXPECT_THAT(console.Reports(), testing::ElementsAre("specialFolderLocationHResult", "gotPath"));
}
