#include "DriverStorages.h"
#include "AgentTest.h"
#include "LastErrorKeeper.h"

using namespace scankelv;
using namespace test;

namespace
{

using DriverStorages = AgentTest;

constexpr const WCHAR* record = OLESTR("Software\\QLScan\\More\\Printer000");

bool OpenRecord(CrossProductStorage& storage, const WCHAR*)
{
    return MultiSelectStorageOpenRead(storage, record);
}

TEST_F(DriverStorages, OpenWithTheirFallbacksAndMessages)
{
    const std::string trySystem =
        "keyOpenResult|fail to open user storage for read in HKCU, trying system storage in HKLM|";
    const struct
    {
        bool (*open)(CrossProductStorage&, const WCHAR*);
        std::vector<int> hives; ///< where the key is beforehand
        bool opens;
        std::string messages; ///< a report of a failed open stands as its expression
    } rows[] = {
        {&TwainStorageOpenRead, {UserHive, SystemHive}, true, ""},
        {&TwainStorageOpenRead, {SystemHive}, true, trySystem},
        {&TwainStorageOpenRead, {}, false, trySystem + "keyOpenResult|fail to open system storage for read in HKLM|"},
        {&TwainStorageOpenReadUser, {UserHive}, true, ""},
        {&TwainStorageOpenReadUser, {SystemHive}, false, "keyOpenResult|fail to open user storage for read in HKCU|"},
        {&TwainStorageOpenWrite, {UserHive}, true, ""},
        {&TwainStorageOpenWrite, {SystemHive}, true, "keyOpenResult|"},
        {&OpenRecord,
         {SystemHive},
         true,
         "trying system storage in HKLM|success to open MultiSelect storage for read in HKLM|"},
        {&OpenRecord,
         {UserHive},
         false,
         "trying system storage in HKLM|keyOpenResult|fail to open MultiSelect storage for read in HKLM!|"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        const PrivateRegistry registry;
        for (const int hive : row.hives)
            for (const WCHAR* const path : {OLESTR("Software\\QLScan\\Model 5"), record})
                EXPECT_TRUE(CrossProductStorage().Open(hive, path, AccessWrite));
        const DebugConsoleCapture console;
        CrossProductStorage storage;
        EXPECT_EQ(row.opens, row.open(storage, OLESTR("Model 5")));
        EXPECT_EQ(row.opens, storage.IsValid());
        std::string messages;
        const std::string text = console.Text();
        for (std::size_t from = 0, to = 0; (to = text.find("\r\n", from)) != text.npos; from = to + 2)
        {
            const std::string line = text.substr(from, to - from);
            if (const std::vector<Report> reports = ReportsIn(line + "\r\n"); !reports.empty())
                messages += reports[0].expression + "|";
            else if (line.find("storage") != line.npos && line.find("scankelv::") == line.npos)
                messages += line + "|";
        }
        EXPECT_EQ(row.messages, messages);
    }
    const std::string longName(5000, 'p');
    EXPECT_EQ("Software\\QLScan\\" + longName, TwainStoragePath(ToWide(longName).c_str()).Text());
    EXPECT_TRUE(WiaConfigLocationWide().View().ends_with(OLESTR("\\QLScan\\Quellon Generic Scan Driver\\Config.ini")));
}

TEST(DebugIni, ConfiguresTheLoggers)
{
    const TemporaryFolder folder;
    const std::string path = NarrowFromWide(folder.File("Debug.ini"));
    const struct
    {
        const char* content; ///< null: no file
        const char* path;
        bool result;
        DWORD mask;
        const char* shown;
    } rows[] = {
        {nullptr, nullptr, false, 0, ""},
        {nullptr, "", false, 0, ""},
        {nullptr, path.c_str(), true, 0, ""},
        {"[Modules]\r\nagent=3\r\n", path.c_str(), true, 3, ""},
        {"[Modules]\r\nKELVClient=3\r\n[Format]\r\nShowTime=1\r\n", path.c_str(), true, 0, "time"},
        {"[Format]\r\nShowModule=2\r\nShowThread=0\r\n[Modules]\r\nAgent=16\r\n", path.c_str(), true, 16, "module"},
        {"[Format]\r\nShowThread=6844\r\n", path.c_str(), true, 0, "thread"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        if (row.content != nullptr)
            WriteFileBytes(folder.File("Debug.ini"), row.content);
        DWORD mask = 77;
        bool time = true, module = true, thread = true;
        EXPECT_EQ(row.result, ConfigureFromDebugIni(row.path, "Agent", mask, time, module, thread));
        EXPECT_EQ(row.mask, mask);
        EXPECT_EQ(row.shown, std::string(time ? "time" : "") + (module ? "module" : "") + (thread ? "thread" : ""));
    }
}

TEST(DebugIni, FirstUseDescribesTheLoggerAndKeepsTheLastError)
{
    const DebugConsoleCapture console;
    ::SetLastError(ERROR_ACCESS_DENIED);
    FindwellLibraryLogger();
    ClientLogger().WriteLine("goes nowhere");
    ClientLogger();
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), ::GetLastError());
    std::string expected;
    for (const char* const module : {"KELVFindwellLibrary", "KELVClient"})
        expected += "w4 Module " + std::string(module) +
                    " does not log. For settings see: " + DebugIniLocation().Text() + "\r\n";
    EXPECT_EQ(expected, console.Text());
}

} // namespace
