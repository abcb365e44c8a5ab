// What is stored and logged. The floors call the C library, and SQLite with the registry's own statements.
#include "floors/Files.h"
#include "Loggers.h"
#include "LoggerType.h"
#include "Works.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <sqlite3.h>
#include <thread>
#include <windows.h>

namespace benchmarks
{
namespace
{

using namespace scankelv;

bool LogToFile(const char*, const char*, DWORD& mask, bool& showTime, bool& showModule, bool& showThread)
{
    mask = fileSink;
    showTime = showModule = showThread = true;
    return true;
}

void LogLine(benchmark::State& state)
{
    LoggerType<TextRenderCombo> logger("Agent", &LogToFile, "C:\\ProgramData\\Project.txt");
    for (auto _ : state)
        static_cast<LoggerTypeAbstract&>(logger).WriteLine("pidDWORD: %lu (0x%lx)", DWORD{7232}, DWORD{7232});
}

void SilentLine(benchmark::State& state)
{
    for (auto _ : state)
        AgentLogger().WriteLine("pidDWORD: %lu (0x%lx)", DWORD{7232}, DWORD{7232});
}

void LogLineOfTheCLibrary(benchmark::State& state)
{
    const int file = ::open((WorkFolder() + "/floor.txt").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    for (auto _ : state)
    {
        ::timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        std::tm local{};
        ::localtime_r(&now.tv_sec, &local);
        char line[256];
        const int length = std::snprintf(
            line, sizeof(line), "[%4u/%02u/%02u %02u:%02u:%02u.%03u] %s {%lX}: pidDWORD: %lu (0x%lx)\r\n",
            static_cast<unsigned>(local.tm_year + 1900), static_cast<unsigned>(local.tm_mon + 1),
            static_cast<unsigned>(local.tm_mday), static_cast<unsigned>(local.tm_hour),
            static_cast<unsigned>(local.tm_min), static_cast<unsigned>(local.tm_sec),
            static_cast<unsigned>(now.tv_nsec / 1000000), "Agent", static_cast<unsigned long>(::gettid()), 7232UL,
            7232UL);
        if (::write(file, line, static_cast<std::size_t>(length)) != length)
            state.SkipWithError("not written");
    }
    ::close(file);
}

void Nothing(const char*, DWORD, DWORD) {}
void CallThroughPointer(benchmark::State& state)
{
    void (*call)(const char*, DWORD, DWORD) = &Nothing;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(call);
        call("pidDWORD: %lu (0x%lx)", 7232, 7232);
    }
}

/// A key with the nineteen values of a stored device.
HKEY Key()
{
    static const HKEY key = [] {
        HKEY made = nullptr;
        ::RegCreateKeyExW(
            HKEY_CURRENT_USER, OLESTR("Software\\QLScan\\Benchmark"), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made,
            nullptr);
        for (WCHAR name[] = OLESTR("Value A"); name[6] < 'A' + 19; ++name[6])
            ::RegSetValueExW(made, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(name), sizeof(name));
        return made;
    }();
    return key;
}

void ReadRegistry(benchmark::State& state)
{
    HKEY key = Key();
    BYTE data[512];
    for (auto _ : state)
    {
        DWORD size = sizeof(data);
        if (::RegQueryValueExW(key, OLESTR("Value C"), nullptr, nullptr, data, &size) != ERROR_SUCCESS)
            state.SkipWithError("no value");
    }
}

void WriteRegistry(benchmark::State& state)
{
    HKEY key = Key();
    const BYTE data[64] = {1};
    for (auto _ : state)
        if (::RegSetValueExW(key, OLESTR("Value C"), 0, REG_BINARY, data, sizeof(data)) != ERROR_SUCCESS)
            state.SkipWithError("not written");
}

/// A prepared statement on the registry's own file, in the same mode.
class Statement
{
public:
    explicit Statement(const char* text)
    {
        Key();
        ::sqlite3_open((WorkFolder() + "/machine/registry").c_str(), &m_database);
        ::sqlite3_busy_timeout(m_database, 10000);
        ::sqlite3_exec(m_database, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
        if (::sqlite3_prepare_v2(m_database, text, -1, &m_statement, nullptr) != SQLITE_OK)
            throw std::runtime_error(::sqlite3_errmsg(m_database));
    }
    ~Statement()
    {
        ::sqlite3_finalize(m_statement);
        ::sqlite3_close(m_database);
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    ::sqlite3_stmt* Get() const { return m_statement; }

private:
    ::sqlite3* m_database = nullptr;
    ::sqlite3_stmt* m_statement = nullptr;
};

/// The row that both sides read and write. "VALUE C" as the registry compares it.
constexpr std::string_view folded("\0V\0A\0L\0U\0E\0 \0C", 14);

std::int64_t KeyOfTheRow()
{
    const Statement key("SELECT key FROM value WHERE folded=?1");
    ::sqlite3_bind_blob(key.Get(), 1, folded.data(), static_cast<int>(folded.size()), SQLITE_STATIC);
    ::sqlite3_step(key.Get());
    return ::sqlite3_column_int64(key.Get(), 0);
}

void ReadRow(benchmark::State& state)
{
    const std::int64_t key = KeyOfTheRow();
    const Statement read("SELECT name, type, data FROM value WHERE key=?1 AND folded=?2");
    for (auto _ : state)
    {
        ::sqlite3_bind_int64(read.Get(), 1, key);
        ::sqlite3_bind_blob(read.Get(), 2, folded.data(), static_cast<int>(folded.size()), SQLITE_STATIC);
        char data[512];
        if (::sqlite3_step(read.Get()) != SQLITE_ROW)
            state.SkipWithError("no row");
        const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(read.Get(), 2));
        std::memcpy(data, ::sqlite3_column_blob(read.Get(), 2), size);
        benchmark::DoNotOptimize(data);
        ::sqlite3_reset(read.Get());
    }
}

void WriteRow(benchmark::State& state)
{
    const std::int64_t key = KeyOfTheRow();
    const Statement write(
        "INSERT INTO value(key, folded, name, type, data) SELECT ?1, ?2, ?2, 3, ?3 WHERE EXISTS(SELECT 1 FROM key "
        "WHERE id=?1) ON CONFLICT(key, folded) DO UPDATE SET type=excluded.type, data=excluded.data");
    const char data[64] = {1};
    for (auto _ : state)
    {
        ::sqlite3_bind_int64(write.Get(), 1, key);
        ::sqlite3_bind_blob(write.Get(), 2, folded.data(), static_cast<int>(folded.size()), SQLITE_STATIC);
        ::sqlite3_bind_blob(write.Get(), 3, data, sizeof(data), SQLITE_STATIC);
        if (::sqlite3_step(write.Get()) != SQLITE_DONE)
            state.SkipWithError("not written");
        ::sqlite3_reset(write.Get());
    }
}

constexpr int profileKeys = 19;

std::string ProfileText(std::size_t size)
{
    std::string text = "; a comment\r\n[Other]\r\n";
    while (text.size() + 600 < size)
        text += "SomeKeyOrOther=and a value that is not asked for\r\n";
    text += "[IO]\r\n";
    for (int i = 0; i < profileKeys; ++i)
        text += "Key" + std::to_string(i) + "=192.0.2.41 Weir C40\r\n";
    return text;
}

/// The Linux path of a profile file, which is made when it is first asked for.
std::string ProfileFile(const std::string& name, std::size_t size)
{
    Key(); // the machine is there
    const std::string path = WorkFolder() + "/machine/drive_c/ProgramData/" + name;
    if (::access(path.c_str(), F_OK) != 0)
    {
        WriteWhole(path, ProfileText(size));
        std::this_thread::sleep_for(std::chrono::milliseconds(2100)); // a file that was just written is read each time
    }
    return path;
}

Side ReadProfile(std::size_t size)
{
    return [size](benchmark::State& state) {
        const std::string name = std::to_string(size) + ".ini";
        ProfileFile(name, size);
        WCHAR value[64];
        const WideText path = WideFromNarrow("C:\\ProgramData\\" + name);
        for (auto _ : state)
            if (::GetPrivateProfileStringW(OLESTR("IO"), OLESTR("Key18"), nullptr, value, 64, path.c_str()) != 19)
                state.SkipWithError("no value");
    };
}

/// Reads the file and looks at every line: whether it is a header, or the key that is looked for.
Side ScanProfile(std::size_t size)
{
    return [size](benchmark::State& state) {
        const std::string path = ProfileFile(std::to_string(size) + ".ini", size);
        for (auto _ : state)
        {
            const std::string bytes = ReadWhole(path);
            const char* value = nullptr;
            bool inSection = false;
            for (const char *line = bytes.data(), *end = line + bytes.size(); line < end && value == nullptr;)
            {
                const char* next =
                    static_cast<const char*>(std::memchr(line, '\n', static_cast<std::size_t>(end - line)));
                next = next == nullptr ? end : next + 1;
                if (*line == '[')
                    inSection = ::strncasecmp(line, "[IO]", 4) == 0;
                else if (inSection && ::strncasecmp(line, "Key18=", 6) == 0)
                    value = line + 6;
                line = next;
            }
            benchmark::DoNotOptimize(value);
        }
    };
}

/// What is there already is not written: each round writes other values.
const char* const values[] = {"198.51.100.7 Weir C40", "198.51.100.8 Weir C40"};

void WriteProfile(benchmark::State& state)
{
    ProfileFile("project.ini", 1000);
    for (std::size_t round = 0; auto _ : state)
        for (int i = 0; i < profileKeys; ++i)
            if (::WritePrivateProfileStringA(
                    "IO", ("Key" + std::to_string(i)).c_str(), values[round++ / profileKeys % 2],
                    "C:\\ProgramData\\project.ini") == 0)
                state.SkipWithError("not written");
}

void ReplaceProfile(benchmark::State& state)
{
    const std::string path = ProfileFile("floor.ini", 1000);
    for (std::size_t round = 0; auto _ : state)
        for (int i = 0; i < profileKeys; ++i)
        {
            std::string bytes = ReadWhole(path);
            const std::size_t at = bytes.find('=', bytes.find("Key" + std::to_string(i) + "=")) + 1;
            bytes.replace(at, bytes.find('\r', at) - at, values[round++ / profileKeys % 2]);
            ReplaceWhole(path, bytes);
        }
}

} // namespace

void AddStorageWorks()
{
    Add("log-file", LogLine, LogLineOfTheCLibrary);
    Add("log-silent", SilentLine, CallThroughPointer);
    Add("registry-read", ReadRegistry, ReadRow);
    Add("registry-write", WriteRegistry, WriteRow);
    Add("profile-read-1k", ReadProfile(1000), ScanProfile(1000));
    Add("profile-read-1m", ReadProfile(1000000), ScanProfile(1000000));
    Add("profile-write", WriteProfile, ReplaceProfile);
}

} // namespace benchmarks
