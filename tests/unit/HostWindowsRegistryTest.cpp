// The stand-in's registry where no contract with Windows can hold it: several processes, kills, damage, no room.
#include "HostregProgram.h"
#include "TestSupport.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>

namespace
{

namespace fs = std::filesystem;
using test::Hostreg;
using test::HostregResult;
using test::RunHostreg;

const std::string key = "HKCU\\Software\\Test";

std::string FileText(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const fs::path& path, std::string_view bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

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
    HostWindowsRegistry()
    {
        std::string pattern = (fs::temp_directory_path() / "scankelv-XXXXXX").string();
        EXPECT_NE(nullptr, ::mkdtemp(pattern.data()));
        m_folder = pattern;
        ::setenv("HOSTWINDOWS_ROOT", pattern.c_str(), 1);
    }
    ~HostWindowsRegistry() override
    {
        fs::permissions(m_folder, fs::perms::owner_all, fs::perm_options::add);
        fs::remove_all(m_folder);
        ::setenv("HOSTWINDOWS_ROOT", m_before.c_str(), 1);
    }

    fs::path File() const { return m_folder / "registry"; }

    static void Add(const std::string& name, const std::string& data)
    {
        const HostregResult result = RunHostreg({"add", key, "/v", name, "/d", data, "/f"});
        EXPECT_EQ(0, result.exitCode) << result.err;
    }

    /// A .reg file that gives `count` values the data.
    fs::path ManyValues(int count, const std::string& data) const
    {
        std::string text = "Windows Registry Editor Version 5.00\n[HKEY_CURRENT_USER\\Software\\Test]\n";
        for (int i = 0; i < count; ++i)
            text += "\"n" + std::to_string(i) + "\"=\"" + data + "\"\n";
        WriteFile(m_folder / "many.reg", text);
        return m_folder / "many.reg";
    }

    fs::path m_folder;

private:
    std::string m_before = std::getenv("HOSTWINDOWS_ROOT");
};

TEST_F(HostWindowsRegistry, AnswersOfItsOwn)
{
    const test::Wide name256(256, 'k');
    HKEY made = nullptr;
    EXPECT_EQ(
        ERROR_INVALID_PARAMETER,
        ::RegCreateKeyExW(HKEY_CURRENT_USER, name256.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr));
    // A path with a bad name makes nothing, not even the good part.
    EXPECT_EQ(
        ERROR_INVALID_PARAMETER,
        ::RegCreateKeyExW(
            HKEY_CURRENT_USER, (OLESTR("good\\") + name256).c_str(), 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegOpenKeyExW(HKEY_CURRENT_USER, OLESTR("good"), 0, KEY_READ, &made));
    EXPECT_EQ(
        ERROR_INVALID_PARAMETER,
        ::RegCreateKeyExW(HKEY_CURRENT_USER, OLESTR("a"), 0, nullptr, 0, KEY_READ, nullptr, nullptr, nullptr));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ::RegDeleteKeyW(HKEY_CURRENT_USER, OLESTR("")));
    // The machine is the user's own.
    ASSERT_EQ(
        ERROR_SUCCESS,
        ::RegCreateKeyExW(
            HKEY_LOCAL_MACHINE, OLESTR("Software\\Test"), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr));
    // The 8-bit code page is UTF-8, and every text of 16-bit units is a name.
    const BYTE data[] = "\xC3\xA4";
    const WCHAR hostile[] = {0xD800, 1, '\'', ';', 0xFFFF, 0};
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetValueExA(made, "\xC3\x84", 0, REG_SZ, data, sizeof(data)));
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetValueExW(made, hostile, 0, REG_BINARY, data, 2));
    WCHAR text[4] = {};
    DWORD size = sizeof(text);
    EXPECT_EQ(
        ERROR_SUCCESS,
        ::RegQueryValueExW(made, OLESTR("\u00E4"), nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size));
    EXPECT_EQ(test::Wide(OLESTR("\u00E4")), text);
    DWORD length = 4;
    EXPECT_EQ(ERROR_MORE_DATA, ::RegEnumValueW(made, 1, text, &length, nullptr, nullptr, nullptr, nullptr));
    WCHAR name[6] = {};
    length = 6;
    EXPECT_EQ(ERROR_SUCCESS, ::RegEnumValueW(made, 1, name, &length, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(test::Wide(hostile), name);
    EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(made));
}

