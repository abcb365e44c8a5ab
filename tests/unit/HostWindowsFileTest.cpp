// The stand-in's files where Windows has no say: the Linux side of paths, sharing and modes, and hostile files.
#include "host/Linux.h"
#include "LastError.h"
#include "Paths.h"
#include "SharedFile.h"

#include <aclapi.h>
#include <fcntl.h>
#include <shellapi.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using namespace hostwindows;
using test::FileText;
using test::Wide;

constexpr DWORD shareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;

unsigned ModeOf(const std::string& path)
{
    struct ::stat status;
    EXPECT_EQ(0, ::stat(path.c_str(), &status)) << path;
    return status.st_mode & 07777;
}

class HostWindowsFile : public testing::Test
{
protected:
    std::string Linux(const char* name) const { return FindPath(m_folder.File(name)).path; }
    test::TemporaryFolder m_folder;
};

TEST_F(HostWindowsFile, PathsOnBothDrives)
{
    const std::string drive = MachineFolder() + "/drive_c";
    fs::create_directories(drive + "/Data/Ä und ж");
    const std::tuple<const char16_t*, std::string, DWORD, bool> rows[] = {
        {u"C:\\", drive + "/", 0, true},
        {u"c:/programdata", drive + "/ProgramData", 0, true},
        {u"C:\\DATA\\ä UND Ж", drive + "/Data/Ä und ж", 0, true},
        {u"C:\\data\\new", drive + "/Data/new", 0, false},
        {u"C:\\..\\..\\Data", drive + "/Data", 0, true},
        {u"C:\\Data\\..\\..\\..\\etc\\passwd", drive + "/etc/passwd", ERROR_PATH_NOT_FOUND, false},
        {u"Z:\\ETC\\passwd", "/etc/passwd", 0, true},
        {u"z:\\..\\etc/Passwd.", "/etc/passwd", 0, true},
        {u"\\etc\\passwd", "/etc/passwd", 0, true},
        {u"\\\\server\\share\\file", "", ERROR_PATH_NOT_FOUND, false},
        {u"D:\\file", "", ERROR_PATH_NOT_FOUND, false},
        {u"1:\\file", "", ERROR_PATH_NOT_FOUND, false},
        {u"C:\\a:b", "", ERROR_INVALID_NAME, false},
        {u"", "", ERROR_PATH_NOT_FOUND, false},
    };
    for (const auto& [windows, path, error, exists] : rows)
    {
        const FoundPath found = FindPath(windows);
        EXPECT_EQ(std::tuple(path, error, exists), std::tuple(found.path, found.error, found.exists));
    }
    // The exact name comes before one in another letter case.
    std::ofstream(drive + "/Data/name") << "";
    std::ofstream(drive + "/Data/NAME") << "";
    EXPECT_EQ(drive + "/Data/name", FindPath(u"C:\\Data\\name").path);
    EXPECT_EQ(drive + "/Data/NAME", FindPath(u"C:\\Data\\NAME").path);

    EXPECT_EQ(u"C:\\Data\\name", WindowsPath(drive + "/Data/name"));
    EXPECT_EQ(u"C:\\", WindowsPath(drive));
    EXPECT_EQ(u"Z:\\etc", WindowsPath("/etc"));
    EXPECT_EQ(u"Z:", WindowsPath(drive + "x").substr(0, 2)) << "the drive's neighbour";
}

// Each in a process of its own, which has not looked at the machine's folder yet.
TEST(HostWindowsMachine, UnusableIsSaidOnceThenTheFunctionsFail)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto use = [] {
        ::setenv("HOSTWINDOWS_ROOT", "/proc/none/machine", 1);
        int failures = 0;
        for (int i = 0; i < 2; ++i)
        {
            failures += ::CreateDirectoryW(u"C:\\folder", nullptr) == 0 && ::GetLastError() == ERROR_PATH_NOT_FOUND;
            failures += ::GetFileAttributesW(u"C:\\") == INVALID_FILE_ATTRIBUTES;
        }
        ::exit(failures);
    };
    EXPECT_EXIT(
        use(), testing::ExitedWithCode(4),
        "^hostwindows: the machine folder /proc/none/machine cannot be used: [^\n]+\n$");
}

