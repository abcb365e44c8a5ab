#include "ProfileFile.h"
#include "TestSupport.h"

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
    WriteFileBytes(
        path, "[S]\r\nzero=0\r\nsentinel=6844\r\nbig=4294967295\r\nword=abc\r\nempty=\r\ncomment=;all\r\n"
              "cut=some text  ; note\r\nmark=#$@SRC@$#\r\nlong=" +
                  std::string(300, 'x') + "\r\n");
    const struct
    {
        const char* key;
        bool hasNumber;
        DWORD number;
        bool hasText;
        std::string text;
    } cases[] = {
        {"zero", true, 0, true, "0"},
        {"sentinel", true, 6844, true, "6844"},
        {"big", true, 0xFFFFFFFF, true, "4294967295"},
        {"word", true, 0, true, "abc"},
        {"empty", false, 0, false, ""},
        {"comment", true, 0, true, ""},
        {"cut", true, 0, true, "some text  "},
        {"mark", true, 0, false, ""}, // the one text that reads as absent
        {"long", true, 0, true, std::string(255, 'x')},
        {"none", false, 0, false, ""},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.key);
        const Wide key = ToWide(row.key);
        DWORD numbers[] = {77, 77};
        EXPECT_EQ(row.hasNumber, narrow.GetULong("S", row.key, &numbers[0]));
        EXPECT_EQ(row.hasNumber, wide.GetULong(OLESTR("S"), key.c_str(), &numbers[1]));
        EXPECT_EQ(row.hasNumber ? row.number : 77, numbers[0]);
        EXPECT_EQ(numbers[0], numbers[1]);
        ResourceLocationWide text(OLESTR("before"));
        EXPECT_EQ(row.hasText, wide.GetString(OLESTR("S"), key.c_str(), text));
        EXPECT_EQ(row.hasText ? row.text : "before", ToUtf8(text.View()));
        EXPECT_EQ(text.View().size() + 1, text.Count());
    }
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
    const struct
    {
        const char* name;
        DWORD code;
        std::function<bool(ProfileFileWide&)> act;
    } cases[] = {
        {"number section", 87, [&](auto& file) { return file.GetULong(none, s, &number); }},
        {"number key", 87, [&](auto& file) { return file.GetULong(s, none, &number); }},
        {"number", 87, [&](auto& file) { return file.GetULong(s, s, nullptr); }},
        {"raw key", 87, [&](auto& file) { return file.GetStringRaw(s, none, text, 10); }},
        {"raw buffer", 122, [&](auto& file) { return file.GetStringRaw(s, s, nullptr, 10); }},
        {"string section", 87, [&](auto& file) { return file.GetString(none, s, out); }},
        {"set section", 87, [&](auto& file) { return file.SetString(none, s, s); }},
        {"set value", 87, [&](auto& file) { return file.SetString(s, s, none); }},
        {"set number", 87, [&](auto& file) { return file.SetULong(s, none, 1); }},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        ProfileFileWide file{ResourceLocationWide(path)}, noPath{ResourceLocationWide()};
        EXPECT_EQ(0U, file.LastError());
        EXPECT_FALSE(row.act(file));
        EXPECT_EQ(row.code, file.LastError());
        EXPECT_FALSE(row.act(noPath)); // the missing path is seen first
        EXPECT_EQ(13U, noPath.LastError());
    }
    EXPECT_FALSE(FileExists(path));
    ProfileFileWide inNoFolder{ResourceLocationWide(folder.File("none\\File.ini"))};
    EXPECT_FALSE(inNoFolder.SetString(s, s, s));
    EXPECT_EQ(3U, inNoFolder.LastError());
    EXPECT_FALSE(wide.GetStringRaw(s, s, text, 10));
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
        const std::string expected = "[IO]\r\nName=" + longText + "\r\nNumber=-1\r\nOther=2147483647\r\n";
        EXPECT_EQ(isUtf16 ? "\xFF\xFE" + Utf16Bytes(ToWide(expected)) : expected, ReadFileBytes(path));
    }
}

} // namespace
