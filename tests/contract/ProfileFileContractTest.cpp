#include "TestSupport.h"

namespace
{

using test::TemporaryFolder;
using test::ToUtf8;
using test::ToWide;
using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;
constexpr UINT absentNumber = 6844;

/// Both forms of a read, which must agree; the text is compared as UTF-8, its terminators shown as "|".
struct Read
{
    DWORD count;
    DWORD error;
    std::string text;
};

template <class Char>
std::string Shown(const Char* text, std::size_t count)
{
    std::string shown;
    if constexpr (sizeof(Char) == 1)
        shown.assign(text, count);
    else
        shown = ToUtf8({text, count});
    for (char& c : shown)
        c = c == '\0' ? '|' : c;
    return shown;
}

Read ReadString(
    const Wide& file, const char* section, const char* key, const char* preset = "DEF", DWORD room = 260,
    bool bothForms = true)
{
    const auto wide = [](const char* text, Wide& owner) {
        return text == nullptr ? nullptr : (owner = ToWide(text)).c_str();
    };
    Wide owners[3];
    std::vector<WCHAR> buffer(room + 2, 0x2323);
    ::SetLastError(marker);
    Read read{};
    read.count = ::GetPrivateProfileStringW(
        wide(section, owners[0]), wide(key, owners[1]), wide(preset, owners[2]), buffer.data(), room, file.c_str());
    read.error = ::GetLastError();
    read.text = Shown(buffer.data(), read.count);
    EXPECT_EQ(room == 0 ? 0x2323 : 0, buffer[read.count]);
    EXPECT_EQ(0x2323, buffer[room]);
    if (bothForms)
    {
        std::vector<char> bytes(room + 2, '#');
        ::SetLastError(marker);
        EXPECT_EQ(
            read.count, ::GetPrivateProfileStringA(section, key, preset, bytes.data(), room, ToUtf8(file).c_str()));
        EXPECT_EQ(read.error, ::GetLastError());
        EXPECT_EQ(read.text, Shown(bytes.data(), read.count));
        EXPECT_EQ('#', bytes[room]);
    }
    return read;
}

std::string Value(const Wide& file, const char* section, const char* key)
{
    return ReadString(file, section, key).text;
}

BOOL WriteW(const Wide& file, const char* section, const char* key, const char* value)
{
    Wide owners[3];
    const auto wide = [](const char* text, Wide& owner) {
        return text == nullptr ? nullptr : (owner = ToWide(text)).c_str();
    };
    return ::WritePrivateProfileStringW(
        wide(section, owners[0]), wide(key, owners[1]), wide(value, owners[2]), file.c_str());
}

struct ReadCase
{
    const char* contents;
    const char* section;
    const char* key;
    const char* text;
};
constexpr ReadCase reads[] = {
    {"[S]\r\nk=v\r\n", "S", "k", "v"},
    {"[S]\r\nk=v\r\n", "S", "other", "DEF"},
    {"[S]\r\nk=v\r\n", "other", "k", "DEF"},
    {"[S]\r\nk=\r\n", "S", "k", ""},
    {"[Sec Tion]\r\nKey=v\r\n", " sEC tION ", "\tkEY ", "v"},
    {" \t[ S ]\r\n\t k \t=\t v  w \t\r\n", "S", "k", "v  w"},
    {"[S]\r\nk=\" v \"\r\n", "S", "k", " v "},
    {"[S]\r\nk=' v '\r\n", "S", "k", " v "},
    {"[S]\r\nk=\"\"\r\n", "S", "k", ""},
    {"[S]\r\nk=\"a\r\n", "S", "k", "\"a"},
    {"[S]\r\nk=a\"\r\n", "S", "k", "a\""},
    {"[S]\r\nk=\"a'\r\n", "S", "k", "\"a'"},
    {"[S]\r\nk=\"\r\n", "S", "k", "\""},
    {"[S]\r\nk=\"a\" b\r\n", "S", "k", "\"a\" b"},
    {"[S]\r\nk=a\"b\"c\r\n", "S", "k", "a\"b\"c"},
    {"[S]\r\nk=\"a;b\" ; c\r\n", "S", "k", "\"a;b\" ; c"},
    {"[S]\r\nk=v ; note\r\n", "S", "k", "v ; note"},
    {"[S]\r\n;k=1\r\n ; k=2\r\nk=3\r\n", "S", "k", "3"},
    {"[S]\r\n#k=1\r\n", "S", "#k", "1"},
    {"[S]\r\nk=1\r\nK=2\r\n", "S", "k", "1"},
    {"[S]\r\nk=1\r\n[s]\r\nk=2\r\nl=3\r\n", "S", "k", "1"},
    {"[S]\r\nk=1\r\n[s]\r\nl=3\r\n", "S", "l", "DEF"},
    {"[S]\r\nk\r\n", "S", "k", "DEF"},
    {"[S]\r\n=v\r\n", "S", "", "v"},
    {"[S]\r\nk=a=b\r\n", "S", "k", "a=b"},
    {"[S]\r\nmy key=v\r\n", "S", "my key", "v"},
    {"[S] trailing\r\nk=v\r\n", "S", "k", "v"},
    {"[S]\nj=1\nk=v", "S", "k", "v"},
    {"[S]\r\r\nj=1\r\r\nk=v", "S", "k", "v"},
    {"[S]\rj=1\rk=v\rl=2", "S", "k", "v"},
    {"[S]\r\nj=\x1A-\r\nk=v\x1Aw\r\n", "S", "k", "v\x1Aw"},
    {"\xEF\xBB\xBF[S]\r\nk=v\r\n", "S", "k", "v"},
    {"", "S", "k", "DEF"},
    {"\r\n\r\n", "S", "k", "DEF"},
};

TEST(ProfileFile, ValuesAreFoundByWindowsRules)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    for (const ReadCase& row : reads)
    {
        SCOPED_TRACE(std::string(row.contents) + " -> " + row.key);
        test::WriteFileBytes(file, row.contents);
        const Read read = ReadString(file, row.section, row.key);
        EXPECT_EQ(row.text, read.text);
        EXPECT_EQ(0U, read.error);
    }
    using namespace std::string_literals;
    test::WriteFileBytes(file, "[S]\r\nz=a\0b\r\nk=v\r\n"s);
    EXPECT_EQ("a", Value(file, "S", "z"));
    EXPECT_EQ("v", Value(file, "S", "k"));
    const std::string longValue(5000, 'x');
    test::WriteFileBytes(file, "[S]\r\nk=" + longValue + "\r\n");
    EXPECT_EQ(longValue, ReadString(file, "S", "k", "DEF", 6000).text);
}

