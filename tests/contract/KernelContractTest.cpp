#include "Role.h"

#include <chrono>
#include <thread>

namespace
{

using test::Child;
using test::ToUtf8;
using test::ToWide;
using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;

/// Writes its own command line, in both forms, to the file that a variable names.
const bool reporter = test::InRole(OLESTR("report"), [](const Wide&) -> UINT {
    WCHAR file[1024];
    ::GetEnvironmentVariableW(OLESTR("SCANKELV_TEST_FILE"), file, 1024);
    test::WriteFileBytes(file, ToUtf8(::GetCommandLineW()) + "\n" + ::GetCommandLineA());
    return 7;
});
const bool sleeper = test::InRole(OLESTR("sleep"), [](const Wide&) -> UINT {
    ::Sleep(60000);
    return 1;
});

TEST(Kernel, TheCommandLineIsExactlyAsTheStarterGaveIt)
{
    const test::TemporaryFolder folder;
    const Wide file = folder.File("line.txt");
    for (const char* line :
         {"report x", "report \"quoted words\"  double  blanks   ", "report an \"unclosed quote", "report \\\"back\\\\",
          "report \t tab /M \"a\"\"b\" 'single'", "report a=b;c %PATH% $HOME * \\"})
    {
        SCOPED_TRACE(line);
        test::SetVariable("SCANKELV_TEST_FILE", ToUtf8(file));
        EXPECT_EQ(7U, Child(ToWide(line)).Wait());
        EXPECT_EQ(std::string(line) + "\n" + line, test::ReadFileBytes(file));
    }
    test::SetVariable("SCANKELV_TEST_FILE", "");
}

TEST(Kernel, AProcessIsWaitedForAndEnded)
{
    const Child child(OLESTR("sleep 1"));
    DWORD exitCode = 0;
    EXPECT_EQ(WAIT_TIMEOUT, ::WaitForSingleObject(child.Process(), 20));
    EXPECT_NE(0, ::GetExitCodeProcess(child.Process(), &exitCode));
    EXPECT_EQ(DWORD{STILL_ACTIVE}, exitCode);
    EXPECT_NE(0, ::TerminateProcess(child.Process(), 4711));
    EXPECT_EQ(4711U, child.Wait());
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(child.Process(), 0));
}

TEST(Kernel, AProgramThatCannotStartIsRefused)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("text.exe"), "no program");
    const struct
    {
        const char* what;
        Wide program;
        Wide currentFolder;
        DWORD error;
    } rows[] = {
        {"missing", folder.File("none.exe"), folder.Path(), ERROR_FILE_NOT_FOUND},
        {"missing folder", folder.File("none\\none.exe"), folder.Path(), ERROR_PATH_NOT_FOUND},
        {"text", folder.File("text.exe"), folder.Path(), ERROR_BAD_EXE_FORMAT},
        {"missing current folder", test::ProgramPath(), folder.File("none"), ERROR_DIRECTORY},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process{};
        Wide line = OLESTR("report x");
        ::SetLastError(marker);
        EXPECT_EQ(
            0, ::CreateProcessW(
                   row.program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, row.currentFolder.c_str(),
                   &startup, &process));
        EXPECT_EQ(row.error, ::GetLastError());
        EXPECT_EQ(nullptr, process.hProcess);
    }
}

TEST(Kernel, EnvironmentVariables)
{
    const WCHAR* const name = OLESTR("SCANKELV_TEST_VARIABLE");
    const struct
    {
        const WCHAR* value;
        DWORD room;
        DWORD count;
        DWORD error;
    } rows[] = {
        {OLESTR("abc"), 4, 3, marker},
        {OLESTR("abc"), 3, 4, marker},
        {OLESTR("abc"), 0, 4, marker},
        {nullptr, 4, 0, ERROR_ENVVAR_NOT_FOUND},
    };
    for (const auto& row : rows)
    {
        ::SetEnvironmentVariableW(name, row.value);
        WCHAR buffer[8] = {0x2323, 0x2323, 0x2323, 0x2323, 0x2323};
        ::SetLastError(marker);
        EXPECT_EQ(row.count, ::GetEnvironmentVariableW(name, buffer, row.room));
        EXPECT_EQ(row.error, ::GetLastError());
        EXPECT_EQ(row.count == 3 ? Wide(OLESTR("abc")) : Wide(), row.count == 3 ? Wide(buffer) : Wide());
        EXPECT_EQ(0x2323, buffer[4]);
    }
}

TEST(Kernel, TimeAndSleep)
{
    ::SetLastError(marker);
    SYSTEMTIME time{};
    ::GetLocalTime(&time);
    EXPECT_TRUE(time.wYear >= 2024 && time.wMonth >= 1 && time.wMonth <= 12 && time.wDay >= 1 && time.wDay <= 31);
    EXPECT_TRUE(time.wHour < 24 && time.wMinute < 60 && time.wSecond < 61 && time.wMilliseconds < 1000);
    EXPECT_LT(time.wDayOfWeek, 7);
    const auto before = std::chrono::steady_clock::now();
    ::Sleep(200);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(199));
    EXPECT_EQ(marker, ::GetLastError());
}

