#include "ProfileFile.h"

#include "TestSupport.h"

using namespace scankelv;
using namespace test;

const std::string longValue(300, 'x');

TEST(ProfileFileTest, ReadsAndWritesInTheFilesEncoding)
{
    const TemporaryFolder folder;
    const std::wstring path = folder.File(L"File.ini");
    ProfileFileWide wide{ResourceLocationWide(path)};
    ProfileFileNarrow narrow{ResourceLocation(ToUtf8(path))};
    const std::string before = "[IO]\r\nsome=6844\r\nword=abc\r\nnone=\r\ntext=a b  ; c\r\nsame=#$@SRC@$#\r\n";
    const std::string after = before + "name=" + longValue + "\r\nplace=a  [S] x=b c\r\nnumber=-1\r\n";
    for (const bool utf16 : {false, true})
    {
        WriteFileBytes(path, utf16 ? Utf16File(ToWide(before)) : before);
        EXPECT_TRUE(wide.SetString(L"IO", L"name", L"v\rw"));
        EXPECT_TRUE(wide.SetString(L"IO", L"name", ToWide(longValue).c_str()));
        EXPECT_TRUE(wide.SetString(L"IO", L"place", L"a\r\n[S]\rx=b\nc") && wide.SetULong(L"IO", L"number", -1UL));
        EXPECT_EQ(utf16 ? Utf16File(ToWide(after)) : after, ReadFileBytes(path));
        const auto read = [&](const char* key) {
            ResourceLocationWide text(L"-");
            DWORD number = 77;
            const bool has = narrow.GetULong("io", key, &number);
            const bool hasText = wide.GetString(L"IO", ToWide(key).c_str(), text);
            return Format<char>("%d %lu, %d %ws", has, number, hasText, text.Text());
        };
        EXPECT_EQ("1 6844, 1 6844", read("some"));
        EXPECT_EQ("1 0, 1 abc", read("word"));
        EXPECT_EQ("0 77, 0 -", read("none"));
        EXPECT_EQ("1 0, 1 a b  ", read("text"));
        EXPECT_EQ("1 0, 0 -", read("same")); // the one text that reads as absent
        EXPECT_EQ("1 0, 1 " + longValue.substr(0, 255), read("name"));
    }
}
