#include "ProfileFile.h"
#include "TestSupport.h"
#include "TextFormat.h"

#include <functional>

using namespace scankelv;
using namespace test;

namespace
{

struct Profile : testing::Test
{
    TemporaryFolder folder;
    Wide path = folder.File("File.ini");
    ProfileFileWide wide{ResourceLocationWide(path)};
    ProfileFileNarrow narrow{ResourceLocation(NarrowFromWide(path))};
};

TEST_F(Profile, TellsAbsentValuesFromPresentOnes)
{
    ExpectAnswers("unit/data/ProfileFile.txt", [this](const std::string& given) {
        WriteFileBytes(path, "[S]\r\n" + given);
        DWORD numbers[] = {77, 77};
        const bool hasNumber = narrow.GetULong("S", "k", &numbers[0]);
        EXPECT_EQ(hasNumber, wide.GetULong(OLESTR("S"), OLESTR("k"), &numbers[1]));
        EXPECT_EQ(numbers[0], numbers[1]);
        ResourceLocationWide text(OLESTR("before"));
        const bool hasText = wide.GetString(OLESTR("S"), OLESTR("k"), text);
        EXPECT_EQ(text.View().size() + 1, text.Count());
        return Format<char>(
            "%s %lu, %s [%ws]\n", hasNumber ? "number" : "none", numbers[0], hasText ? "text" : "none", text.View());
    });
    WriteFileBytes(path, "[S]\r\nword=abc\r\nlong=" + std::string(300, 'x'));
    ResourceLocationWide text;
    EXPECT_TRUE(wide.GetString(OLESTR("S"), OLESTR("long"), text));
    EXPECT_EQ(Wide(255, 'x'), text.View());
    WCHAR room[5];
    EXPECT_FALSE(
        wide.GetStringRaw(OLESTR("S"), OLESTR("none"), room, 5)); // the default does not fit, absent all the same
    EXPECT_TRUE(wide.GetStringRaw(OLESTR("S"), OLESTR("word"), room, 3));
    EXPECT_EQ(OLESTR("ab"), WideView(room));
    EXPECT_FALSE(wide.GetStringRaw(OLESTR("S"), OLESTR("word"), room, 0));
}

TEST_F(Profile, EveryRefusalHasItsCode)
{
    const WCHAR* const s = OLESTR("S");
    const WCHAR* const none = nullptr;
    DWORD number = 77;
    WCHAR text[10];
    ResourceLocationWide out;
    const std::pair<DWORD, std::function<bool(ProfileFileWide&)>> rows[] = {
        {87, [&](auto& file) { return file.GetULong(none, s, &number); }},
        {87, [&](auto& file) { return file.GetULong(s, none, &number); }},
        {87, [&](auto& file) { return file.GetULong(s, s, nullptr); }},
        {87, [&](auto& file) { return file.GetStringRaw(s, none, text, 10); }},
        {122, [&](auto& file) { return file.GetStringRaw(s, s, nullptr, 10); }},
        {87, [&](auto& file) { return file.GetString(none, s, out); }},
        {87, [&](auto& file) { return file.SetString(none, s, s); }},
        {87, [&](auto& file) { return file.SetString(s, s, none); }},
        {87, [&](auto& file) { return file.SetULong(s, none, 1); }}};
    for (const auto& [code, act] : rows)
    {
        SCOPED_TRACE(&code - &rows[0].first);
        ProfileFileWide file{ResourceLocationWide(path)}, noPath{ResourceLocationWide()};
        EXPECT_EQ(0U, file.LastError());
        EXPECT_FALSE(act(file) || act(noPath)); // the missing path is seen first
        EXPECT_EQ(std::pair(code, DWORD{13}), std::pair(file.LastError(), noPath.LastError()));
    }
    EXPECT_FALSE(FileExists(path));
    ProfileFileWide inNoFolder{ResourceLocationWide(folder.File("none\\File.ini"))};
    EXPECT_FALSE(inNoFolder.SetString(s, s, s) || wide.GetStringRaw(s, s, text, 10));
    EXPECT_EQ(3U, inNoFolder.LastError());
    EXPECT_EQ(2U, wide.LastError());
    EXPECT_EQ(77U, number);
}

TEST_F(Profile, WritesInTheFilesOwnEncoding)
{
    const std::string longText(300, 'y');
    for (const bool isUtf16 : {false, true})
    {
        WriteFileBytes(path, isUtf16 ? "\xFF\xFE" : "");
        EXPECT_TRUE(wide.SetString(OLESTR("IO"), OLESTR("Name"), OLESTR("first")));
        EXPECT_TRUE(wide.SetULong(OLESTR("IO"), OLESTR("Number"), 0xFFFFFFFF));
        EXPECT_TRUE(wide.SetULong(OLESTR("IO"), OLESTR("Other"), 2147483647));
        EXPECT_TRUE(wide.SetString(OLESTR("IO"), OLESTR("Name"), ToWide(longText).c_str()));
        for (int time = 0; time < 2; ++time)
            EXPECT_TRUE(wide.SetString(OLESTR("IO"), OLESTR("Place"), OLESTR("a\n[S]\r\nName=b")));
        const std::string expected =
            "[IO]\r\nName=" + longText + "\r\nNumber=-1\r\nOther=2147483647\r\nPlace=a [S]  Name=b\r\n";
        EXPECT_EQ(isUtf16 ? "\xFF\xFE" + Utf16Bytes(ToWide(expected)) : expected, ReadFileBytes(path));
    }
}

} // namespace