struct RoomCase
{
    const char* section;
    const char* key;
    const char* preset;
    DWORD room;
    DWORD count;
    const char* text;
};
constexpr RoomCase rooms[] = {
    {"S", "long", "DEF", 7, 6, "abcdef"},
    {"S", "long", "DEF", 6, 5, "abcde"},
    {"S", "long", "DEF", 1, 0, ""},
    {"S", nullptr, "DEF", 100, 9, "long|b b|"},
    {"S", nullptr, "DEF", 8, 6, "long|b"},
    {nullptr, nullptr, "DEF", 100, 4, "S|T|"},
    {nullptr, nullptr, "DEF", 4, 2, "S|"},
    {nullptr, "ignored", "DEF", 100, 4, "S|T|"},
    {"missing", nullptr, "DEF", 100, 3, "DEF"},
    {"S", "missing", nullptr, 100, 0, ""},
    {"S", "missing", " D  ", 100, 2, " D"},
    {"S", "missing", "' D '", 100, 3, " D "},
};

TEST(ProfileFile, RoomListsAndDefaults)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    test::WriteFileBytes(file, "[S]\r\n;note=1\r\nlong=abcdef\r\nno value\r\nb b=2\r\n[T]\r\nc=3\r\n");
    for (const RoomCase& row : rooms)
    {
        SCOPED_TRACE(std::string(row.text) + " in " + std::to_string(row.room));
        const Read read = ReadString(file, row.section, row.key, row.preset, row.room);
        EXPECT_EQ(row.count, read.count);
        EXPECT_EQ(row.text, read.text);
        EXPECT_EQ(0U, read.error);
    }
    const Read none = ReadString(file, "S", "long", "DEF", 0);
    EXPECT_EQ(0U, none.count);
    EXPECT_EQ(marker, none.error);
}