TEST(Kernel, InterlockedOperationsGiveTheNewOrTheOldValue)
{
    LONG value = 5;
    EXPECT_EQ(4, InterlockedDecrement(&value));
    EXPECT_EQ(5, InterlockedIncrement(&value));
    EXPECT_EQ(5, InterlockedExchange(&value, 7));
    EXPECT_EQ(7, InterlockedExchangeAdd(&value, 3));
    EXPECT_EQ(10, InterlockedCompareExchange(&value, 1, 9));
    EXPECT_EQ(10, InterlockedCompareExchange(&value, 1, 10));
    EXPECT_EQ(1, value);

    value = 40000;
    std::thread other([&value] {
        for (int i = 0; i < 20000; ++i)
            InterlockedDecrement(&value);
    });
    for (int i = 0; i < 20000; ++i)
        InterlockedDecrement(&value);
    other.join();
    EXPECT_EQ(0, value);
}

TEST(Kernel, PointerProbes)
{
    constexpr std::size_t page = 4096;
    const HANDLE mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 2 * 65536, nullptr);
    auto* const bytes = static_cast<char*>(::MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    auto* const readOnly = static_cast<char*>(::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    ASSERT_TRUE(bytes != nullptr && readOnly != nullptr);
    std::fill(bytes, bytes + 2 * 65536, 'x');
    bytes[10] = '\0';
    void* const low = reinterpret_cast<void*>(std::uintptr_t{16});

    const struct
    {
        const char* what;
        const void* text;
        UINT_PTR most;
        BOOL bad;
    } texts[] = {
        {"terminated", bytes, 5, FALSE},
        {"terminated within", bytes, 100, FALSE},
        {"null", nullptr, 5, TRUE},
        {"low address", low, 5, TRUE},
        {"bound reached", bytes + 12, page, FALSE},
        {"read-only", readOnly, 100, FALSE},
    };
    for (const auto& row : texts)
    {
        SCOPED_TRACE(row.what);
        ::SetLastError(marker);
        EXPECT_EQ(row.bad, ::IsBadStringPtrA(static_cast<const char*>(row.text), row.most));
        EXPECT_EQ(row.bad, ::IsBadStringPtrW(static_cast<const WCHAR*>(row.text), row.most));
        EXPECT_EQ(marker, ::GetLastError());
    }
    const struct
    {
        const char* what;
        void* memory;
        UINT_PTR size;
        BOOL bad;
    } writes[] = {
        {"null", nullptr, 4, TRUE},       {"low address", low, 4, TRUE},      {"size 0", nullptr, 0, FALSE},
        {"read-only", readOnly, 4, TRUE}, {"whole", bytes, 2 * 65536, FALSE}, {"unaligned", bytes + 4094, 4, FALSE},
    };
    for (const auto& row : writes)
    {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.bad, ::IsBadWritePtr(row.memory, row.size));
    }
    EXPECT_EQ(std::string(10, 'x'), bytes);
    EXPECT_EQ('x', bytes[4095]);
    ::UnmapViewOfFile(bytes);
    ::UnmapViewOfFile(readOnly);
    ::CloseHandle(mapping);
}

TEST(Kernel, Conversions)
{
    const struct
    {
        const char* what;
        const char* text;
        int length;
        int room;
        DWORD flags;
        int count;
        DWORD error;
    } rows[] = {
        {"with terminator", "a\xE2\x82\xAC", -1, 8, 0, 3, marker},
        {"by length", "a\xF0\x9F\x96\xA8z", 5, 8, 0, 3, marker},
        {"room asked for", "a\xE2\x82\xAC", -1, 0, 0, 3, marker},
        {"too small", "abc", -1, 3, 0, 0, ERROR_INSUFFICIENT_BUFFER},
        {"malformed, strict", "a\x80", -1, 8, MB_ERR_INVALID_CHARS, 0, ERROR_NO_UNICODE_TRANSLATION},
        {"malformed", "a\x80", -1, 8, 0, 3, marker},
        {"nothing", "a", 0, 8, 0, 0, ERROR_INVALID_PARAMETER},
        {"null", nullptr, 1, 8, 0, 0, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        WCHAR wide[9] = {};
        ::SetLastError(marker);
        EXPECT_EQ(row.count, ::MultiByteToWideChar(CP_UTF8, row.flags, row.text, row.length, wide, row.room));
        EXPECT_EQ(row.error, ::GetLastError());
        if (row.count == 0 || row.room == 0 || *row.what == 'm')
            continue;
        char back[16] = {};
        const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, wide, row.count, back, 16, nullptr, nullptr);
        EXPECT_EQ(
            row.length < 0 ? std::string(row.text).size() + 1 : static_cast<std::size_t>(row.length),
            static_cast<std::size_t>(bytes));
        EXPECT_EQ(std::string(row.text).substr(0, static_cast<std::size_t>(bytes)), back);
    }
    const WCHAR lone[] = {'a', 0xD800, 0};
    char bytes[9];
    ::SetLastError(marker);
    EXPECT_EQ(5, ::WideCharToMultiByte(CP_UTF8, 0, lone, -1, bytes, 9, nullptr, nullptr));
    EXPECT_STREQ("a\xEF\xBF\xBD", bytes);
    EXPECT_EQ(0, ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, lone, -1, bytes, 9, nullptr, nullptr));
    EXPECT_EQ(ERROR_NO_UNICODE_TRANSLATION, ::GetLastError());
}

} // namespace
