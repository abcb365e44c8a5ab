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

/// What a read gives: the count of characters, the last error, the text.
std::string Read(const Wide& file, const char* section, const char* key, const char* preset = "DEF", DWORD room = 260)
{
    Wide wide(room + 2, 0x2323);
    ::SetLastError(kept);
    const DWORD count = ::GetPrivateProfileStringW(
        WideOrNull(section), WideOrNull(key), WideOrNull(preset), wide.data(), room, file.c_str());
    const DWORD error = ::GetLastError();
    EXPECT_TRUE(wide[count] == (room == 0 ? 0x2323 : 0) && wide[room] == 0x2323);
    return std::to_string(count) + " " + test::ErrorName(error) + " [" + ToUtf8({wide.data(), count}) + "]";
}

/// The fields of a case; "null" is a null pointer.
class Fields
{
public:
    explicit Fields(std::string_view given) : m_texts(test::Parts(given)) {}
    const char* operator[](std::size_t i) const { return m_texts[i] == "null" ? nullptr : m_texts[i].c_str(); }

private:
    std::vector<std::string> m_texts;
};

BOOL Write(const Wide& file, const char* section, const char* key, const char* value)
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
    test::ExpectAnswers("contract/data/ProfileValues.txt", [this](const std::string& value) {
        std::string answer;
        for (const std::string end : {"\r\n", "\n", "\r\r\n", "\r"})
        {
            test::WriteFileBytes(m_file, "[S]" + end + "j=1" + end + "k=" + value + (end == "\n" ? "" : end));
            const std::string found = Read(m_file, "S", "k") + "\n";
            answer += answer.find(found) == std::string::npos ? found : ""; // every line end gives the same
        }
        return answer;
    });
    test::ExpectAnswers("contract/data/ProfileReads.txt", [this](const std::string& given) {
        const Fields fields(given);                                     // contents, section, key, preset, room
        test::WriteFileBytes(m_file, given.substr(0, given.find('|'))); // a zero within stays
        return Read(m_file, fields[1], fields[2], fields[3], static_cast<DWORD>(std::stoul(fields[4]))) + "\n";
    });
    const std::string longValue(5000, 'x');
    test::WriteFileBytes(m_file, "[S]\r\nk=" + longValue + "\r\n");
    EXPECT_EQ("5000 success [" + longValue + "]", Read(m_file, "S", "k", "DEF", 6000));
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
        const Fields fields(given); // what was there, section, key, value
        test::WriteFileBytes(m_file, fields[0]);
        EXPECT_TRUE(Write(m_file, fields[1], fields[2], fields[3]));
        return test::ReadFileBytes(m_file);
    });
    const char* const character = "€ 🖨"; // kept in a file of UTF-16
    test::WriteFileBytes(m_file, "\xFF\xFE");
    EXPECT_TRUE(Write(m_file, "S", "k", "v") && Write(m_file, "S", "l", character));
    const std::string before = test::ReadFileBytes(m_file);
    EXPECT_EQ("\xFF\xFE" + test::Utf16Bytes(ToWide("[S]\r\nk=v\r\nl=" + std::string(character) + "\r\n")), before);
    EXPECT_FALSE(Write(m_file, nullptr, nullptr, nullptr) || Write(m_file, nullptr, "k", "v"));
    EXPECT_EQ(before, test::ReadFileBytes(m_file));
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
        EXPECT_EQ(read, Read(m_file, "Ä", "Ж"));
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
        EXPECT_EQ(read, Read(file, "S", "k")) << ToUtf8(file);
        for (const char* value : {"v", "w"}) // the one that is there is refused too
        {
            const DWORD error = LastError().Of(Write(file, "S", "k", value));
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
    EXPECT_TRUE(Write(bare, "S", "k", "v"));
    EXPECT_EQ("1 success [v]", Read(whole, "S", "k"));
    for (const std::string value : {"1", "2", "1"})
    {
        test::WriteFileBytes(whole, "[S]\r\nk=" + value + "\r\n");
        EXPECT_EQ("1 success [" + value + "]", Read(bare, "S", "k"));
    }
    EXPECT_TRUE(::DeleteFileW(whole.c_str()));
}

} // namespace