TEST(ProfileFile, EncodingsWithAMark)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    const Wide text = ToWide("[\xC3\x84]\r\n\xD0\x96=\xE2\x82\xAC \xF0\x9F\x96\xA8\r\n");
    const struct
    {
        const char* what;
        std::string bytes;
        const char* value;
    } rows[] = {
        {"UTF-16 with mark", "\xFF\xFE" + test::Utf16Bytes(text), "\xE2\x82\xAC \xF0\x9F\x96\xA8"},
        {"UTF-16 without mark", test::Utf16Bytes(text), "DEF"},
        {"UTF-8 with mark", "\xEF\xBB\xBF" + ToUtf8(text), "\xE2\x82\xAC \xF0\x9F\x96\xA8"},
        {"half a character at the end", "\xFF\xFE" + test::Utf16Bytes(text) + "x", "\xE2\x82\xAC \xF0\x9F\x96\xA8"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        test::WriteFileBytes(file, row.bytes);
        EXPECT_EQ(row.value, ReadString(file, "\xC3\x84", "\xD0\x96", "DEF", 260, false).text);
    }
}

struct NumberCase
{
    const char* text;
    UINT number;
};
constexpr NumberCase numbers[] = {
    {"12", 12},
    {" 12 ", 12},
    {"+12", 12},
    {"\"12\"", 12},
    {"'7'", 7},
    {"012", 12},
    {"12abc", 12},
    {"1 2", 1},
    {"1;2", 1},
    {"abc", 0},
    {"- 5", 0},
    {"--5", 0},
    {"0x", 0},
    {"0X1f", 0},
    {"0x1F", 31},
    {"0x1fg", 31},
    {"+0x10", 16},
    {"4294967295", 4294967295U},
    {"", absentNumber},
    {"\"\"", absentNumber},
    {"2147483648", 2147483648U},
    {"4294967296", 0},
    {"6844", 6844},
    {"99999999999", 1215752191},
};

TEST(ProfileFile, Numbers)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    const std::string narrow = ToUtf8(file);
    for (const NumberCase& row : numbers)
    {
        SCOPED_TRACE(row.text);
        test::WriteFileBytes(file, "[S]\r\nk=" + std::string(row.text) + "\r\n");
        EXPECT_EQ(row.number, ::GetPrivateProfileIntA("S", "k", absentNumber, narrow.c_str()));
        EXPECT_EQ(row.number, ::GetPrivateProfileIntW(OLESTR("S"), OLESTR("k"), absentNumber, file.c_str()));
    }
    EXPECT_EQ(absentNumber, ::GetPrivateProfileIntA("S", "other", absentNumber, narrow.c_str()));
    EXPECT_EQ(0xFFFFFFFEU, ::GetPrivateProfileIntA("S", "other", -2, narrow.c_str()));
    EXPECT_EQ(7U, ::GetPrivateProfileIntA("S", "k", 7, (narrow + "none").c_str()));
}

