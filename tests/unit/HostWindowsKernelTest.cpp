// What the stand-in does where Windows' documents and measurements differ, or where only Linux can look.
#include "host/Linux.h"
#include "LastError.h"
#include "Role.h"

#include <cstdio>
#include <cstdlib>
#include <tuple>

namespace
{

namespace fs = std::filesystem;
using test::Child;
using test::EntriesIn;
using test::LinuxPath;
using test::ToUtf8;
using test::ToWide;
using test::Wide;

HANDLE CreateMapping(const Wide& name)
{
    return ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, name.c_str());
}

/// Started by the shell with this variable, the program prints its command line.
const bool printer = [] {
    if (std::getenv("SCANKELV_TEST_PRINT") == nullptr)
        return false;
    std::fputs(ToUtf8(::GetCommandLineW()).c_str(), stdout);
    std::fflush(stdout);
    ::ExitProcess(0);
}();

/// Exit code: the last error of a mapping's creation.
const bool creator =
    test::InRole(OLESTR("create"), [](const Wide& name) -> UINT { return CreateMapping(name), ::GetLastError(); });

/// Writes keys of its own letter into a profile file; the rest of the line is the letter and the file.
constexpr int keysOfEach = 40;
const bool writer = test::InRole(OLESTR("write"), [](const Wide& rest) -> UINT {
    for (int i = 0; i < keysOfEach; ++i)
        if (::WritePrivateProfileStringW(
                OLESTR("S"), (rest.substr(0, 1) + ToWide(std::to_string(i))).c_str(), OLESTR("v"), rest.c_str() + 2) ==
            0)
            return ::GetLastError();
    return 0;
});

/// Exit code: 0 when nothing but the standard streams and the tests' variables came along.
const bool inheritor = test::InRole(OLESTR("inherit"), [](const Wide&) -> UINT {
    const bool clean = EntriesIn("/proc/self/fd") == 4; // one of them reads the folder
    return std::getenv("HOSTWINDOWS_COMMAND_LINE") == nullptr && clean ? 0 : 1;
});

TEST(HostKernel, CommandLineOfAProgramThatLinuxStarted)
{
    const std::string program = fs::read_symlink("/proc/self/exe");
    const std::string command =
        "SCANKELV_TEST_PRINT=1 '" + program + "' /M 'b c' '' 'say \"x y\"' '\xC3\xA4' 'tab\there'";
    std::string printed(4096, '\0');
    std::FILE* pipe = ::popen(command.c_str(), "r");
    printed.resize(std::fread(printed.data(), 1, printed.size(), pipe));
    EXPECT_EQ(0, ::pclose(pipe));
    EXPECT_EQ('"' + ToUtf8(test::ProgramPath()) + "\" /M \"b c\" \"\" say \"x y\" \xC3\xA4 \"tab\there\"", printed);
    EXPECT_EQ(program, LinuxPath(test::ProgramPath()));
}

TEST(HostKernel, AStartedProgramInheritsNothing)
{
    EXPECT_EQ(0U, Child(OLESTR("inherit x")).Wait());
}

TEST(HostKernel, TheDebuggerConsoleIsTheFileThatTheVariableNamesNow)
{
    const test::TemporaryFolder folder;
    for (const char* name : {"a", "b", "a"})
    {
        test::SetVariable("HOSTWINDOWS_DEBUG_CONSOLE", LinuxPath(folder.File(name)));
        ::SetLastError(test::kept);
        ::OutputDebugStringA((std::string(name) + "%s\r\n").c_str());
        EXPECT_EQ(test::kept, ::GetLastError());
    }
    test::SetVariable("HOSTWINDOWS_DEBUG_CONSOLE", "");
    EXPECT_EQ("a%s\r\na%s\r\n", test::ReadFileBytes(folder.File("a")));
    EXPECT_EQ("b%s\r\n", test::ReadFileBytes(folder.File("b")));
}

TEST(HostKernel, MappingsLeaveNoFilesAndShareNothingBetweenMachines)
{
    const test::TemporaryFolder folder;
    const std::string machine = std::getenv("HOSTWINDOWS_ROOT");
    for (int i = 0; i < 300; ++i)
        ::CloseHandle(CreateMapping(ToWide("n" + std::to_string(i))));
    EXPECT_EQ(0U, EntriesIn(machine + "/objects"));
    EXPECT_EQ(ERROR_FILENAME_EXCED_RANGE, test::LastError().Of(CreateMapping(Wide(300, 'x'))));

    test::WriteFileBytes(folder.File("file"), "");
    const HANDLE held = CreateMapping(OLESTR("held"));
    const std::tuple<std::string, const WCHAR*, DWORD> rows[] = {
        {machine, OLESTR("create held"), ERROR_ALREADY_EXISTS},
        {LinuxPath(folder.File("other")), OLESTR("create held"), 0},
        {LinuxPath(folder.File("file")), OLESTR("create held"), ERROR_PATH_NOT_FOUND}, // no machine folder
        {machine, OLESTR("create killed"), 0},
        {machine, OLESTR("create killed"), 0}, // what a killed holder left behind is replaced, not added to
    };
    for (const auto& [root, role, error] : rows)
    {
        test::SetVariable("HOSTWINDOWS_ROOT", root);
        EXPECT_EQ(error, Child(role).Wait()) << root;
    }
    EXPECT_EQ(2U, EntriesIn(machine + "/objects"));
    ::CloseHandle(held);
}

