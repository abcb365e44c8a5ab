// Where files are, and the start of programs that are there.
#include "ResourceLocation.h"
#include "BinaryExecuteShell.h"
#include "FolderOperations.h"
#include "Reports.h"
#include "ResourceLocationShell.h"

#include <array>
#include <tuple>

using namespace scankelv;
using namespace test;

namespace
{

std::string Line(const std::string& path, bool exists)
{
    return "File \"" + path + (exists ? "\" does exist.\r\n" : "\" does not exist!\r\n");
}

TEST(MemoryArray, OwnsItsZeroedElements)
{
    using Bytes = MemoryArray<MemoryPoolMalloc, unsigned char>;
    Bytes array;
    EXPECT_TRUE(array.IsEmpty());
    ASSERT_TRUE(array.Create(100));
    EXPECT_EQ(std::string(100, '\0'), std::string(array.Elements(), array.Elements() + array.Count()));
    array.Elements()[99] = 9;
    Bytes copy = array;
    array.Elements()[99] = 8;
    EXPECT_EQ(9, copy.Elements()[99]);
    Bytes moved = std::move(copy);
    EXPECT_EQ(100U, moved.Count());
    array = moved;
    EXPECT_EQ(9, array.Elements()[99]);
    ResourceLocationWide wide(OLESTR("text"));
    EXPECT_FALSE(wide.Create(~std::size_t(0) / 2 + 2)); // the bytes wrap around
    EXPECT_TRUE(wide.IsEmpty());
    EXPECT_STREQ("", ResourceLocation().Text());
}

TEST(ResourceLocation, ComposesEveryMixOfParts)
{
    const char* const none = nullptr;
    const std::pair<const char*, std::array<const char*, 4>> rows[] = {
        // the location, its root and parts
        {"C:\\root\\a\\b\\c.ini", {"C:\\root", "a", "b", "c.ini"}},
        {"C:\\root\\ScanKELV\\Log.txt", {"C:\\root", none, "ScanKELV", "Log.txt"}},
        {"C:\\Temp\\\\b\\c", {"C:\\Temp\\", none, "b", "c"}},
        {"\\b\\c", {none, none, "b", "c"}},
        {"\\a", {"", "a", none, none}},
        {"C:\\root", {"C:\\root", none, none, none}},
        {"", {none, none, none, none}}};
    for (const auto& [expected, parts] : rows)
        EXPECT_STREQ(expected, ComposeLocation(parts[0], parts[1], parts[2], parts[3], false).Text());
}

TEST(ResourceLocation, CreatesTheFoldersButNotTheFile)
{
    const TemporaryFolder folder;
    const std::string root = NarrowFromWide(folder.Path());
    DebugConsoleCapture console;
    DebugConsoleLogger();
    console.Clear();
    EXPECT_STREQ((root + "\\a\\b\\c").c_str(), ComposeLocation(root.c_str(), "a", "b", "c", true).Text());
    EXPECT_EQ(Line(root, true) + Line(root + "\\a", false) + Line(root + "\\a\\b", false), console.Text());
    EXPECT_TRUE(FileExists(folder.File("a\\b")));
    EXPECT_FALSE(FileExists(folder.File("a\\b\\c")));
    // A part that is null is looked at once more; a folder that cannot be made is reported and does not stop.
    WriteFileBytes(folder.File("file"), "");
    console.Clear();
    const std::string below = root + "\\file";
    EXPECT_STREQ((below + "\\x\\c").c_str(), ComposeLocation(below.c_str(), nullptr, "x", "c", true).Text());
    EXPECT_EQ("result ", ReportedExpressions(console));
    EXPECT_EQ(0U, console.Text().find(Line(below, true) + Line(below, true) + Line(below + "\\x", false)));
    EXPECT_EQ(SystemText(ERROR_PATH_NOT_FOUND), ReportsIn(console.Text())[0].context);
}

TEST(FolderOperations, PathExistsInBothWidths)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("file \xC3\xA4");
    WriteFileBytes(file, "");
    const std::tuple<Wide, bool, bool> rows[] = {
        // path, is a folder meant, does it exist
        {file, false, true},           {file, true, true},          {folder.File("none"), false, false},
        {folder.Path(), false, false}, {folder.Path(), true, true}, {OLESTR(""), true, false}};
    for (const auto& [path, isFolder, exists] : rows)
    {
        const std::string narrow = NarrowFromWide(path);
        const DebugConsoleCapture console;
        EXPECT_TRUE(PathExists(narrow.c_str(), isFolder) == exists && PathExists(path.c_str(), isFolder) == exists);
        EXPECT_EQ(Line(narrow, exists) + Line(narrow, exists), console.Text());
    }
}