struct WriteCase
{
    const char* before;
    const char* section;
    const char* key;
    const char* value;
    const char* after; // this program's and Wine's files are alike, where neither holds blank lines nor blanks to lose
};
constexpr WriteCase writes[] = {
    {"", "S", "k", "v", "[S]\r\nk=v\r\n"},
    {"[s]\r\nKey=1\r\nl=2\r\n", "S", "kEY", "v", "[s]\r\nKey=v\r\nl=2\r\n"},
    {"[S]\r\na=1\r\n;note\r\n[T]\r\nb=2\r\n", "S", "k", "v", "[S]\r\na=1\r\n;note\r\nk=v\r\n[T]\r\nb=2\r\n"},
    {"[S]\r\na=1\r\n[T]\r\nb=2\r\n", "N", "k", "v", "[S]\r\na=1\r\n[T]\r\nb=2\r\n[N]\r\nk=v\r\n"},
    {"[S]\r\na=1\r\n[S]\r\nk=2\r\n", "S", "k", "v", "[S]\r\na=1\r\nk=v\r\n[S]\r\nk=2\r\n"},
    {"[S]\r\nk=1\r\nk=2\r\n", "S", "k", "v", "[S]\r\nk=v\r\nk=2\r\n"},
    {"[S]\r\nk=1\r\nk=2\r\n", "S", "k", nullptr, "[S]\r\nk=2\r\n"},
    {"[S]\r\nk\r\n", "S", "k", "v", "[S]\r\nk=v\r\n"},
    {"[S]\r\na=1\r\n", "S", "k", nullptr, "[S]\r\na=1\r\n"},
    {"[S]\r\na=1\r\n[T]\r\nb=2\r\n[S]\r\nc=3\r\n", "s", nullptr, nullptr, "[T]\r\nb=2\r\n[S]\r\nc=3\r\n"},
    {"[S]\r\na=1\r\n", "T", nullptr, "ignored", "[S]\r\na=1\r\n"},
    {"[S]\r\na=1", "S", "k", "v", "[S]\r\na=1\r\nk=v\r\n"},
    {"[S]\r\na=1", "T", "k", "v", "[S]\r\na=1\r\n[T]\r\nk=v\r\n"},
    {"[S]", "S", "k", "v", "[S]\r\nk=v\r\n"},
    {"[S]\r\n", " S", "  k", "", "[S]\r\nk=\r\n"},
    {"[S]\r\n", "S", "k", "\"  v  \"", "[S]\r\nk=\"  v  \"\r\n"},
    {"[S]\r\n", "S", "k", "a;\x01\t\"b", "[S]\r\nk=a;\x01\t\"b\r\n"},
    {"[S]\r\n", "S", "k", "a\r\nl=b", "[S]\r\nk=a\r\nl=b\r\n"},
    {"[S]\r\n", "S", "a=b", "v", "[S]\r\na=b=v\r\n"},
    {"; head\r\n[S]\r\n; one\r\na=1\r\n; two\r\n", "S", "a", "2", "; head\r\n[S]\r\n; one\r\na=2\r\n; two\r\n"},
};

TEST(ProfileFile, WritesChangeOneLine)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    for (const WriteCase& row : writes)
        for (const bool wide : {false, true})
        {
            SCOPED_TRACE(std::string(row.before) + " + " + (row.key == nullptr ? "(null)" : row.key));
            test::WriteFileBytes(file, row.before);
            EXPECT_NE(
                0, wide ? WriteW(file, row.section, row.key, row.value)
                        : ::WritePrivateProfileStringA(row.section, row.key, row.value, ToUtf8(file).c_str()));
            EXPECT_EQ(row.after, test::ReadFileBytes(file));
        }
    EXPECT_EQ(0, WriteW(file, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, WriteW(file, nullptr, "k", "v"));
    EXPECT_EQ(writes[std::size(writes) - 1].after, test::ReadFileBytes(file));
}