TEST(HostProfileFile, OtherLinesStayByteForByte)
{
    const struct
    {
        std::string_view before;
        const WCHAR *key, *value; // of section "S"
        std::string_view after;
    } rows[] = {
        {"[S]\n  a = 1\n\n; \xE4\xFF\n[T]\nb= 2\n", OLESTR("a"), OLESTR("3"), "[S]\n  a=3\n\n; \xE4\xFF\n[T]\nb= 2\n"},
        {"[S]\r\na=1\r\n\r\n\r\n[T]\r\n", OLESTR("b"), OLESTR("2"), "[S]\r\na=1\r\nb=2\r\n\r\n\r\n[T]\r\n"},
        {"\r\n\t[ s ] x\r\r\n\ta\t=\t\xC0\r\r\n b = \xF5\r\r\n", OLESTR("B"), nullptr,
         "\r\n\t[ s ] x\r\r\n\ta\t=\t\xC0\r\r\n"},
        {"[S]\r\nk=v", OLESTR("k"), OLESTR("w"), "[S]\r\nk=w"},
        {"\xE4=\xE4\r\n[S]", OLESTR("k"), OLESTR("\xE4"), "\xE4=\xE4\r\n[S]\r\nk=\xC3\xA4\r\n"},
        {{"\xFF\xFE[\0S\0]\0\n\0x", 11}, OLESTR("k"), OLESTR("v"), {"\xFF\xFE[\0S\0]\0\n\0k\0=\0v\0\r\0\n\0x", 21}},
    };
    const test::TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    for (const auto& row : rows)
    {
        test::WriteFileBytes(file, row.before);
        EXPECT_TRUE(::WritePrivateProfileStringW(OLESTR("S"), row.key, row.value, file.c_str()));
        EXPECT_EQ(row.after, test::ReadFileBytes(file));
    }
    EXPECT_EQ(1U, EntriesIn(LinuxPath(folder.Path())));
    // A value that is there already is not written: the file stays the one that has two names.
    fs::create_hard_link(LinuxPath(file), LinuxPath(folder.File("b.ini")));
    EXPECT_TRUE(::WritePrivateProfileStringW(OLESTR("S"), OLESTR("k"), OLESTR("v"), file.c_str()));
    EXPECT_EQ(2U, fs::hard_link_count(LinuxPath(file)));

    // Reading where the documents decide.
    test::WriteFileBytes(file, "[\xC3\x84\xD0\x96]\r\n\xC3\xBC=\xC3\xBC\xFF\r\n");
    WCHAR text[16];
    EXPECT_EQ(2U, ::GetPrivateProfileStringW(OLESTR("\xE4\x0436"), OLESTR("\xDC"), nullptr, text, 16, file.c_str()));
    EXPECT_EQ(Wide(OLESTR("\xFC\xFFFD")), text);
}

TEST(HostProfileFile, WritersLoseNoKeyAndAKilledOneHoldsNobodyUp)
{
    const test::TemporaryFolder folder;
    const Wide file = folder.File("a.ini");
    {
        const Child a(OLESTR("write a ") + file), b(OLESTR("write b ") + file), c(OLESTR("write c ") + file);
        for (const Child* each : {&a, &b, &c})
            EXPECT_EQ(0U, each->Wait());
    }
    const std::string whole = test::ReadFileBytes(file);
    EXPECT_EQ(1 + 3 * keysOfEach, std::count(whole.begin(), whole.end(), '\n'));
    for (DWORD delay = 0; delay < 12; ++delay)
    {
        {
            const Child killed(OLESTR("write d ") + file);
            ::Sleep(3 + delay);
        }
        EXPECT_TRUE(test::ReadFileBytes(file).starts_with(whole));
    }
    EXPECT_EQ(0U, Child(OLESTR("write e ") + file).Wait());
    EXPECT_EQ(1U, EntriesIn(LinuxPath(folder.Path()))); // nothing left behind
}

} // namespace
