// The stand-in's registry where no contract with Windows can hold it: several processes, kills, damage, no room.
#include "host/Linux.h"
#include "HostregProgram.h"

#include <csignal>
#include <cstdlib>
#include <sched.h>
#include <sys/mount.h>

namespace
{

namespace fs = std::filesystem;
using test::FileText;
using test::HostregResult;
using test::RunHostreg;
using test::Wide;

const std::string key = "HKCU\\Software\\Test";

std::size_t Count(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

/// A fresh machine folder, for the programs that the test starts.
class HostWindowsRegistry : public testing::Test
{
protected:
    HostWindowsRegistry() { ::setenv("HOSTWINDOWS_ROOT", m_machine.c_str(), 1); }
    ~HostWindowsRegistry() override
    {
        fs::permissions(m_machine, fs::perms::owner_all, fs::perm_options::add);
        ::setenv("HOSTWINDOWS_ROOT", m_before.c_str(), 1);
    }

    static std::vector<std::string> Add(const std::string& name, const std::string& data)
    {
        return {"add", key, "/v", name, "/d", data, "/f"};
    }
    /// Imports a .reg file that gives `count` values the data.
    std::vector<std::string> Import(int count, const std::string& data) const
    {
        std::ofstream file(m_machine / "many.reg");
        file << "Windows Registry Editor Version 5.00\n[HKEY_CURRENT_USER\\Software\\Test]\n";
        for (int i = 0; i < count; ++i)
            file << "\"n" << i << "\"=\"" << data << "\"\n";
        return {"import", m_machine / "many.reg"};
    }

    test::TemporaryFolder m_folder;
    const fs::path m_machine = test::LinuxPath(m_folder.Path());
    const fs::path m_file = m_machine / "registry";

private:
    std::string m_before = std::getenv("HOSTWINDOWS_ROOT");
};

TEST_F(HostWindowsRegistry, AnswersOfItsOwn)
{
    HKEY made = nullptr;
    const auto create = [&made](const Wide& path) {
        return ::RegCreateKeyExW(
            HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr);
    };
    // A path with a bad name makes nothing, not even the good part.
    EXPECT_EQ(ERROR_INVALID_PARAMETER, create(OLESTR("good\\") + Wide(256, 'k')));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, OLESTR("good"), 0, KEY_READ, &made));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegDeleteKeyW(HKEY_CURRENT_USER, OLESTR("")));
    ASSERT_EQ(0, create(OLESTR("Software\\Test"))) << "the machine is the user's own";
    // The 8-bit code page is UTF-8, and every text of 16-bit units is a name.
    const WCHAR hostile[] = {0xD800, 1, '\'', ';', 0xFFFF, 0};
    EXPECT_EQ(0, ::RegSetValueExA(made, "\xC3\x84", 0, REG_SZ, reinterpret_cast<const BYTE*>("\xC3\xA4"), 2));
    EXPECT_EQ(0, ::RegSetValueExW(made, hostile, 0, REG_BINARY, nullptr, 0));
    WCHAR text[6] = {};
    DWORD size = sizeof(text), length = 6;
    EXPECT_EQ(0, ::RegQueryValueExW(made, OLESTR("\u00E4"), nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size));
    EXPECT_EQ(Wide(OLESTR("\u00E4")), text);
    EXPECT_EQ(0, ::RegEnumValueW(made, 1, text, &length, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(Wide(hostile), text);
    EXPECT_EQ(0, ::RegCloseKey(made));
}

TEST_F(HostWindowsRegistry, AKilledImportIsThereAsAWholeOrNotAtAll)
{
    const std::vector<std::string> import = Import(3000, "import");
    int killed = 0;
    for (unsigned round = 0; round < 25; ++round)
    {
        EXPECT_EQ(0, RunHostreg(Add("kept", "old")).exitCode);
        const test::Hostreg program(import);
        ::usleep(round * 1000);
        ::kill(program.Process(), SIGKILL);
        killed += program.Wait().exitCode == -1;
        const std::string left = RunHostreg({"query", key}).out;
        const std::size_t count = Count(left, "REG_SZ    import");
        EXPECT_TRUE(count == 0 || count == 3000) << count;
        EXPECT_EQ(1U, Count(left, "REG_SZ    old"));
        EXPECT_EQ(0, RunHostreg({"delete", key, "/f"}).exitCode);
    }
    EXPECT_LT(0, killed);
}

TEST_F(HostWindowsRegistry, DamagedFileIsSaidOnceAndLeftAlone)
{
    ASSERT_EQ(0, RunHostreg(Import(40, std::string(300, 'x'))).exitCode);
    const std::string whole = FileText(m_file);
    ASSERT_LT(8192U, whole.size());
    for (const std::string& bytes :
         {std::string(), std::string("this is no registry"), std::string(4096, '\0'), whole.substr(0, whole.size() / 2),
          whole.substr(0, 100), whole.substr(0, 1024) + std::string(whole.size() - 1024, '\xEE')})
    {
        SCOPED_TRACE(bytes.size());
        std::ofstream(m_file, std::ios::binary) << bytes;
        for (const auto& command : {Add("new", "x"), {"query", key, "/s"}})
        {
            const HostregResult result = RunHostreg(command);
            EXPECT_EQ(1, result.exitCode);
            EXPECT_EQ(1U, Count(result.err, "hostwindows: the registry " + m_file.string() + " is damaged: "));
            EXPECT_EQ(1U, Count(result.err, "ERROR: The configuration registry database is corrupt.\n"));
            EXPECT_EQ(2U, Count(result.err, "\n"));
            EXPECT_TRUE(FileText(m_file) == bytes);
        }
        fs::remove(m_machine / "registry-wal");
        fs::remove(m_machine / "registry-shm");
    }
}

TEST_F(HostWindowsRegistry, WithoutTheRightToWrite)
{
    // Everything as one user who is bound by permissions.
    constexpr ::uid_t nobody = 65534;
    ASSERT_TRUE(::geteuid() != 0 || ::chown(m_machine.c_str(), nobody, nobody) == 0);
    const auto run = [](const std::vector<std::string>& arguments) {
        return RunHostreg(arguments, {}, [] {
            if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0))
                ::_exit(126);
        });
    };
    const auto expectRefusal = [&run] {
        const HostregResult result = run(Add("v", "new"));
        EXPECT_EQ(1, result.exitCode);
        EXPECT_EQ(1U, Count(result.err, "hostwindows: ")) << result.err;
        EXPECT_EQ(1U, Count(result.err, "ERROR: Access is denied.\n")) << result.err;
    };
    ASSERT_EQ(0, run(Add("v", "old")).exitCode);
    const std::string before = FileText(m_file);
    fs::permissions(m_file, fs::perms{0444});
    fs::permissions(m_machine, fs::perms{0555});
    const HostregResult read = run({"query", key, "/v", "v"});
    EXPECT_EQ(1U, Count(read.out, "    v    REG_SZ    old\n"));
    EXPECT_EQ(1U, Count(read.err, "\n")) << read.err;
    expectRefusal();
    EXPECT_EQ(before, FileText(m_file));

    // Nothing there yet, and nothing can be made.
    fs::permissions(m_machine, fs::perms{0755});
    fs::remove(m_file);
    fs::remove_all(m_machine / "drive_c");
    fs::permissions(m_machine, fs::perms{0555});
    expectRefusal();
}

TEST_F(HostWindowsRegistry, FullDisk)
{
    // The child alone sees a disk of 64 KiB in the machine folder's place.
    constexpr int refused = 125;
    const std::vector<std::string> import = Import(200, std::string(1000, 'x'));
    const fs::path disk = m_machine / "disk";
    fs::create_directory(disk);
    ::setenv("HOSTWINDOWS_ROOT", disk.c_str(), 1);
    const HostregResult full = RunHostreg(import, {}, [&disk] {
        if (::unshare(CLONE_NEWNS | (::geteuid() == 0 ? 0 : CLONE_NEWUSER)) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k") != 0)
            ::_exit(refused);
    });
    if (full.exitCode == refused)
        GTEST_SKIP() << "no mount namespace here";
    EXPECT_EQ(1, full.exitCode);
    EXPECT_EQ(
        "hostwindows: the registry " + disk.string() +
            "/registry cannot be used: database or disk is full\n"
            "ERROR: There is not enough space on the disk.\n",
        full.err);
}

} // namespace
