#include "DriverStorages.h"
#include "AgentTest.h"
#include "LastErrorKeeper.h"
#include "Reports.h"

using namespace scankelv;

namespace
{

using DriverStorages = test::AgentTest;

constexpr const WCHAR* product = OLESTR("Model 5");
constexpr const WCHAR* record = OLESTR("Software\\QLScan\\More\\Printer000");
constexpr char trySystem[] = "fail to open user storage for read in HKCU, trying system storage in HKLM";

void MakeKey(int hive, const char* path)
{
    EXPECT_TRUE(CrossProductStorage(hive, path, AccessWrite).IsValid());
}

TEST_F(DriverStorages, OpenWithTheirFallbacksAndMessages)
{
    const auto multi = [](CrossProductStorage& storage, const WCHAR*) {
        return MultiSelectStorageOpenRead(storage, record);
    };
    using Opener = bool (*)(CrossProductStorage&, const WCHAR*);
    const struct
    {
        const char* name;
        Opener open;
        bool inUser, inSystem; ///< where the key is beforehand
        bool opens;
        std::vector<std::string> messages; ///< a report of a failed open stands as its expression
    } cases[] = {
        {"read user", &TwainStorageOpenRead, true, true, true, {}},
        {"read system", &TwainStorageOpenRead, false, true, true, {"keyOpenResult", trySystem}},
        {"read neither",
         &TwainStorageOpenRead,
         false,
         false,
         false,
         {"keyOpenResult", trySystem, "keyOpenResult", "fail to open system storage for read in HKLM"}},
        {"user", &TwainStorageOpenReadUser, true, false, true, {}},
        {"user only",
         &TwainStorageOpenReadUser,
         false,
         true,
         false,
         {"keyOpenResult", "fail to open user storage for read in HKCU"}},
        {"write", &TwainStorageOpenWrite, true, false, true, {}},
        {"write new", &TwainStorageOpenWrite, false, true, true, {"keyOpenResult"}},
        {"record",
         multi,
         false,
         true,
         true,
         {"trying system storage in HKLM", "success to open MultiSelect storage for read in HKLM"}},
        {"record of the user",
         multi,
         true,
         false,
         false,
         {"trying system storage in HKLM", "keyOpenResult", "fail to open MultiSelect storage for read in HKLM!"}},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        const test::PrivateRegistry registry;
        for (const std::string& path : {std::string("Software\\QLScan\\Model 5"), NarrowFromWide(record)})
        {
            if (row.inUser)
                MakeKey(UserHive, path.c_str());
            if (row.inSystem)
                MakeKey(SystemHive, path.c_str());
        }
        const test::DebugConsoleCapture console;
        CrossProductStorage storage;
        EXPECT_EQ(row.opens, row.open(storage, product));
        EXPECT_EQ(row.opens, storage.IsValid());
        std::vector<std::string> messages;
        const std::string text = console.Text();
        for (std::size_t from = 0, to = 0; (to = text.find("\r\n", from)) != text.npos; from = to + 2)
        {
            const std::string line = text.substr(from, to - from);
            if (const std::size_t at = line.find("Expression  "); at != line.npos)
                messages.push_back(test::ExpressionsIn(line + "\r\n")[0]);
            else if (line.find("storage") != line.npos && line.find("scankelv::") == line.npos)
                messages.push_back(line);
        }
        EXPECT_EQ(row.messages, messages);
    }
    EXPECT_STREQ("Software\\QLScan\\Model 5", TwainStoragePath(product).Text());
    const std::string longName(5000, 'p');
    EXPECT_EQ("Software\\QLScan\\" + longName, TwainStoragePath(test::ToWide(longName).c_str()).Text());
    EXPECT_TRUE(WiaConfigLocationWide().View().ends_with(OLESTR("\\QLScan\\Quellon Generic Scan Driver\\Config.ini")));
}

TEST(DebugIni, ConfiguresTheLoggers)
{
    const test::TemporaryFolder folder;
    const std::string path = NarrowFromWide(folder.File("Debug.ini"));
    const struct
    {
        const char* name;
        const char* content; ///< null: no file
        const char* path;
        bool result;
        DWORD mask;
        bool time, module, thread;
    } cases[] = {
        {"no path", nullptr, nullptr, false, 0, false, false, false},
        {"empty path", nullptr, "", false, 0, false, false, false},
        {"no file", nullptr, path.c_str(), true, 0, false, false, false},
        {"mask only", "[Modules]\r\nagent=3\r\n", path.c_str(), true, 3, false, false, false},
        {"other module", "[Modules]\r\nKELVClient=3\r\n[Format]\r\nShowTime=1\r\n", path.c_str(), true, 0, true, false,
         false},
        {"prefix", "[Format]\r\nShowModule=2\r\nShowThread=0\r\n[Modules]\r\nAgent=16\r\n", path.c_str(), true, 16,
         false, true, false},
        {"thread", "[Format]\r\nShowThread=6844\r\n", path.c_str(), true, 0, false, false, true},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        if (row.content != nullptr)
            test::WriteFileBytes(folder.File("Debug.ini"), row.content);
        DWORD mask = 77;
        bool time = true, module = true, thread = true;
        EXPECT_EQ(row.result, ConfigureFromDebugIni(row.path, "Agent", mask, time, module, thread));
        EXPECT_EQ(row.mask, mask);
        EXPECT_EQ(std::make_tuple(row.time, row.module, row.thread), std::make_tuple(time, module, thread));
    }
}

TEST(DebugIni, FirstUseDescribesTheLoggerAndKeepsTheLastError)
{
    const test::DebugConsoleCapture console;
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
