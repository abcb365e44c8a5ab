// Profile files: how values, lists and numbers are read, and what a write makes of a file.
#include "LastError.h"
#include "TestSupport.h"

#include <optional>
#include <tuple>

namespace
{

using test::kept;
using test::LastError;
using test::ToUtf8;
using test::ToWide;
using test::Wide;

/// A text or a null pointer for the wide functions.
class WideOrNull
{
public:
    explicit WideOrNull(const char* text) : m_text(text == nullptr ? std::nullopt : std::optional(ToWide(text))) {}
    operator const WCHAR*() const { return m_text ? m_text->c_str() : nullptr; }

private:
    std::optional<Wide> m_text;
};

/// What a read gave, in both forms; the terminators between names are shown as "|".
struct Read
{
    DWORD count = 0, error = 0;
    std::string text;

    Read(
        const Wide& file, const char* section, const char* key, const char* preset = "DEF", DWORD room = 260,
        bool bothForms = true)
    {
        std::vector<WCHAR> wide(room + 2, 0x2323);
        ::SetLastError(kept);
        count = ::GetPrivateProfileStringW(
            WideOrNull(section), WideOrNull(key), WideOrNull(preset), wide.data(), room, file.c_str());
        error = ::GetLastError();
        text = Shown(ToUtf8({wide.data(), count}));
        EXPECT_TRUE(wide[count] == (room == 0 ? 0x2323 : 0) && wide[room] == 0x2323);
        if (!bothForms)
            return;
        std::string narrow(room + 2, '#');
        ::SetLastError(kept);
        EXPECT_EQ(count, ::GetPrivateProfileStringA(section, key, preset, narrow.data(), room, ToUtf8(file).c_str()));
        EXPECT_EQ(error, ::GetLastError());
        EXPECT_EQ(text, Shown(narrow.substr(0, count)));
        EXPECT_EQ('#', narrow[room]);
    }
    static std::string Shown(std::string text)
    {
        for (char& c : text)
            c = c == '\0' ? '|' : c;
        return text;
    }
};

BOOL WriteW(const Wide& file, const char* section, const char* key, const char* value)
{
    return ::WritePrivateProfileStringW(WideOrNull(section), WideOrNull(key), WideOrNull(value), file.c_str());
}

class ProfileFile : public testing::Test
{
protected:
    test::TemporaryFolder m_folder;
    const Wide m_file = m_folder.File("a.ini");
};

TEST_F(ProfileFile, ValuesAreFoundByWindowsRules)
{
    using namespace std::literals;
    const std::pair<const char*, const char*> values[] = {
        {"\tv ", "v"},      {"v  w", "v  w"}, {"\"v \"", "v "}, {"' v'", " v"}, {"\"\"", ""},
        {"'a", "'a"},       {"a'", "a'"},     {"\"a'", "\"a'"}, {"\"", "\""},   {"'a' b", "'a' b"},
        {"a'b'c", "a'b'c"}, {"'a';", "'a';"}, {"v ;n", "v ;n"}, {"a=b", "a=b"}, {"v\x1Aw", "v\x1Aw"}};
    for (const auto& [written, read] : values)
        for (const std::string end : {"\r\n", "\n", "\r\r\n", "\r"})
        {
            SCOPED_TRACE(written);
            test::WriteFileBytes(m_file, "[S]" + end + "j=1" + end + "k=" + written + (end == "\n" ? "" : end));
            const Read found(m_file, "S", "k");
            EXPECT_EQ(read, found.text);
            EXPECT_EQ(0U, found.error);
        }
    const std::tuple<std::string, const char*, const char*, const char*> rows[] = {
        {"[S]\r\nk=\r\n", "S", "k", ""},
        {"[S]\r\nk=v\r\n", "S", "other", "DEF"},
        {"[S]\r\nk=v\r\n", "other", "k", "DEF"},
        {"[Sec Tion]\r\nmy Key=v\r\n", " sEC tION ", "\tMY kEY ", "v"},
        {" \t[ S ]\r\n\t k \t=\t v\r\n", "S", "k", "v"},
        {"[S]\r\n;k=1\r\n ; k=2\r\nk=3\r\n", "S", "k", "3"},
        {"[S]\r\n#k=1\r\n", "S", "#k", "1"},
        {"[S]\r\nk=1\r\nK=2\r\n[s]\r\nk=3\r\nl=4\r\n", "S", "k", "1"},
        {"[S]\r\nk=1\r\n[s]\r\nl=3\r\n", "S", "l", "DEF"},
        {"[S]\r\nk\r\n", "S", "k", "DEF"},
        {"[S]\r\n=v\r\n", "S", "", "v"},
        {"[S] trailing\r\nk=v\r\n", "S", "k", "v"},
        {"\xEF\xBB\xBF[S]\r\nk=v\r\n", "S", "k", "v"},
        {"", "S", "k", "DEF"},
        {"[S]\r\nz=a\0b\r\nk=v\r\n"s, "S", "z", "a"},
        {"[S]\r\nz=a\0b\r\nk=v\r\n"s, "S", "k", "v"},
    };
    for (const auto& [contents, section, key, text] : rows)
    {
        SCOPED_TRACE(contents);
        test::WriteFileBytes(m_file, contents);
        const Read found(m_file, section, key);
        EXPECT_EQ(text, found.text);
        EXPECT_EQ(0U, found.error);
    }
    const std::string longValue(5000, 'x');
    test::WriteFileBytes(m_file, "[S]\r\nk=" + longValue + "\r\n");
    EXPECT_EQ(longValue, Read(m_file, "S", "k", "DEF", 6000).text);
}

TEST_F(ProfileFile, RoomListsAndDefaults)
{
    test::WriteFileBytes(m_file, "[S]\r\n;note=1\r\nlong=abcdef\r\nno value\r\nb b=2\r\n[T]\r\nc=3\r\n");
    const struct
    {
        const char *section, *key, *preset;
        DWORD room, count;
        const char* text;
        DWORD error = 0;
    } rows[] = {
        {"S", "long", "DEF", 7, 6, "abcdef"},
        {"S", "long", "DEF", 6, 5, "abcde"},
        {"S", "long", "DEF", 1, 0, ""},
        {"S", "long", "DEF", 0, 0, "", kept},
        {"S", nullptr, "DEF", 100, 9, "long|b b|"},
        {"S", nullptr, "DEF", 8, 6, "long|b"},
        {nullptr, "ignored", "DEF", 100, 4, "S|T|"},
        {nullptr, nullptr, "DEF", 4, 2, "S|"},
        {"missing", nullptr, "DEF", 100, 3, "DEF"},
        {"S", "missing", nullptr, 100, 0, ""},
        {"S", "missing", " D  ", 100, 2, " D"},
        {"S", "missing", "' D '", 100, 3, " D "},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        const Read read(m_file, row.section, row.key, row.preset, row.room);
        EXPECT_EQ(row.count, read.count);
        EXPECT_EQ(row.text, read.text);
        EXPECT_EQ(row.error, read.error);
    }
}

TEST_F(ProfileFile, Numbers)
{
    constexpr UINT absent = 6844;
    const std::string narrow = ToUtf8(m_file);
    const std::pair<const char*, UINT> rows[] = {
        {"12", 12},       {" 12 ", 12},        {"+12", 12},       {"\"12\"", 12},    {"'7'", 7},    {"012", 12},
        {"12abc", 12},    {"1 2", 1},          {"1;2", 1},        {"abc", 0},        {"- 5", 0},    {"--5", 0},
        {"0x", 0},        {"0X1f", 0},         {"0x1F", 31},      {"0x1fg", 31},     {"+0x10", 16}, {"", absent},
        {"\"\"", absent}, {"4294967295", ~0U}, {"4294967296", 0}, {"42949672961", 1}};
    for (const auto& [text, number] : rows)
    {
        test::WriteFileBytes(m_file, "[S]\r\nk=" + std::string(text) + "\r\n");
        EXPECT_EQ(number, ::GetPrivateProfileIntA("S", "k", absent, narrow.c_str())) << text;
        EXPECT_EQ(number, ::GetPrivateProfileIntW(OLESTR("S"), OLESTR("k"), absent, m_file.c_str())) << text;
    }
    EXPECT_EQ(0xFFFFFFFEU, ::GetPrivateProfileIntA("S", "other", -2, narrow.c_str()));
    EXPECT_EQ(7U, ::GetPrivateProfileIntA("S", "k", 7, (narrow + "none").c_str()));
}

TEST_F(ProfileFile, WritesChangeOneLine)
{
    const struct
    {
        const char *before, *section, *key, *value;
        std::string after; // in files without blank lines or blanks, which one of the systems might lose
    } rows[] = {
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
        {"[S]\r\n", " S", "  k", "", "[S]\r\nk=\r\n"},
        {"[S]\r\n", "S", "k", "\"  v  \"", "[S]\r\nk=\"  v  \"\r\n"},
        {"[S]\r\n", "S", "k", "a;\x01\t\"b", "[S]\r\nk=a;\x01\t\"b\r\n"},
        {"[S]\r\n", "S", "k", "a\r\nl=b", "[S]\r\nk=a\r\nl=b\r\n"},
        {"[S]\r\n", "S", "a=b", "v", "[S]\r\na=b=v\r\n"},
        {"; head\r\n[S]\r\n; one\r\na=1\r\n; two\r\n", "S", "a", "2", "; head\r\n[S]\r\n; one\r\na=2\r\n; two\r\n"},
        {"\xEF\xBB\xBF[S]\r\n", "S", "k", "v", "\xEF\xBB\xBF[S]\r\nk=v\r\n"},
        {"\xFF\xFE", "S", "k", "v", "\xFF\xFE" + test::Utf16Bytes(OLESTR("[S]\r\nk=v\r\n"))},
    };
    for (const auto& row : rows)
        for (const bool wide : {false, true})
        {
            SCOPED_TRACE(&row - rows);
            test::WriteFileBytes(m_file, row.before);
            EXPECT_TRUE(
                wide ? WriteW(m_file, row.section, row.key, row.value)
                     : ::WritePrivateProfileStringA(row.section, row.key, row.value, ToUtf8(m_file).c_str()));
            EXPECT_EQ(row.after, test::ReadFileBytes(m_file));
        }
    const char* const character = "\xE2\x82\xAC \xF0\x9F\x96\xA8"; // kept in a file of UTF-16
    EXPECT_TRUE(WriteW(m_file, "S", "k", character));
    EXPECT_EQ(character, Read(m_file, "S", "k", "DEF", 260, false).text);
    const std::string before = test::ReadFileBytes(m_file);
    EXPECT_FALSE(WriteW(m_file, nullptr, nullptr, nullptr));
    EXPECT_FALSE(WriteW(m_file, nullptr, "k", "v"));
    EXPECT_EQ(before, test::ReadFileBytes(m_file));
}

TEST_F(ProfileFile, EncodingsWithAMark)
{
    const char* const value = "\xE2\x82\xAC \xF0\x9F\x96\xA8";
    const std::string text = "[\xC3\x84]\r\n\xD0\x96=" + std::string(value) + "\r\n";
    const std::tuple<std::string, const char*> rows[] = {
        {"\xFF\xFE" + test::Utf16Bytes(ToWide(text)), value},
        {"\xFF\xFE" + test::Utf16Bytes(ToWide(text)) + "x", value}, // half a character at the end
        {test::Utf16Bytes(ToWide(text)), "DEF"},
        {"\xEF\xBB\xBF" + text, value}};
    for (const auto& [bytes, read] : rows)
    {
        test::WriteFileBytes(m_file, bytes);
        EXPECT_EQ(read, Read(m_file, "\xC3\x84", "\xD0\x96", "DEF", 260, false).text);
    }
}

TEST_F(ProfileFile, RefusalsLeaveTheFileAlone)
{
    const std::string contents = "[S]\r\nk=v\r\n";
    const Wide held = m_folder.File("held.ini"), shared = m_folder.File("shared.ini"), fixed = m_folder.File("fixed");
    for (const Wide& file : {held, shared, fixed})
        test::WriteFileBytes(file, contents);
    test::SetReadOnly(fixed, true);
    const HANDLE handles[] = {
        ::CreateFileW(held.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr),
        ::CreateFileW(shared.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)};
    const std::tuple<Wide, DWORD, DWORD> rows[] = {
        {m_folder.File("absent.ini"), ERROR_FILE_NOT_FOUND, 0},
        {m_folder.File("none\\a.ini"), ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
        {m_folder.Path(), ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {held, ERROR_SHARING_VIOLATION, ERROR_SHARING_VIOLATION},
        {shared, 0, ERROR_SHARING_VIOLATION},
        {fixed, 0, ERROR_ACCESS_DENIED},
        {m_folder.File("b?d.ini"), ERROR_INVALID_NAME, ERROR_INVALID_NAME},
        {Wide(), ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
    };
    for (const auto& [file, readError, writeError] : rows)
    {
        SCOPED_TRACE(ToUtf8(file));
        const Read read(file, "S", "k");
        EXPECT_EQ(readError, read.error);
        EXPECT_EQ(readError == 0 ? "v" : "DEF", read.text);
        for (const char* value : {"v", "w"}) // the one that is there is refused too
        {
            const DWORD error = LastError().Of(WriteW(file, "S", "k", value));
            EXPECT_TRUE(writeError == 0 ? test::FileExists(file) : error == writeError) << error;
        }
    }
    for (const HANDLE handle : handles)
        ::CloseHandle(handle);
    for (const Wide& file : {held, shared, fixed})
        EXPECT_EQ(contents, test::ReadFileBytes(file));
    test::SetReadOnly(fixed, false);
}

TEST_F(ProfileFile, ANameWithoutFolderLiesInTheWindowsFolderAndReadsSeeWhatOthersWrote)
{
    const Wide bare = OLESTR("scankelv-contract.ini"), whole = OLESTR("C:\\windows\\") + bare;
    EXPECT_TRUE(WriteW(bare, "S", "k", "v"));
    EXPECT_EQ("v", Read(whole, "S", "k").text);
    for (const char* value : {"1", "22", "1"})
    {
        test::WriteFileBytes(whole, std::string("[S]\r\nk=") + value + "\r\n");
        EXPECT_EQ(value, Read(bare, "S", "k").text);
    }
    EXPECT_TRUE(::DeleteFileW(whole.c_str()));
}

} // namespace
