// Where files are, and that folders are made.
#include "ResourceLocation.h"
#include "Reports.h"
#include "ResourceLocationShell.h"

#include <array>

using namespace scankelv;
using namespace test;

namespace
{

TEST(MemoryArray, OwnsItsZeroedElements)
{
    MemoryArray<MemoryPoolMalloc, unsigned char> array;
    ASSERT_TRUE(array.Create(100));
    EXPECT_EQ(std::string(100, '\0'), std::string(array.Elements(), array.Elements() + array.Count()));
    array.Elements()[99] = 9;
    const auto copy = array;
    array.Elements()[99] = 8;
    EXPECT_EQ(9, copy.Elements()[99]);
    EXPECT_FALSE(ResourceLocationWide().Create(~std::size_t(0) / 2 + 2)); // the bytes wrap around
}

TEST(ResourceLocation, ComposesEveryMixOfParts)
{
    const char* const none = nullptr;
    const std::pair<const char*, std::array<const char*, 4>> rows[] = {
        // the location, its root and parts
        {"C:\\root\\ScanKELV\\Log.txt", {"C:\\root", none, "ScanKELV", "Log.txt"}},
        {"C:\\Temp\\\\b\\c", {"C:\\Temp\\", none, "b", "c"}},
        {"\\a", {"", "a", none, none}},
        {"", {none, none, none, none}}};
    for (const auto& [expected, parts] : rows)
        EXPECT_STREQ(expected, ComposeLocation(parts[0], parts[1], parts[2], parts[3], false).Text());
}

TEST(ResourceLocation, FoldersAreMadeAndFailuresReported)
{
    const TemporaryFolder folder;
    const std::string root = NarrowFromWide(folder.Path());
    DebugConsoleCapture console;
    ComposeLocation(root.c_str(), "a", "b", "c", true);
    EXPECT_TRUE(FileExists(folder.File("a\\b")));
    EXPECT_FALSE(FileExists(folder.File("a\\b\\c")));
    // A folder that cannot be made is reported and does not stop; so is one that is nowhere.
    WriteFileBytes(folder.File("file"), "");
    EXPECT_EQ(root + "\\file\\x\\c", ComposeLocation((root + "\\file").c_str(), nullptr, "x", "c", true).Text());
    EXPECT_TRUE(GetLocationByFolderID(0x7777).IsEmpty());
    EXPECT_TRUE(GetLocationByPIDL(nullptr).IsEmpty());
    EXPECT_EQ(0U, GetDllVersion(OLESTR("NoSuchLibrary.dll")));
    EXPECT_EQ(0U, GetDllVersion(OLESTR("Kernel32.dll"))); // no such export, where there is such a library
    std::string contexts;
    for (const Report& report : ReportsIn(console.Text()))
        contexts += report.expression + ": " + report.context;
    EXPECT_EQ(
        "result: " + SystemText(ERROR_PATH_NOT_FOUND) + "specialFolderLocationHResult: " + SystemText(0x80070057) +
            "gotPath: SHGetPathFromIDListA",
        contexts);
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

} // namespace
