// What is stored and logged. The floors call the C library, and SQLite with the registry's own statements.
#include "floors/Files.h"
#include "Loggers.h"
#include "LoggerType.h"
#include "Works.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
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
    BYTE data[64] = {1};
    for (auto _ : state)
    {
        data[0] ^= 3; // what is there already costs less
        if (::RegSetValueExW(key, OLESTR("Value C"), 0, REG_BINARY, data, sizeof(data)) != ERROR_SUCCESS)
            state.SkipWithError("not written");
    }
}

// A fresh machine's fifth key is the one with the values. A name is compared in capitals.
#define VALUE_C "key=5 AND folded=x'00560041004C0055004500200043'"

/// Runs the prepared statement on the registry's own file, in the same mode, with a text bound that changes each time.
void RunStatement(benchmark::State& state, const char* text, int expected)
{
    Key();
    ::sqlite3* database = nullptr;
    ::sqlite3_stmt* statement = nullptr;
    ::sqlite3_open((WorkFolder() + "/machine/registry").c_str(), &database);
    ::sqlite3_busy_timeout(database, 10000);
    ::sqlite3_exec(database, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
    ::sqlite3_prepare_v2(database, text, -1, &statement, nullptr);
    char data[512] = {1};
    for (auto _ : state)
    {
        data[0] ^= 3;
        ::sqlite3_bind_blob(statement, 1, data, 64, SQLITE_STATIC);
        if (::sqlite3_step(statement) != expected)
            state.SkipWithError("no such row");
        if (expected == SQLITE_ROW)
            std::memcpy(
                data, ::sqlite3_column_blob(statement, 2),
                static_cast<std::size_t>(::sqlite3_column_bytes(statement, 2)));
        benchmark::DoNotOptimize(data);
        ::sqlite3_reset(statement);
    }
    if (expected == SQLITE_DONE && ::sqlite3_changes(database) != 1)
        state.SkipWithError("not written");
    ::sqlite3_finalize(statement);
    ::sqlite3_close(database);
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

/// What is there already is not written. With nineteen keys, each gets the other value the next time.
std::string OtherValue()
{
    static bool odd = false;
    odd = !odd;
    return odd ? "198.51.100.7 Weir C40" : "198.51.100.8 Weir C40";
}

void WriteProfile(benchmark::State& state)
{
    ProfileFile("project.ini", 1000);
    for (auto _ : state)
        for (int i = 0; i < profileKeys; ++i)
            if (::WritePrivateProfileStringW(
                    OLESTR("IO"), WideFromNarrow("Key" + std::to_string(i)).c_str(),
                    WideFromNarrow(OtherValue()).c_str(), OLESTR("C:\\ProgramData\\project.ini")) == 0)
                state.SkipWithError("not written");
}

void ReplaceProfile(benchmark::State& state)
{
    const std::string path = ProfileFile("floor.ini", 1000);
    for (auto _ : state)
        for (int i = 0; i < profileKeys; ++i)
        {
            std::string bytes = ReadWhole(path);
            const std::size_t at = bytes.find('=', bytes.find("Key" + std::to_string(i) + "=")) + 1;
            bytes.replace(at, bytes.find('\r', at) - at, OtherValue());
            ReplaceWhole(path, bytes);
        }
}

} // namespace

void AddStorageWorks()
{
    Add("log-file", LogLine, LogLineOfTheCLibrary);
    Add("log-silent", SilentLine, CallThroughPointer);
    Add("registry-read", ReadRegistry, [](benchmark::State& state) {
        RunStatement(state, "SELECT name, type, data, ?1 FROM value WHERE " VALUE_C, SQLITE_ROW);
    });
    Add("registry-write", WriteRegistry, [](benchmark::State& state) {
        RunStatement(state, "UPDATE value SET type=3, data=?1 WHERE " VALUE_C, SQLITE_DONE);
    });
    Add("profile-read-1k", ReadProfile(1000), ScanProfile(1000));
    Add("profile-read-1m", ReadProfile(1000000), ScanProfile(1000000));
    Add("profile-write", WriteProfile, ReplaceProfile);
}

} // namespace benchmarks
