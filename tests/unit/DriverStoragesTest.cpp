#include "DriverStorages.h"
#include "AgentTest.h"

#include <map>

using namespace scankelv;
using namespace test;

namespace
{

using DriverStorages = AgentTest;

constexpr const WCHAR* record = OLESTR("Software\\QLScan\\More\\Printer000");

TEST_F(DriverStorages, OpenWithTheirFallbacksAndMessages)
{
    const std::map<std::string, bool (*)(CrossProductStorage&, const WCHAR*)> storages = {
        {"read", &TwainStorageOpenRead},
        {"user's read", &TwainStorageOpenReadUser},
        {"write", &TwainStorageOpenWrite},
        {"record", [](auto& storage, auto*) { return MultiSelectStorageOpenRead(storage, record); }}};
    ExpectAnswers("unit/data/DriverStorages.txt", [&](const std::string& given) {
        const std::vector<std::string> parts = Parts(given); // which storage, where it is
        const PrivateRegistry registry;
        for (const auto& [place, hive] : {std::pair("HKCU", UserHive), {"HKLM", SystemHive}})
            for (const WCHAR* const path : {OLESTR("Software\\QLScan\\Model 5"), record})
                EXPECT_TRUE(
                    parts[1].find(place) == std::string::npos || CrossProductStorage().Open(hive, path, AccessWrite));
        const DebugConsoleCapture console;
        CrossProductStorage storage;
        const bool opens = storages.at(parts[0])(storage, OLESTR("Model 5"));
        EXPECT_EQ(opens, storage.IsValid());
        return AgentLines(console) + (opens ? "opened" : "not opened") + ", reports: " + ReportedExpressions(console) +
               "\n";
    });
    const std::string longName(5000, 'p');
    EXPECT_EQ("Software\\QLScan\\" + longName, TwainStoragePath(ToWide(longName).c_str()).Text());
    EXPECT_TRUE(WiaConfigLocationWide().View().ends_with(OLESTR("\\QLScan\\Quellon Generic Scan Driver\\Config.ini")));
}

TEST(DebugIni, ConfiguresTheLoggers)
{
    const TemporaryFolder folder;
    const auto configure = [](bool expected, const char* path) {
        DWORD mask = 77;
        bool time = true, module = true, thread = true;
        EXPECT_EQ(expected, ConfigureFromDebugIni(path, "Agent", mask, time, module, thread));
        return Format<char>("mask %lu, time %d, module %d, thread %d\n", mask, time, module, thread);
    };
    EXPECT_EQ(configure(false, nullptr), configure(false, ""));
    ExpectAnswers("unit/data/DebugIni.txt", [&](const std::string& content) {
        if (!content.empty())
            WriteFileBytes(folder.File("Debug.ini"), content);
        return configure(true, NarrowFromWide(folder.File("Debug.ini")).c_str());
    });
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
        expected +=
            Format<char>("w4 Module %s does not log. For settings see: ", module) + DebugIniLocation().Text() + "\r\n";
    EXPECT_EQ(expected, console.Text());
}

} // namespace
