// The stand-in's files where Windows has no say: the Linux side of paths, sharing and modes, and hostile files.
#include "host/Linux.h"
#include "LastError.h"
#include "Paths.h"
#include "SharedFile.h"

#include <aclapi.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
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
    test::ExpectAnswers("unit/data/HostPaths.txt", [&drive](const std::string& given) {
        const FoundPath found = FindPath(test::ToWide(given));
        const bool onC = found.path.starts_with(drive);
        return (onC ? "drive_c" + found.path.substr(drive.size()) : found.path) + ", " + test::ErrorName(found.error) +
               (found.exists ? ", there\n" : "\n");
    });
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

TEST(HostWindowsMachine, UsualFoldersAreMade)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string root = fs::temp_directory_path() / ("scankelv-machine-" + std::to_string(::getuid()));
    fs::remove_all(root);
    const auto use = [&root] {
        ::setenv("HOSTWINDOWS_ROOT", root.c_str(), 1);
        ::setenv("LOGNAME", "jane", 1);
        ::exit(MachineFolder() == root && UserProfile() == u"C:\\Users\\jane" ? 7 : 1);
    };
    EXPECT_EXIT(use(), testing::ExitedWithCode(7), "^$");
    EXPECT_TRUE(fs::is_directory(root + "/drive_c/Users/jane/AppData/Local/Temp"));
    EXPECT_TRUE(fs::is_directory(root + "/drive_c/ProgramData"));
    fs::remove_all(root);
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
    Descriptor holder;
    ASSERT_EQ(0U, OpenShared(holder, path, GENERIC_READ, FILE_SHARE_READ, 0));
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
            Descriptor file;
            EXPECT_NE(0U, OpenShared(file, path, access, shareBoth, 0)) << path;
        }
    EXPECT_EQ(ERROR_ACCESS_DENIED, ReadWholeFile(Linux("pipe"), bytes));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ReplaceWholeFile(Linux("pipe"), "x"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(m_folder.File("pipe\\x").c_str()));

    // Another program's lock on a file does not stop an opening for ever, nor does it look like a claim.
    std::ofstream(Linux("locked")) << "";
    const int foreign = ::open(Linux("locked").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, ::flock(foreign, LOCK_EX));
    Descriptor file;
    EXPECT_EQ(ERROR_SHARING_VIOLATION, OpenShared(file, Linux("locked"), GENERIC_READ, shareBoth, 0));
    ::close(foreign);
    EXPECT_EQ(0U, OpenShared(file, Linux("locked"), GENERIC_READ, shareBoth, 0));
}

TEST_F(HostWindowsFile, AFailedOpeningDoesNotTruncate)
{
    const std::string path = Linux("file");
    std::ofstream(path) << "text";
    Descriptor holder;
    Descriptor second;
    ASSERT_EQ(0U, OpenShared(holder, path, GENERIC_READ, FILE_SHARE_READ, 0));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, OpenShared(second, path, GENERIC_WRITE, shareBoth, O_CREAT | O_TRUNC));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, OpenShared(second, path, 0, shareBoth, O_CREAT | O_TRUNC));
    holder = Descriptor();
    ::chmod(path.c_str(), 0444);
    EXPECT_EQ(ERROR_ACCESS_DENIED, OpenShared(second, path, 0, shareBoth, O_CREAT | O_TRUNC));
    EXPECT_EQ("text", FileText(path));
}

TEST_F(HostWindowsFile, AccessForEveryoneBecomesTheMode)
{
    ::mkdir(Linux("sub").c_str(), 0700);
    SECURITY_DESCRIPTOR descriptor;
    ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    ACL nobody{ACL_REVISION, 0, sizeof(ACL), 0, 0};
    for (const auto& [list, mode] : {std::pair<PACL, unsigned>(&nobody, 0), {nullptr, 0777}})
    {
        ::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
        EXPECT_TRUE(::SetFileSecurityW(m_folder.File("sub").c_str(), DACL_SECURITY_INFORMATION, &descriptor));
        EXPECT_EQ(mode, ModeOf(Linux("sub")));
    }
}

} // namespace
