// Files that are replaced as a whole, and Config.ini, which is one of them.
#include "ReplacedFile.h"

#include "AgentTest.h"
#include "Owners.h"
#include "WiaStorage.h"

#include <set>

using namespace scankelv;
using namespace test;
using testing::Contains, testing::ElementsAre, testing::HasSubstr, testing::Not;
using Begin = ReplacedFile::Begin;

class ReplacedFileTest : public AgentTest
{
protected:
    std::set<std::wstring> Names() const
    {
        std::set<std::wstring> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path()))
            names.insert(entry.path().filename().wstring());
        return names;
    }
    static bool Done(const wchar_t*) { return true; }
    /// Writes "new", unless the file begins as a copy, and keeps the paths that it was given.
    bool Replace(const ReplacedFile::Write& write = &Done, Begin begin = Begin::Empty)
    {
        return ReplacedFile(ResourceLocationWide(m_file)).Replace(begin, [&](const wchar_t* path) {
            m_paths.emplace_back(path);
            if (begin == Begin::Empty)
                WriteFileBytes(path, "new");
            return write(path);
        });
    }

    const TemporaryFolder m_folder;
    const std::wstring m_file = m_folder.File(L"device.xml");
    std::vector<std::wstring> m_paths;
    DebugConsoleCapture m_console;
};

TEST_F(ReplacedFileTest, IsOldUntilItIsNewAndRemovesWhatKilledRunsLeft)
{
    WriteFileBytes(m_file, "old");
    WriteFileBytes(m_file + L".ScanKELV-1f-0", "half");
    WriteFileBytes(m_file + L".bak", "the user's");
    EXPECT_TRUE(Replace([&](const wchar_t*) { return ReadFileBytes(m_file) == "old"; }));
    EXPECT_EQ("new", ReadFileBytes(m_file));
    EXPECT_THAT(Names(), ElementsAre(L"device.xml", L"device.xml.bak"));
}

TEST_F(ReplacedFileTest, StaysOldWhenTheNewOneIsIncomplete)
{
    WriteFileBytes(m_file, "old");
    EXPECT_FALSE(Replace([](const wchar_t*) { return false; }));
    EXPECT_THROW(Replace([](const wchar_t*) -> bool { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_EQ("old", ReadFileBytes(m_file));
    EXPECT_THAT(Names(), ElementsAre(L"device.xml"));
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("stays as it was: the new file would be incomplete")));
}

TEST_F(ReplacedFileTest, IsWrittenInPlaceWhileSomebodyHoldsIt)
{
    WriteFileBytes(m_file, "old");
    const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE;
    const auto held = Own(::CreateFileW(m_file.c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(Replace());
    EXPECT_EQ(m_file, m_paths.back());
    EXPECT_EQ("new", ReadFileBytes(m_file));
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("written in place")));
    EXPECT_FALSE(Replace([&](const wchar_t* path) { return path != m_file; })) << "a disk that is full";
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("was not written whole")));
    WriteFileBytes(m_file, "somebody's");
    ASSERT_TRUE(::CreateHardLinkW((m_file + L".other").c_str(), m_file.c_str(), nullptr));
    EXPECT_FALSE(Replace());
    EXPECT_EQ("somebody's", ReadFileBytes(m_file));
}

TEST_F(ReplacedFileTest, BeginsAgainAfterTheChangeOfAnother)
{
    WriteFileBytes(m_file, "old");
    EXPECT_TRUE(Replace([&](const wchar_t*) {
        if (m_paths.size() <= 3)
            WriteFileBytes(m_file, "changed " + std::to_string(m_paths.size()));
        return true;
    }));
    EXPECT_EQ("new", ReadFileBytes(m_file));
    EXPECT_EQ(4U, m_paths.size());
    EXPECT_EQ(m_file, m_paths.back()) << "in place after three attempts";
}

TEST_F(ReplacedFileTest, BeginsAsACopyOrMarked)
{
    for (const auto& [old, begin] : {std::pair("", "\xFF\xFE"), {"\xFF", "\xFF\xFE"}, {"[User]\r\n", "[User]\r\n"}})
    {
        WriteFileBytes(m_file, old);
        const auto isHeld = [](const wchar_t* path) { return ::DeleteFileW(path) == 0; }; // no other agent removes it
        EXPECT_TRUE(Replace(isHeld, Begin::ProfileCopy));
        EXPECT_EQ(begin, ReadFileBytes(m_file)) << old;
    }
}

using WiaStorageTest = ReplacedFileTest;
TEST_F(WiaStorageTest, KeepsTheEntriesOfOthersAndTellsWhatTheCodePageLoses)
{
    const auto write = [&](const wchar_t* text) {
        WriteWiaStorage(ResourceLocationWide(m_file), [text](WiaStorageKeys& keys) {
            keys.SetString(L"Location", text);
            keys.SetULong(L"PID", 7);
        });
    };
    WriteFileBytes(m_file, "[ScanKELV]\r\nmine=1\r\n; the end\r\n");
    write(L"B\u00FCro");
    EXPECT_EQ("[ScanKELV]\r\nmine=1\r\n; the end\r\n[IO]\r\nLocation=B\xFCro\r\nPID=7\r\n", ReadFileBytes(m_file));
    EXPECT_THAT(m_console.Lines(), Not(Contains(HasSubstr("lost characters"))));
    write(L"\u4F1A");
    EXPECT_THAT(m_console.Lines(), Contains(HasSubstr("lost characters")));
}
