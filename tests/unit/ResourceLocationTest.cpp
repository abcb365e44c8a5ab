// Locations of the program's and the shell's, and the folders on their way.
#include "FolderOperations.h"
#include "ResourceLocationShell.h"
#include "TestSupport.h"

#include <cstdlib>
#include <filesystem>

using namespace scankelv;
using namespace test;
using testing::ElementsAre;

TEST(ResourceLocationTest, OwnsItsText)
{
    const ResourceLocation text("text");
    ResourceLocation copy = text;
    copy.Elements()[0] = 'n';
    const ResourceLocation moved = std::move(copy);
    EXPECT_EQ("text next []", Format<char>("%s %s [%s]", text.Text(), moved.Text(), ResourceLocation().Text()));
    EXPECT_TRUE(moved.Count() == 5 && copy.IsEmpty() && copy.Count() == 0); // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(ResourceLocationWide().Create(~std::size_t(0) / 2 + 2));   // the bytes wrap around
}

TEST(ResourceLocationTest, OfTheProgramAndWhatIsBesideIt)
{
    wchar_t program[MAX_PATH];
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::wstring folder = std::filesystem::path(program).parent_path().native();
    EXPECT_EQ(program, std::wstring(ModuleFileLocation<wchar_t>().Text()));
    EXPECT_EQ(folder + L"\\a.ini", LocationOfModuleFile(L"a.ini").Text());
    EXPECT_EQ(ToUtf8(folder) + "\\a.ini", LocationOfModuleFile("a.ini").Text());
    EXPECT_TRUE(LocationOfModuleFile("").IsEmpty());
    const TemporaryFolder temporary;
    const std::wstring deep = temporary.File(std::wstring(200, L'x') + L"\\" + std::wstring(200, L'y') + L"\\c");
    std::filesystem::create_directories(deep);
    std::filesystem::copy_file(program, deep + L"\\a.exe");
    const HMODULE module = ::LoadLibraryExW((deep + L"\\a.exe").c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
    RecordModuleHandle(module);
    EXPECT_EQ(deep, ModuleFolderLocation<wchar_t>().Text());
    RecordModuleHandle(nullptr);
    ::FreeLibrary(module);
    for (std::filesystem::path path = deep + L"\\a.exe"; path != temporary.Path(); path = path.parent_path())
        std::filesystem::remove(path); // what is this deep is not found to be removed later
}

TEST(ResourceLocationTest, IsComposedAndItsFoldersAreMade)
{
    const TemporaryFolder temporary;
    const std::string root = ToUtf8(temporary.Path()), file = root + "\\file";
    WriteFileBytes(temporary.File(L"file"), "");
    EXPECT_STREQ("\\a", ComposeLocation("", "a", nullptr, nullptr, false).Text());
    const DebugConsoleCapture console;
    EXPECT_EQ(root + "\\r\\a\\b\\c", ComposeLocation((root + "\\r").c_str(), "a", "b", "c", true).Text());
    EXPECT_THAT(console.Reports(), ElementsAre());
    EXPECT_EQ(root + "\\file\\x\\c", ComposeLocation(file.c_str(), nullptr, "x", "c", true).Text());
    EXPECT_THAT(console.Contexts(), ElementsAre(SystemMessage(ERROR_PATH_NOT_FOUND)));
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
    EXPECT_TRUE(PathExists(ToWide(folder).c_str(), true) && !PathExists(folder.c_str(), false));
    EXPECT_TRUE(GetLocationByFolderID(0x7777).IsEmpty() && GetLocationByPIDL(nullptr).IsEmpty());
    EXPECT_THAT(console.Reports(), ElementsAre("specialFolderLocationHResult", "gotPath"));
    EXPECT_EQ(0x60000U, (GetDllVersion(L"Shell32.dll") & 0xFFFF0000) + GetDllVersion(L"NoSuchLibrary.dll"));
    const std::string before = std::getenv("TMP");
    ::SetEnvironmentVariableA("TMP", "C:\\x");
    EXPECT_STREQ("C:\\x\\", LocationOfTemporaryRootFolder().Text());
    ::SetEnvironmentVariableA("TMP", before.c_str());
}