TEST(ResourceLocation, ShellFoldersAndTemporaryFolder)
{
    const DebugConsoleCapture console;
    EXPECT_TRUE(ShellVersionAtLeast5());
    EXPECT_EQ(0U, GetDllVersion(OLESTR("NoSuchLibrary.dll")));
    EXPECT_EQ(0U, GetDllVersion(OLESTR("Kernel32.dll"))); // no such export, where there is such a library
    const std::string user = UserDataRootLocation().Text(), common = CommonDataRootLocation().Text();
    EXPECT_TRUE(user.ends_with("\\AppData\\Local")) << user;
    EXPECT_EQ("C:\\ProgramData", common);
    EXPECT_EQ(user + "\\ScanKELV\\Debug.ini", DebugIniLocation().Text());
    EXPECT_EQ(user + "\\ScanKELV\\Log.txt", LogFileLocation().Text());
    EXPECT_EQ("", console.Text());
    EXPECT_EQ(common + "\\QLScan\\Quellon Generic Scan Driver\\Config.ini", std::string(WiaConfigLocation().Text()));
    EXPECT_TRUE(PathExists("C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver", true));

    EXPECT_TRUE(GetLocationByFolderID(0x7777).IsEmpty());
    EXPECT_TRUE(GetLocationByPIDL(nullptr).IsEmpty());
    EXPECT_EQ("specialFolderLocationHResult gotPath ", ReportedExpressions(console));
    EXPECT_EQ(SystemText(0x80070057), ReportsIn(console.Text())[0].context);
    EXPECT_EQ("SHGetPathFromIDListA", ReportsIn(console.Text())[1].context);
}

TEST(ResourceLocation, TemporaryFolderOfAnyLength)
{
    WCHAR before[1024]{};
    ::GetEnvironmentVariableW(OLESTR("TMP"), before, static_cast<DWORD>(std::size(before)));
    for (const std::size_t length : {20U, 509U, 510U, 511U, 512U, 513U, 1500U})
    {
        SCOPED_TRACE(length);
        std::string path = "C:\\";
        while (path.size() < length)
            path += path.size() % 50 == 49 && path.size() + 1 < length ? '\\' : 'x';
        SetVariable("TMP", path);
        // Windows itself gives no more than 261 characters; the location is empty then.
        char whole[2048];
        const bool given = ::GetTempPathA(sizeof(whole), whole) != 0;
        const DebugConsoleCapture console;
        EXPECT_EQ(given ? path + "\\" : "", LocationOfTemporaryRootFolder().Text());
        EXPECT_EQ(given ? 0U : 1U, ReportsIn(console.Text()).size());
    }
    SetVariable("TMP", ToUtf8(before)); // unset when it was
}

TEST(ResourceLocation, FilesBesideTheProgram)
{
    Wide path(2000, WCHAR());
    path.resize(::GetModuleFileNameW(nullptr, path.data(), 2000));
    const std::size_t separator = path.rfind(WCHAR('\\'));
    EXPECT_EQ(path, ModuleFileLocation<WCHAR>().View());
    EXPECT_EQ(NarrowFromWide(path), ModuleFileLocation<char>().View());
    EXPECT_EQ(path.substr(0, separator), ModuleFolderLocation<WCHAR>().View());
    EXPECT_EQ(path.substr(0, separator + 1) + OLESTR("x.ini"), LocationOfModuleFile(OLESTR("x.ini")).View());
    EXPECT_EQ(NarrowFromWide(path.substr(0, separator + 1)) + "Dlg.dll", LocationOfModuleFile("Dlg.dll").View());
    for (const WCHAR* const name : {OLESTR(""), static_cast<const WCHAR*>(nullptr)})
        EXPECT_TRUE(LocationOfModuleFile(name).IsEmpty());
}

TEST(BinaryExecuteShell, StartsAndReports)
{
    const TemporaryFolder folder;
    const Wide missing = folder.File("none.exe");
    DebugConsoleCapture console;
    DebugConsoleLogger();
    console.Clear();
    EXPECT_FALSE(BinaryExecuteShellNoWait(missing.c_str(), OLESTR("open"), OLESTR("a \"b\""), OLESTR("")));
    const std::string prefix = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId());
    EXPECT_EQ(
        0U,
        console.Text().find(Format<char>(
            "%sabout to [open] <%ws> with argument \"a \"b\"\" in working directory \"\"...\r\n", prefix, missing)));
    ASSERT_EQ("result ", ReportedExpressions(console));
    EXPECT_EQ(SystemText(::GetLastError()), ReportsIn(console.Text())[0].context);

    console.Clear();
    // Nobody waits for it: in a folder that stays.
    const ResourceLocationWide own = ModuleFileLocation<WCHAR>();
    EXPECT_TRUE(BinaryExecuteShellNoWait(
        own.Text(), OLESTR("open"), OLESTR("--gtest_list_tests"), ModuleFolderLocation<WCHAR>().Text()));
    EXPECT_TRUE(console.Text().ends_with(
        Format<char>("%sstart <%ws> successful, not waiting for finish\r\n", prefix, own.Text())));
}

} // namespace