TEST(ProfileFile, AFileKeepsItsEncoding)
{
    const TemporaryFolder folder;
    const struct
    {
        const char* name;
        std::string before;
        std::string after;
    } rows[] = {
        {"new.ini", "", "[S]\r\nk=v\r\nl=w\r\n"},
        {"marked.ini", "\xFF\xFE", "\xFF\xFE" + test::Utf16Bytes(OLESTR("[S]\r\nk=v\r\nl=w\r\n"))},
        {"utf8.ini", "\xEF\xBB\xBF[S]\r\n", "\xEF\xBB\xBF[S]\r\nk=v\r\nl=w\r\n"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        const Wide file = folder.File(row.name);
        if (!row.before.empty())
            test::WriteFileBytes(file, row.before);
        EXPECT_NE(0, WriteW(file, "S", "k", "v"));
        EXPECT_NE(0, ::WritePrivateProfileStringA("S", "l", "w", ToUtf8(file).c_str()));
        EXPECT_EQ(row.after, test::ReadFileBytes(file));
    }
    const Wide marked = folder.File("marked.ini");
    EXPECT_NE(0, WriteW(marked, "S", "k", "\xE2\x82\xAC \xF0\x9F\x96\xA8"));
    EXPECT_EQ("\xE2\x82\xAC \xF0\x9F\x96\xA8", ReadString(marked, "S", "k", "DEF", 260, false).text);
}

TEST(ProfileFile, RefusalsLeaveTheFileAlone)
{
    const TemporaryFolder folder;
    const std::string contents = "[S]\r\nk=v\r\n";
    for (const char* name : {"held.ini", "shared.ini", "readonly.ini"})
        test::WriteFileBytes(folder.File(name), contents);
    test::SetReadOnly(folder.File("readonly.ini"), true);
    ::CreateDirectoryW(folder.File("folder").c_str(), nullptr);
    const auto hold = [&](const char* name, DWORD sharing) {
        return ::CreateFileW(
            folder.File(name).c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    const HANDLE held = hold("held.ini", 0);
    const HANDLE shared = hold("shared.ini", FILE_SHARE_READ);
    const struct
    {
        Wide file;
        DWORD readError;
        DWORD writeError;
    } rows[] = {
        {folder.File("absent.ini"), ERROR_FILE_NOT_FOUND, 0},
        {folder.File("none\\a.ini"), ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
        {folder.File("folder"), ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {folder.File("held.ini"), ERROR_SHARING_VIOLATION, ERROR_SHARING_VIOLATION},
        {folder.File("shared.ini"), 0, ERROR_SHARING_VIOLATION},
        {folder.File("readonly.ini"), 0, ERROR_ACCESS_DENIED},
        {folder.File("b?d.ini"), ERROR_INVALID_NAME, ERROR_INVALID_NAME},
        {Wide(), ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(ToUtf8(row.file));
        const Read read = ReadString(row.file, "S", "k");
        EXPECT_EQ(row.readError, read.error);
        EXPECT_EQ(row.readError == 0 ? "v" : "DEF", read.text);
        EXPECT_EQ(row.writeError == 0 ? TRUE : FALSE, WriteW(row.file, "S", "k", "w"));
        if (row.writeError != 0)
        {
            EXPECT_EQ(row.writeError, ::GetLastError());
        }
    }
    ::CloseHandle(held);
    ::CloseHandle(shared);
    for (const char* name : {"held.ini", "shared.ini", "readonly.ini"})
        EXPECT_EQ(contents, test::ReadFileBytes(folder.File(name)));
    test::SetReadOnly(folder.File("readonly.ini"), false);
}

TEST(ProfileFile, ANameWithoutFolderLiesInTheWindowsFolder)
{
    const Wide bare = OLESTR("scankelv-contract.ini");
    const Wide whole = OLESTR("C:\\windows\\") + bare;
    EXPECT_NE(0, WriteW(bare, "S", "k", "v"));
    EXPECT_EQ("v", Value(whole, "S", "k"));
    EXPECT_EQ("v", Value(bare, "S", "k"));
    EXPECT_NE(0, ::DeleteFileW(whole.c_str()));
}

TEST(ProfileFile, ReadsSeeWhatOthersWrote)
{
    const TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    for (const char* value : {"1", "22", "1"})
    {
        test::WriteFileBytes(file, std::string("[S]\r\nk=") + value + "\r\n");
        EXPECT_EQ(value, Value(file, "S", "k"));
    }
}

} // namespace
