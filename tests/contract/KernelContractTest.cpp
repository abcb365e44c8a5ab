// Command lines, variables, time and conversions.
#include "LastError.h"
#include "Role.h"

#include <chrono>
#include <tuple>

namespace
{

using test::kept;
using test::LastError;
using test::ToUtf8;
using test::Wide;

/// Writes its own command line to the file that a variable names.
const bool reporter = test::InRole(OLESTR("report"), [](const Wide&) -> UINT {
    WCHAR file[1024];
    ::GetEnvironmentVariableW(OLESTR("SCANKELV_TEST_FILE"), file, 1024);
    test::WriteFileBytes(file, ToUtf8(::GetCommandLineW()));
    return 7;
});

TEST(Kernel, TheCommandLineIsExactlyAsTheStarterGaveIt)
{
    const test::TemporaryFolder folder;
    const Wide file = folder.File("line.txt");
    test::SetVariable("SCANKELV_TEST_FILE", ToUtf8(file));
    for (const std::string line :
         {"report x", "report \"quoted words\"  double  blanks   ", "report an \"unclosed quote", "report \\\"back\\\\",
          "report \t tab /M \"a\"\"b\" 'single'", "report a=b;c %PATH% $HOME * \\"})
    {
        EXPECT_EQ(7U, test::Child(test::ToWide(line)).Wait());
        EXPECT_EQ(line, test::ReadFileBytes(file));
    }
    STARTUPINFOW startup{};
    PROCESS_INFORMATION process{};
    Wide line = OLESTR("x");
    EXPECT_EQ(
        ERROR_FILE_NOT_FOUND, LastError().Of(::CreateProcessW(
                                  folder.File("none.exe").c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                  nullptr, &startup, &process)));
}

TEST(Kernel, EnvironmentVariables)
{
    test::SetVariable("SCANKELV_TEST_VARIABLE", "abc");
    for (const auto& [room, count] : {std::pair(DWORD{4}, DWORD{3}), {DWORD{3}, DWORD{4}}, {DWORD{0}, DWORD{4}}})
    {
        Wide buffer(5, '#');
        ::SetLastError(kept);
        EXPECT_EQ(count, ::GetEnvironmentVariableW(OLESTR("SCANKELV_TEST_VARIABLE"), buffer.data(), room));
        EXPECT_EQ(kept, ::GetLastError());
        EXPECT_TRUE(count != 3 || buffer == Wide(OLESTR("abc\0#"), 5));
    }
    EXPECT_EQ(ERROR_ENVVAR_NOT_FOUND, LastError().Of(::GetEnvironmentVariableW(OLESTR("NO SUCH"), nullptr, 0)));
}

TEST(Kernel, TimeAndSleep)
{
    ::SetLastError(kept);
    SYSTEMTIME time{};
    ::GetLocalTime(&time);
    EXPECT_TRUE(time.wYear >= 2024 && time.wMonth >= 1 && time.wMonth <= 12 && time.wDay >= 1 && time.wDay <= 31);
    EXPECT_TRUE(time.wHour < 24 && time.wMinute < 60 && time.wSecond < 61 && time.wMilliseconds < 1000);
    const auto before = std::chrono::steady_clock::now();
    ::Sleep(200);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(199));
    EXPECT_EQ(kept, ::GetLastError());
}

TEST(Kernel, Conversions)
{
    const std::tuple<const char*, int, int, int, DWORD> rows[] = {
        // text, length, room; count, error
        {"a\xE2\x82\xAC", -1, 8, 3, kept}, // with its terminator
        {"a\xF0\x9F\x96\xA8", 5, 8, 3, kept},
        {"a\xE2\x82\xAC", -1, 0, 3, kept}, // asks for the room
        {"abc", -1, 3, 0, ERROR_INSUFFICIENT_BUFFER},
        {"a\x80", -1, 8, 3, kept},
        {"a", 0, 8, 0, ERROR_INVALID_PARAMETER},
        {nullptr, 1, 8, 0, ERROR_INVALID_PARAMETER}};
    for (const auto& [text, length, room, count, error] : rows)
    {
        WCHAR wide[9] = {};
        ::SetLastError(kept);
        EXPECT_EQ(count, ::MultiByteToWideChar(CP_UTF8, 0, text, length, wide, room)) << &count - &std::get<3>(rows[0]);
        EXPECT_EQ(error, ::GetLastError());
    }
    char bytes[9] = {};
    const WCHAR lone[] = {'a', 0xD800, 0};
    EXPECT_EQ(6, ::WideCharToMultiByte(CP_UTF8, 0, OLESTR("a\xD83D\xDDA8"), -1, bytes, 9, nullptr, nullptr));
    EXPECT_STREQ("a\xF0\x9F\x96\xA8", bytes);
    EXPECT_EQ(5, ::WideCharToMultiByte(CP_UTF8, 0, lone, -1, bytes, 9, nullptr, nullptr));
    EXPECT_STREQ("a\xEF\xBF\xBD", bytes);
}

} // namespace
