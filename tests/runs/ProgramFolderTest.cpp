// Where the program lies and where it is started from must not matter.
#include "Installation.h"

namespace
{

using namespace test;

Wide MakeFolders(Wide path, std::initializer_list<Wide> below)
{
    for (const Wide& name : below)
    {
        path += OLESTR("\\") + name;
        ::CreateDirectoryW(path.c_str(), nullptr);
    }
    return path;
}

const char* const settings = "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series";

/// Whether the updater wrote down its whole path and its argument.
bool UpdaterRan(const Wide& record, const Installation& installation)
{
    const std::string started =
        "\"" + ToUtf8(installation.File("Hueward.exe")) + "\" \"\"\"Quellon Weir C40 Series\"\"\"\n";
    return Eventually([&] { return FileExists(record) && ReadFileBytes(record) == started; });
}

/// One dialog run: its library, its settings, its updater, its library's log are the ones beside it.
void ExpectWholeRun(const Installation& installation, const Wide& currentFolder = {})
{
    installation.Settings(settings);
    const ProgramResult result = RunProgram(installation.Program(), installation.CommandLine(""), currentFolder);
    ASSERT_TRUE(result.started);
    EXPECT_EQ(0U, result.exitCode) << result.debugConsole;
    EXPECT_TRUE(UpdaterRan(installation.File("Hueward.log"), installation)) << result.debugConsole;
    EXPECT_TRUE(installation.Asked().starts_with("GetDeviceList_LCode\n"));
}

TEST(ProgramFolder, MayHaveAnyNameAndDepth)
{
    const Wide deep(95, OLESTR('d'));
    const struct
    {
        const char* name;
        std::initializer_list<Wide> folders;
        std::size_t length; // of the program's path, at least
    } cases[] = {
        {"220 characters beyond ASCII", {deep, ToWide("Büro"), deep}, 220},
        {"blanks and signs", {OLESTR("a b"), OLESTR("c;d=e 'f' (g) & 100%")}, 0},
        {"beyond ASCII", {ToWide("Büro für Äußeres"), ToWide("ñandú")}, 0},
        {"300 characters", {deep, deep, deep}, 300},
        {"300 characters beyond ASCII", {deep, ToWide("Büro"), deep, deep}, 300},
    };
    for (const auto& [name, folders, length] : cases)
    {
        if (OnWine() && length >= MAX_PATH)
            continue; // it starts no such program; the table of known differences says so too
        SCOPED_TRACE(name);
        const TemporaryFolder temporary;
        const Installation installation(MakeFolders(temporary.Path(), folders));
        EXPECT_LE(length, installation.Program().size());
        ExpectWholeRun(installation);
    }
}

TEST(ProgramFolder, MayBeNamedByTheLongForm)
{
    if (!OnWine())
        GTEST_SKIP() << "the stand-in starts programs by their plain paths only";
    const Installation installation;
    installation.Settings(settings);
    const Wide program = OLESTR("\\\\?\\") + installation.Program();
    const ProgramResult result = RunProgram(program, OLESTR("\"") + program + OLESTR("\""));
    ASSERT_TRUE(result.started);
    EXPECT_EQ(0U, result.exitCode) << result.debugConsole;
}

TEST(ProgramFolder, IsAskedAndNotTheCurrentOne)
{
    const TemporaryFolder other;
    const Installation installation;
    // Here the user would cancel, and the settings contradict each other.
    CopyFileTo(BuiltPath(TEST_LIBRARIES) + OLESTR("\\RequiredOnly.dll"), other.File("FindwellDlg.dll"));
    CopyFileTo(BuiltPath(TEST_LIBRARIES) + OLESTR("\\RequiredOnly.dll"), other.File("Shell32.dll"));
    WriteFileBytes(other.File("ScanKELV.ini"), "[Settings]\r\n");
    ExpectWholeRun(installation, other.Path());
}

TEST(ProgramFolder, MayBeReadOnly)
{
    const TemporaryFolder records;
    const Installation installation;
    installation.Settings(settings);
    SetVariable("FINDWELL_RECORD", ToUtf8(records.File("library")));
    SetVariable("HUEWARD_RECORD", ToUtf8(records.File("updater")));
    const char* const files[] = {PROGRAM_NAME, "FindwellDlg.dll", "FindwellDlg.xml", "Hueward.exe", "ScanKELV.ini"};
    for (const char* const file : files)
        SetReadOnly(installation.File(file), true);
    SetReadOnly(installation.File("."), true);

    EXPECT_EQ(0U, installation.Run().exitCode);
    EXPECT_TRUE(UpdaterRan(records.File("updater"), installation));

    SetVariable("FINDWELL_RECORD", "");
    SetVariable("HUEWARD_RECORD", "");
    for (const char* const file : files)
        SetReadOnly(installation.File(file), false);
    SetReadOnly(installation.File("."), false);
}

} // namespace
