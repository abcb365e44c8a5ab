// Files that are replaced as a whole, and Config.ini, which is one of them.
#include "ReplacedFile.h"

#include "AgentTest.h"
#include "Owners.h"
#include "WiaStorage.h"

using namespace scankelv;
using namespace test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

class ReplacedFileTest : public AgentTest
{
protected:
    std::vector<std::wstring> Names() const
    {
        std::vector<std::wstring> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path()))
            names.push_back(entry.path().filename().wstring());
        std::ranges::sort(names);
        return names;
    }
    /// Writes "new" and keeps the paths that it was given.
    bool Replace(
        const ReplacedFile::Write& write = [](const wchar_t*) { return true; },
        ReplacedFile::Begin begin = ReplacedFile::Begin::Empty)
    {
        return ReplacedFile(ResourceLocationWide(m_file)).Replace(begin, [&](const wchar_t* path) {
            m_paths.emplace_back(path);
            if (begin == ReplacedFile::Begin::Empty)
                WriteFileBytes(path, "new");
            return write(path);
        });
    }

    const TemporaryFolder m_folder;
    const std::wstring m_file = m_folder.File(L"device.xml");
    std::vector<std::wstring> m_paths;
    DebugConsoleCapture m_console;
};

TEST_F(ReplacedFileTest, IsOldUntilItIsNew)
{
    WriteFileBytes(m_file, "old");
    ::SetFileAttributesW(m_file.c_str(), FILE_ATTRIBUTE_HIDDEN);
    EXPECT_TRUE(Replace([&](const wchar_t* path) {
        EXPECT_NE(m_file, path);
        EXPECT_EQ("old", ReadFileBytes(m_file));
        return true;
    }));
    EXPECT_EQ("new", ReadFileBytes(m_file));
    EXPECT_THAT(Names(), ElementsAre(L"device.xml"));
    EXPECT_NE(0U, ::GetFileAttributesW(m_file.c_str()) & FILE_ATTRIBUTE_HIDDEN);
}

TEST_F(ReplacedFileTest, StaysOldWhenTheNewOneIsIncomplete)
{
    WriteFileBytes(m_file, "old");
    EXPECT_FALSE(Replace([](const wchar_t*) { return false; }));
    EXPECT_THROW(Replace([](const wchar_t*) -> bool { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_EQ("old", ReadFileBytes(m_file));
    EXPECT_THAT(Names(), ElementsAre(L"device.xml"));
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("stays as it was: writing failed")));
}

TEST_F(ReplacedFileTest, RemovesWhatKilledRunsLeftAndNothingElse)
{
    WriteFileBytes(m_file + L".ScanKELV-1f-0", "half");
    WriteFileBytes(m_file + L".bak", "the user's");
    EXPECT_TRUE(Replace());
    EXPECT_THAT(Names(), ElementsAre(L"device.xml", L"device.xml.bak"));
}

TEST_F(ReplacedFileTest, IsWrittenInPlaceWhileSomebodyHoldsIt)
{
    WriteFileBytes(m_file, "old");
    const OwnedHandle holder = Own(::CreateFileW(
        m_file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(Replace());
    EXPECT_EQ(m_file, m_paths.back());
    EXPECT_EQ("new", ReadFileBytes(m_file));
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("written in place")));
}

TEST_F(ReplacedFileTest, IsNotReplacedWhenReadOnly)
{
    WriteFileBytes(m_file, "old");
    SetReadOnly(m_file, true);
    EXPECT_FALSE(
        ReplacedFile(ResourceLocationWide(m_file)).Replace(ReplacedFile::Begin::Empty, [&](const wchar_t* path) {
            EXPECT_EQ(m_file, path);
            return false;
        }));
    EXPECT_EQ("old", ReadFileBytes(m_file));
}

TEST_F(ReplacedFileTest, BeginsAgainAfterTheChangeOfAnother)
{
    const auto changeFirst = [&](std::size_t times) {
        m_paths.clear();
        WriteFileBytes(m_file, "old");
        EXPECT_TRUE(Replace([&, times](const wchar_t*) {
            if (m_paths.size() <= times)
                WriteFileBytes(m_file, "changed " + std::to_string(m_paths.size()));
            return true;
        }));
        return m_paths.back() == m_file;
    };
    EXPECT_FALSE(changeFirst(2));
    EXPECT_EQ("new", ReadFileBytes(m_file));
    EXPECT_TRUE(changeFirst(3)) << "in place after three attempts";
}

struct BeginCase
{
    const char* name;
    const char* old; ///< null: absent
    std::string begin;
};
class ReplacedProfile : public ReplacedFileTest, public testing::WithParamInterface<BeginCase>
{
};
const BeginCase beginCases[] = {
    {"Absent", nullptr, "\xFF\xFE"},
    {"Empty", "", "\xFF\xFE"},
    {"OneByte", "\xFF", "\xFF\xFE"},
    {"WithContent", "[User]\r\nmine=1\r\n", "[User]\r\nmine=1\r\n"},
};
TEST_P(ReplacedProfile, BeginsAsACopyOrMarked)
{
    if (GetParam().old != nullptr)
        WriteFileBytes(m_file, GetParam().old);
    EXPECT_TRUE(Replace(
        [&](const wchar_t* path) {
            EXPECT_EQ(GetParam().begin, ReadFileBytes(path));
            EXPECT_EQ(0, ::DeleteFileW(path)) << "another agent must not take it away";
            return true;
        },
        ReplacedFile::Begin::ProfileCopy));
    EXPECT_EQ(GetParam().begin, ReadFileBytes(m_file));
}
INSTANTIATE_TEST_SUITE_P(, ReplacedProfile, testing::ValuesIn(beginCases), caseName);

using WiaStorageTest = ReplacedFileTest;

TEST_F(WiaStorageTest, KeepsTheEntriesOfOthersAndTellsWhatTheCodePageLoses)
{
    const auto write = [&](const wchar_t* text) {
        m_console.Clear();
        WriteWiaStorage(ResourceLocationWide(m_file), [text](WiaStorageKeys& keys) {
            keys.SetString(L"Location", text);
            keys.SetULong(L"PID", 7);
        });
    };
    write(L"B\u00FCro \u4F1A");
    EXPECT_EQ(Utf16File(L"[IO]\r\nLocation=B\u00FCro \u4F1A\r\nPID=7\r\n"), ReadFileBytes(m_file));
    EXPECT_THAT(m_console.Lines(), Not(Contains(HasSubstr("lost characters"))));

    WriteFileBytes(m_file, "[User]\r\nmine=1\r\n; the end\r\n");
    write(L"B\u00FCro");
    EXPECT_EQ("[User]\r\nmine=1\r\n; the end\r\n[IO]\r\nLocation=B\xFCro\r\nPID=7\r\n", ReadFileBytes(m_file));
    EXPECT_THAT(m_console.Lines(), Not(Contains(HasSubstr("lost characters"))));
    write(L"\u4F1A");
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("lost characters")));
    EXPECT_THAT(Names(), ElementsAre(L"device.xml"));
}

} // namespace