TEST_F(HostWindowsRegistry, ManyProcessesMakeAndShareOne)
{
    constexpr int writers = 8, rounds = 12;
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer)
        threads.emplace_back([&, writer] {
            for (int round = 0; round < rounds; ++round)
            {
                const std::string name = std::to_string(writer) + "-" + std::to_string(round);
                const HostregResult added = RunHostreg({"add", key, "/v", name, "/d", "x"});
                const HostregResult read = RunHostreg({"query", key, "/v", name});
                failures += added.exitCode != 0 || read.exitCode != 0 || !added.err.empty() || !read.err.empty();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, failures);
    EXPECT_EQ(writers * rounds, static_cast<int>(Count(RunHostreg({"query", key}).out, "REG_SZ")));
}

TEST_F(HostWindowsRegistry, KilledProcessesLoseNothingCompleted)
{
    Add("kept", "old");
    int completed = 0, killed = 0;
    for (int round = 0; round < 60; ++round)
    {
        const std::string name = "n" + std::to_string(round);
        const Hostreg program({"add", key, "/v", name, "/d", name});
        ::usleep(static_cast<unsigned>(round) * 60);
        ::kill(program.Process(), SIGKILL);
        const HostregResult result = program.Wait();
        killed += result.exitCode == -1;
        if (result.out.empty())
            continue;
        ++completed;
        EXPECT_EQ(1U, Count(RunHostreg({"query", key, "/v", name}).out, "REG_SZ    " + name + "\n"));
    }
    EXPECT_LT(0, killed);
    // One import is one transaction: killed at any moment, all of it is there or nothing.
    const std::string file = ManyValues(3000, "import").string();
    for (int round = 0; round < 25; ++round)
    {
        const Hostreg program({"import", file});
        ::usleep(static_cast<unsigned>(round) * 1000);
        ::kill(program.Process(), SIGKILL);
        program.Wait();
        const std::size_t count = Count(RunHostreg({"query", key}).out, "REG_SZ    import");
        EXPECT_TRUE(count == 0 || count == 3000) << count;
        EXPECT_EQ(0, RunHostreg({"delete", key, "/f"}).exitCode);
        Add("kept", "old");
    }
}

TEST_F(HostWindowsRegistry, DamagedFileIsSaidOnceAndLeftAlone)
{
    for (int i = 0; i < 40; ++i)
        Add("n" + std::to_string(i), std::string(300, 'x'));
    const std::string whole = FileText(File());
    ASSERT_LT(8192U, whole.size());
    std::string overwritten = whole;
    std::fill(overwritten.begin() + 1024, overwritten.end(), '\xEE');
    const struct
    {
        const char* what;
        std::string bytes;
    } rows[] = {
        {"empty", ""},
        {"a text", "this is no registry"},
        {"zeros", std::string(4096, '\0')},
        {"cut", whole.substr(0, whole.size() / 2)},
        {"header alone", whole.substr(0, 100)},
        {"pages overwritten", overwritten},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        WriteFile(File(), row.bytes);
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"query", key, "/s"}, {"add", key, "/v", "new", "/d", "x", "/f"}})
        {
            const HostregResult result = RunHostreg(command);
            EXPECT_EQ(1, result.exitCode);
            EXPECT_EQ(1U, Count(result.err, "hostwindows: the registry " + File().string() + " is damaged: "));
            EXPECT_EQ(1U, Count(result.err, "ERROR: The configuration registry database is corrupt.\n"));
            EXPECT_EQ(2U, Count(result.err, "\n"));
            EXPECT_TRUE(FileText(File()) == row.bytes);
        }
        fs::remove(m_folder / "registry-wal");
        fs::remove(m_folder / "registry-shm");
    }
}

TEST_F(HostWindowsRegistry, WithoutTheRightToWrite)
{
    // Everything as one user who is bound by permissions.
    constexpr ::uid_t nobody = 65534;
    ASSERT_TRUE(::geteuid() != 0 || ::chown(m_folder.c_str(), nobody, nobody) == 0);
    const auto asUser = [] {
        if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0))
            ::_exit(126);
    };
    ASSERT_EQ(0, RunHostreg({"add", key, "/v", "v", "/d", "old"}, {}, asUser).exitCode);
    const std::string before = FileText(File());
    fs::permissions(File(), fs::perms{0444});
    fs::permissions(m_folder, fs::perms{0555});
    const HostregResult read = RunHostreg({"query", key, "/v", "v"}, {}, asUser);
    EXPECT_EQ(0, read.exitCode);
    EXPECT_EQ(1U, Count(read.out, "    v    REG_SZ    old\n"));
    EXPECT_EQ(1U, Count(read.err, "\n")) << read.err;
    const HostregResult written = RunHostreg({"add", key, "/v", "v", "/d", "new", "/f"}, {}, asUser);
    EXPECT_EQ(1, written.exitCode);
    EXPECT_EQ(1U, Count(written.err, "hostwindows: ")) << written.err;
    EXPECT_EQ(1U, Count(written.err, "ERROR: Access is denied.\n")) << written.err;
    EXPECT_EQ(before, FileText(File()));

    // Nothing there yet, and nothing can be made.
    fs::permissions(m_folder, fs::perms{0755});
    fs::remove(File());
    fs::remove_all(m_folder / "drive_c");
    fs::permissions(m_folder, fs::perms{0555});
    const HostregResult none = RunHostreg({"add", key, "/v", "v"}, {}, asUser);
    EXPECT_EQ(1, none.exitCode);
    EXPECT_EQ(1U, Count(none.err, "hostwindows: ")) << none.err;
    EXPECT_EQ(1U, Count(none.err, "ERROR: Access is denied.\n")) << none.err;
}

TEST_F(HostWindowsRegistry, FullDisk)
{
    // The child alone sees a disk of 64 KiB in the machine folder's place.
    constexpr int refused = 125;
    const fs::path file = ManyValues(200, std::string(1000, 'x'));
    const fs::path disk = m_folder / "disk";
    fs::create_directory(disk);
    ::setenv("HOSTWINDOWS_ROOT", disk.c_str(), 1);
    const HostregResult full = RunHostreg({"import", file.string()}, {}, [&] {
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
            "/registry cannot be written, the disk is full: database or disk is full\n"
            "ERROR: There is not enough space on the disk.\n",
        full.err);
}

} // namespace