TEST(HostWindowsMachine, UsualFoldersAreMadeOrFoundInAnyLetterCase)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string root = fs::temp_directory_path() / ("scankelv-machine-" + std::to_string(::getuid()));
    fs::remove_all(root);
    fs::create_directories(root + "/drive_c/programdata");
    const auto use = [&root] {
        ::setenv("HOSTWINDOWS_ROOT", root.c_str(), 1);
        ::setenv("LOGNAME", "jane", 1);
        ::exit(MachineFolder() == root && UserProfile() == u"C:\\Users\\jane" ? 7 : 1);
    };
    EXPECT_EXIT(use(), testing::ExitedWithCode(7), "^$");
    EXPECT_TRUE(fs::is_directory(root + "/drive_c/Users/jane/AppData/Local/Temp"));
    EXPECT_FALSE(fs::exists(root + "/drive_c/ProgramData"));
    fs::remove_all(root);
}

TEST_F(HostWindowsFile, LongPathsWork)
{
    Wide path = m_folder.Path();
    for (int i = 0; i < 3; ++i)
    {
        path += u"\\" + Wide(200, u'x');
        ASSERT_TRUE(::CreateDirectoryW(path.c_str(), nullptr));
    }
    test::WriteFileBytes(path + u"\\file", "far away");
    EXPECT_EQ("far away", test::ReadFileBytes(path + u"\\file"));
}

TEST_F(HostWindowsFile, ReplacingKeepsModeAndLeavesNothingBeside)
{
    const std::string path = Linux("file.ini");
    std::ofstream(path) << "old";
    ::chmod(path.c_str(), 0640);
    EXPECT_EQ(0U, ReplaceWholeFile(path, "new contents"));
    EXPECT_EQ("new contents", FileText(path));
    EXPECT_EQ(0640U, ModeOf(path));

    // A writer that was killed left its sibling behind; a hostile neighbour put a link there.
    const std::string sibling = Linux(".file.ini.new");
    const std::string victim = Linux("victim");
    std::ofstream(victim) << "untouched";
    std::ofstream(sibling) << "half a fi";
    EXPECT_EQ(0U, ReplaceWholeFile(path, "second"));
    ASSERT_EQ(0, ::symlink(victim.c_str(), sibling.c_str()));
    EXPECT_EQ(0U, ReplaceWholeFile(path, "third"));
    EXPECT_EQ("third", FileText(path));

    // A link in the file's own place is replaced, not followed.
    const std::string link = Linux("link.ini");
    ASSERT_EQ(0, ::symlink(victim.c_str(), link.c_str()));
    EXPECT_EQ(0U, ReplaceWholeFile(link, "own"));
    EXPECT_FALSE(fs::is_symlink(link));
    EXPECT_EQ("own", FileText(link));
    EXPECT_EQ("untouched", FileText(victim));

    EXPECT_EQ(ERROR_ACCESS_DENIED, ReplaceWholeFile(Linux(""), "x"));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, ReplaceWholeFile(Linux("") + "missing/file", "x"));
    ::chmod(path.c_str(), 0444);
    EXPECT_EQ(ERROR_ACCESS_DENIED, ReplaceWholeFile(path, "x")) << "read-only binds root too";
    ::chmod(path.c_str(), 0644);
    SharedFile holder;
    ASSERT_EQ(0U, holder.Open(path, GENERIC_READ, FILE_SHARE_READ, 0));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, ReplaceWholeFile(path, "x"));
    EXPECT_EQ("third", FileText(path));
    EXPECT_EQ(3U, test::EntriesIn(Linux(""))) << "file, victim, link";
}

