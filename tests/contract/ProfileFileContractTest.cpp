// Profile files: how values, lists and numbers are read, and what a write makes of a file.
#include "LastError.h"
#include "TestSupport.h"

#include <tuple>

namespace
{

using test::kept;
using test::LastError;
using test::ToUtf8;
using test::ToWide;
using test::Wide;

/// Texts for the wide functions, given with bars between them; "null" is a null pointer.
class Fields
{
public:
    explicit Fields(std::string_view given)
    {
        for (const std::string& text : test::Parts(given))
            m_texts.push_back(ToWide(text));
    }
    const WCHAR* operator[](std::size_t i) const { return m_texts[i] == OLESTR("null") ? nullptr : m_texts[i].c_str(); }

private:
    std::vector<Wide> m_texts;
};

/// What a read of section, key and preset gives: the count of characters, the last error, the text.
std::string Read(const Wide& file, std::string_view asked = "S|k|DEF", DWORD room = 260)
{
    const Fields fields(asked);
    Wide wide(room + 2, 0x2323);
    ::SetLastError(kept);
    const DWORD count = ::GetPrivateProfileStringW(fields[0], fields[1], fields[2], wide.data(), room, file.c_str());
    const DWORD error = ::GetLastError();
    EXPECT_TRUE(wide[count] == (room == 0 ? 0x2323 : 0) && wide[room] == 0x2323);
    return std::to_string(count) + " " + test::ErrorName(error) + " [" + ToUtf8({wide.data(), count}) + "]";
}

/// Of section, key and value.
BOOL Write(const Wide& file, std::string_view given)
{
    const Fields fields(given);
    return ::WritePrivateProfileStringW(fields[0], fields[1], fields[2], file.c_str());
}

class ProfileFile : public testing::Test
{
protected:
    test::TemporaryFolder m_folder;
    const Wide m_file = m_folder.File("a.ini");
};

TEST_F(ProfileFile, ValuesAreFoundByWindowsRules)
{
    test::ExpectAnswers("contract/data/ProfileValues.txt", [this](const std::string& value) {
        std::string answer;
        for (const std::string end : {"\r\n", "\n", "\r\r\n", "\r"})
        {
            test::WriteFileBytes(m_file, "[S]" + end + "j=1" + end + "k=" + value + (end == "\n" ? "" : end));
            const std::string found = Read(m_file) + "\n";
            answer += answer.find(found) == std::string::npos ? found : ""; // every line end gives the same
        }
        return answer;
    });
    test::ExpectAnswers("contract/data/ProfileReads.txt", [this](const std::string& given) {
        const std::size_t contents = given.find('|'), room = given.rfind('|'); // section, key and preset between them
        test::WriteFileBytes(m_file, given.substr(0, contents));
        return Read(m_file, given.substr(contents + 1), static_cast<DWORD>(std::stoul(given.substr(room + 1)))) + "\n";
    });
    const std::string longValue(5000, 'x');
    test::WriteFileBytes(m_file, "[S]\r\nk=" + longValue + "\r\n");
    EXPECT_EQ("5000 success [" + longValue + "]", Read(m_file, "S|k|DEF", 6000));
}

TEST_F(ProfileFile, Numbers)
{
    const std::string narrow = ToUtf8(m_file);
    test::ExpectAnswers("contract/data/ProfileNumbers.txt", [&](const std::string& value) {
        test::WriteFileBytes(m_file, "[S]\r\nk=" + value + "\r\n");
        const UINT number = ::GetPrivateProfileIntA("S", "k", 6844, narrow.c_str());
        EXPECT_EQ(number, ::GetPrivateProfileIntW(OLESTR("S"), OLESTR("k"), 6844, m_file.c_str()));
        return std::to_string(number) + "\n";
    });
    EXPECT_EQ(0xFFFFFFFEU, ::GetPrivateProfileIntA("S", "other", -2, narrow.c_str()));
    EXPECT_EQ(7U, ::GetPrivateProfileIntA("S", "k", 7, (narrow + "none").c_str()));
}

TEST_F(ProfileFile, WritesChangeOneLine)
{
    test::ExpectAnswers("contract/data/ProfileWrites.txt", [this](const std::string& given) {
        const std::size_t contents = given.find('|');
        test::WriteFileBytes(m_file, given.substr(0, contents));
        EXPECT_TRUE(Write(m_file, given.substr(contents + 1)));
        return test::ReadFileBytes(m_file);
    });
    test::WriteFileBytes(m_file, "\xFF\xFE"); // a file of UTF-16 keeps every character
    EXPECT_TRUE(Write(m_file, "S|k|v") && Write(m_file, "S|l|€ 🖨"));
    EXPECT_FALSE(Write(m_file, "null|null|null") || Write(m_file, "null|k|v"));
    EXPECT_EQ("\xFF\xFE" + test::Utf16Bytes(ToWide("[S]\r\nk=v\r\nl=€ 🖨\r\n")), test::ReadFileBytes(m_file));
}

TEST_F(ProfileFile, EncodingsWithAMark)
{
    const std::string text = "[Ä]\r\nЖ=€ 🖨\r\n", utf16 = test::Utf16Bytes(ToWide(text));
    const std::pair<std::string, const char*> rows[] = {
        {"\xFF\xFE" + utf16, "4 success [€ 🖨]"},
        {"\xFF\xFE" + utf16 + "x", "4 success [€ 🖨]"}, // half a character at the end
        {utf16, "3 success [DEF]"},
        {"\xEF\xBB\xBF" + text, "4 success [€ 🖨]"}};
    for (const auto& [bytes, read] : rows)
    {
        test::WriteFileBytes(m_file, bytes);
        EXPECT_EQ(read, Read(m_file, "Ä|Ж|DEF"));
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
    const std::tuple<Wide, const char*, DWORD> rows[] = {
        // file, what is read of it, how a write is refused
        {m_folder.File("absent.ini"), "3 FILE_NOT_FOUND [DEF]", 0},
        {m_folder.File("none\\a.ini"), "3 PATH_NOT_FOUND [DEF]", ERROR_PATH_NOT_FOUND},
        {m_folder.Path(), "3 ACCESS_DENIED [DEF]", ERROR_ACCESS_DENIED},
        {held, "3 SHARING_VIOLATION [DEF]", ERROR_SHARING_VIOLATION},
        {shared, "1 success [v]", ERROR_SHARING_VIOLATION},
        {fixed, "1 success [v]", ERROR_ACCESS_DENIED},
        {m_folder.File("b?d.ini"), "3 INVALID_NAME [DEF]", ERROR_INVALID_NAME},
        {Wide(), "3 ACCESS_DENIED [DEF]", ERROR_ACCESS_DENIED}};
    for (const auto& [file, read, writeError] : rows)
    {
        EXPECT_EQ(read, Read(file)) << ToUtf8(file);
        for (const char* given : {"S|k|v", "S|k|w"}) // what is there is refused too
        {
            const DWORD error = LastError().Of(Write(file, given));
            EXPECT_TRUE(writeError == 0 ? test::FileExists(file) : error == writeError) << error << ToUtf8(file);
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
    EXPECT_TRUE(Write(bare, "S|k|v"));
    EXPECT_EQ("1 success [v]", Read(whole));
    for (const std::string value : {"1", "2", "1"})
    {
        test::WriteFileBytes(whole, "[S]\r\nk=" + value + "\r\n");
        EXPECT_EQ("1 success [" + value + "]", Read(bare));
    }
    EXPECT_TRUE(::DeleteFileW(whole.c_str()));
}

} // namespace
