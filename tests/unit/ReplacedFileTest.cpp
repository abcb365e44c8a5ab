// Files that are replaced as a whole, and Config.ini, which is one of them.
#include "ReplacedFile.h"

#include "AgentTest.h"
#include "Owners.h"
#include "WiaStorage.h"

using namespace scankelv;
using namespace test;
using Begin = ReplacedFile::Begin;

struct ReplacedFileTest : AgentTest
{
    const TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"device.xml");
    const ReplacedFile m_file{ResourceLocationWide(m_path)};
    DebugConsoleCapture m_console;
};

TEST_F(ReplacedFileTest, IsWrittenInPlaceWhileSomebodyHoldsItIfItHasNoOtherName)
{
    const DWORD access = GENERIC_READ | GENERIC_WRITE, shared = FILE_SHARE_READ | FILE_SHARE_WRITE;
    const auto held = Own(::CreateFileW(m_path.c_str(), access, shared, nullptr, CREATE_NEW, 0, nullptr));
    std::wstring last;
    const auto write = [&last](const wchar_t* path) {
        last = path;
        return true;
    };
    EXPECT_TRUE(m_file.Replace(Begin::Empty, write) && last == m_path);
    EXPECT_THAT(m_console.Text(), testing::HasSubstr("written in place"));
    ASSERT_TRUE(::CreateHardLinkW((m_path + L".other").c_str(), m_path.c_str(), nullptr));
    EXPECT_FALSE(m_file.Replace(Begin::Empty, write));
    EXPECT_THAT(m_console.Text(), testing::HasSubstr("is a link or has a second name, it is not written."));
}

TEST_F(ReplacedFileTest, BeginsAgainAfterTheChangeOfAnotherAndRemovesWhatAKilledRunLeft)
{
    const std::wstring left = m_path + L".ScanKELV-1f-0";
    WriteFileBytes(left, "half");
    std::vector<std::wstring> paths;
    EXPECT_TRUE(m_file.Replace(Begin::Empty, [&](const wchar_t* path) {
        paths.emplace_back(path);
        WriteFileBytes(paths.size() <= 3 ? m_path : path, "changed " + std::to_string(paths.size()));
        return true;
    }));
    EXPECT_EQ("changed 4", ReadFileBytes(m_path));
    EXPECT_FALSE(std::filesystem::exists(left));
    EXPECT_EQ(m_path, paths.back()) << "in place after three attempts";
}

TEST_F(ReplacedFileTest, NoOtherAgentRemovesTheCopyInWork)
{
    EXPECT_TRUE(m_file.Replace(Begin::ProfileCopy, [](const wchar_t* path) { return ::DeleteFileW(path) == 0; }));
}

struct WiaCase
{
    const char* name;
    std::string before, after;
    bool losesCharacters = false;
};
const std::string marked = Utf16File(L"[IO]\r\nLocation=B\u00FCro\u4F1A\r\nPID=7\r\n"),
                  own = "[Own]\r\nmine=1\r\n; end\r\n";
const WiaCase wiaCases[] = {
    {"Empty", "", marked},
    {"TooShortForAMark", "\xFF", marked},
    {"OfTheCodePage", own, own + "[IO]\r\nLocation=B\xFCro?\r\nPID=7\r\n", true},
    {"OfTheCodePageWithTheSection", "[IO]\r\nPID=1\r\n", "[IO]\r\nPID=7\r\nLocation=B\xFCro?\r\n", true},
};
using WiaStorageTest = TableOf<WiaCase, ReplacedFileTest>;
TEST_P(WiaStorageTest, KeepsTheEntriesOfOthersAndTellsWhatTheCodePageLoses)
{
    WriteFileBytes(m_path, GetParam().before);
    WriteWiaStorage(ResourceLocationWide(m_path), [](WiaStorageKeys& keys) {
        keys.SetString(L"Location", L"B\u00FCro\u4F1A");
        keys.SetULong(L"PID", 7);
    });
    EXPECT_EQ(GetParam().after, ReadFileBytes(m_path));
    EXPECT_EQ(GetParam().losesCharacters, m_console.Text().find("lost characters") != std::string::npos);
}
INSTANTIATE_TEST_SUITE_P(, WiaStorageTest, testing::ValuesIn(wiaCases), caseName);