TEST_F(HostWindowsFile, WhatIsNoFileNeverBlocks)
{
    ASSERT_EQ(0, ::mkfifo(Linux("pipe").c_str(), 0666));
    std::string bytes;
    const std::string paths[] = {Linux("pipe"), "/dev/null", "/dev/tty"};
    for (const std::string& path : paths)
        for (const DWORD access : {GENERIC_READ, GENERIC_WRITE})
        {
            SharedFile file;
            EXPECT_NE(0U, file.Open(path, access, shareBoth, 0)) << path;
        }
    EXPECT_EQ(ERROR_ACCESS_DENIED, ReadWholeFile(Linux("pipe"), bytes));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ReplaceWholeFile(Linux("pipe"), "x"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(m_folder.File("pipe\\x").c_str()));

    // Another program's lock on a file does not stop an opening for ever, nor does it look like a claim.
    std::ofstream(Linux("locked")) << "";
    const int foreign = ::open(Linux("locked").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(foreign, LOCK_EX));
    SharedFile file;
    EXPECT_EQ(ERROR_SHARING_VIOLATION, file.Open(Linux("locked"), GENERIC_READ, shareBoth, 0));
    ::close(foreign);
    EXPECT_EQ(0U, file.Open(Linux("locked"), GENERIC_READ, shareBoth, 0));
}

TEST_F(HostWindowsFile, AFailedOpeningDoesNotTruncate)
{
    const std::string path = Linux("file");
    std::ofstream(path) << "text";
    SharedFile holder;
    SharedFile second;
    ASSERT_EQ(0U, holder.Open(path, GENERIC_READ, FILE_SHARE_READ, 0));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, second.Open(path, GENERIC_WRITE, shareBoth, O_CREAT | O_TRUNC));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, second.Open(path, 0, shareBoth, O_CREAT | O_TRUNC));
    holder.Close();
    ::chmod(path.c_str(), 0444);
    EXPECT_EQ(ERROR_ACCESS_DENIED, second.Open(path, 0, shareBoth, O_CREAT | O_TRUNC));
    EXPECT_EQ("text", FileText(path));
}

TEST_F(HostWindowsFile, AccessListsBecomeModes)
{
    ::mkdir(Linux("sub").c_str(), 0700);
    for (const auto& [authority, mode] : {std::pair(BYTE{1}, 0777U), {BYTE{5}, 0U}}) // everyone, and somebody else
    {
        SID_IDENTIFIER_AUTHORITY identifier = {{0, 0, 0, 0, 0, authority}};
        PSID sid = nullptr;
        ASSERT_TRUE(::AllocateAndInitializeSid(&identifier, 1, 0, 0, 0, 0, 0, 0, 0, 0, &sid));
        EXPLICIT_ACCESSW access{};
        access.grfAccessPermissions = GENERIC_ALL;
        access.grfAccessMode = SET_ACCESS;
        access.Trustee.ptstrName = static_cast<LPWSTR>(sid);
        PACL list = nullptr;
        ASSERT_EQ(0U, ::SetEntriesInAclW(1, &access, nullptr, &list));
        SECURITY_DESCRIPTOR descriptor;
        ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
        ::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
        EXPECT_TRUE(::SetFileSecurityW(m_folder.File("sub").c_str(), DACL_SECURITY_INFORMATION, &descriptor));
        EXPECT_EQ(mode, ModeOf(Linux("sub")));
        ::LocalFree(list);
        ::FreeSid(sid);
    }
    ::chmod(Linux("sub").c_str(), 0700);
}

TEST_F(HostWindowsFile, NoAssociation)
{
    test::WriteFileBytes(m_folder.File("text.txt"), "text");
    test::WriteFileBytes(m_folder.File("plain"), "no mode to run");
    for (const Wide& file : {m_folder.File("text.txt"), m_folder.File("plain"), m_folder.Path()})
    {
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof(info);
        info.lpFile = file.c_str();
        EXPECT_EQ(ERROR_NO_ASSOCIATION, test::LastError().Of(::ShellExecuteExW(&info)));
        EXPECT_EQ(31U, reinterpret_cast<UINT_PTR>(info.hInstApp));
    }
}

} // namespace
