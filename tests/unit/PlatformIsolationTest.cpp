// Loggers of Debug.ini, where files are, profile files, registry keys and storages.
#include "CrossProductStorage.h"
#include "Loggers.h"
#include "ProfileFile.h"
#include "Reports.h"
#include "ResourceLocation.h"
#include "ResourceLocationShell.h"

#include <functional>
#include <map>

using namespace scankelv;
using namespace test;

namespace
{

TEST(DebugIni, FirstUseOfALoggerKeepsTheLastError)
{
    const DebugConsoleCapture console;
    DWORD code = 3; // down to 0, no error
    for (LoggerTypeAbstract& (*const logger)() : {&FindwellLibraryLogger, &ClientLogger, &AgentLogger})
    {
        ::SetLastError(--code);
        logger().WriteLine("goes nowhere");
        EXPECT_EQ(code, ::GetLastError());
    }
    EXPECT_TRUE(console.Text().ends_with(
        "w4 Module Agent does not log. For settings see: " + std::string(DebugIniLocation().Text()) + "\r\n"));
}

TEST(MemoryArray, IsCopiedWholeAndRefusesAnOverflow)
{
    const ResourceLocation text("text");
    ResourceLocation copy = text;
    copy.Elements()[0] = 'n';
    EXPECT_EQ("text next", std::string(text.Text()) + " " + copy.Text());
    EXPECT_FALSE(ResourceLocationWide().Create(~std::size_t(0) / 2 + 2)); // the bytes wrap around
}

TEST(ResourceLocation, TemporaryFolderOfAnyLength)
{
    for (const std::size_t length : {509U, 510U, 511U, 512U, 513U, 1500U})
    {
        std::string path = "C:\\";
        while (path.size() < length)
            path += path.size() % 50 == 49 && path.size() + 1 < length ? '\\' : 'x';
        SetVariable("TMP", path);
        // Windows itself gives no more than 261 characters; the location is empty then.
        char whole[2048];
        const bool given = ::GetTempPathA(sizeof(whole), whole) != 0;
        const DebugConsoleCapture console;
        EXPECT_EQ(given ? path + "\\" : "", LocationOfTemporaryRootFolder().Text());
        EXPECT_EQ(given ? "" : "( tchar_required !=0 ) ", ReportedExpressions(console));
    }
    SetVariable("TMP", "");
}

class PlatformIsolation : public testing::Test
{
protected:
    /// What an act does with its arguments: whether it fails, the reports, what it reads and the number that it tells.
    /// @param text  both between bars; FOLDER is a folder
    std::string Answer(std::string text)
    {
        const std::string root = ToUtf8(m_folder.Path());
        ReplaceAll(text, "FOLDER", root);
        const Fields given(text);
        const std::string act = given.Narrow(0);
        const auto isNull = [&](std::size_t i) { return given[i] == nullptr; };
        const auto count = [&](std::size_t i) { return isNull(i) ? 4 : DWORD(std::stoul(given.Narrow(i))); };
        constexpr WCHAR unread = 0x2323;
        constexpr DWORD untold = 0x77777777;
        Wide read(6000, unread);
        DWORD number = untold;
        const auto room = [&](std::size_t i) { return isNull(i) ? nullptr : read.data(); };
        const auto result = [&](std::size_t i) { return isNull(i) ? nullptr : &number; };
        const auto parent = [&] { return isNull(2) ? HKEY() : HKEY_CURRENT_USER; };
        const auto show = [&](WideView shown) { return std::ranges::copy(shown, read.begin()), true; };
        const WideView path = isNull(1) ? OLESTR("") : given[1];
        ProfileFileWide file{ResourceLocationWide(path)};
        ProfileFileNarrow narrowFile{ResourceLocation(NarrowFromWide(path))};
        const auto getString = [&] {
            ResourceLocationWide found(OLESTR("before"));
            const bool has = file.GetString(given[2], given[3], found);
            return show(found.View()) && has;
        };
        const auto compose = [&] {
            const char* const parts[] = {given.Narrow(1), given.Narrow(2), given.Narrow(3), given.Narrow(4)};
            const bool create = *given[5] == WCHAR();
            return show(WideFromNarrow(ComposeLocation(parts[0], parts[1], parts[2], parts[3], create).View()));
        };
        const auto configure = [&] {
            bool time = true, module = true, thread = true;
            const bool has = ConfigureFromDebugIni(given.Narrow(1), "Agent", number, time, module, thread);
            return show(Format<WCHAR>("time %d, module %d, thread %d", time, module, thread)) && has;
        };
        const auto rest = [&] { return text.substr(act.size() + path.size() + 2); };
        const std::map<std::string, std::function<bool()>> acts = {
            {"write", [&] { return WriteFileBytes(given[1], rest()), true; }},
            {"read", [&] { return show(ToWide(ReadFileBytes(given[1]))); }},
            {"exists", [&] { return FileExists(given[1]); }},
            {"ComposeLocation", compose},
            {"GetLocationByFolderID", [&] { return !GetLocationByFolderID(int(count(1))).IsEmpty(); }},
            {"GetLocationByPIDL", [&] { return !GetLocationByPIDL(nullptr).IsEmpty(); }},
            {"GetDllVersion", [&] { return (number = GetDllVersion(given[1])) != 0; }},
            {"GetULong", [&] { return file.GetULong(given[2], given[3], result(4)); }},
            {"GetULong, narrow", [&] { return narrowFile.GetULong(given.Narrow(2), given.Narrow(3), result(4)); }},
            {"GetString", getString},
            {"GetStringRaw", [&] { return file.GetStringRaw(given[2], given[3], room(4), count(4)); }},
            {"SetString", [&] { return file.SetString(given[2], given[3], given[4]); }},
            {"SetULong", [&] { return file.SetULong(given[2], given[3], count(4)); }},
            {"ConfigureFromDebugIni", configure},
            {"store", [&] { return Store(HKEY_CURRENT_USER, given.Narrow(1), rest()), true; }},
            {"stored", [&] { return show(ToWide(StoredText(HKEY_CURRENT_USER, given[1]))); }},
            {"storage.Open", [&] { return m_storage.Open(int(count(2)) / 10, given[1], int(count(2)) % 10); }},
            {"storage.GetString", [&] { return m_storage.GetString(given[1], room(2), count(2)); }},
            {"storage.GetULong", [&] { return m_storage.GetULong(given[1], result(2)); }},
            {"storage.SetString", [&] { return m_storage.SetString(given[1], given[2]); }},
            {"storage.SetString, narrow", [&] { return m_storage.SetString(given.Narrow(1), given.Narrow(2)); }},
            {"storage.SetULong", [&] { return m_storage.SetULong(given[1], count(2)); }},
            {"storage.Delete", [&] { return m_storage.Delete(given.Narrow(1)); }},
            {"key.Open", [&] { return m_key.Open(parent(), given[1], KEY_ALL_ACCESS); }},
            {"key.Create", [&] { return m_key.Create(parent(), given[1], given[2], 0, KEY_READ, nullptr, &number); }},
            {"key.QueryStringValue",
             [&] { return m_key.QueryStringValue(given[1], read.data(), &(number = count(2))); }},
            {"key.QueryDWORDValue", [&] { return m_key.QueryDWORDValue(given[1], &number); }},
            {"key.SetDWORDValue", [&] { return m_key.SetDWORDValue(given[1], count(2)); }},
            {"key.SetStringValueNoExpand", [&] { return m_key.SetStringValueNoExpand(given[1], given[2]); }},
            {"key.Close", [&] { return m_key.Close(); }},
            {"key's handle is closed", // which is its only field
             [&] { return ::RegCloseKey(*reinterpret_cast<const HKEY*>(&m_key)) == ERROR_SUCCESS; }}};
        const DebugConsoleCapture console;
        ::SetLastError(ERROR_INVALID_DATA); // the registry leaves it alone
        std::string answer;
        if (!acts.at(act)())
            answer = file.LastError() == 0 ? "fails\n" : Format<char>("fails, error %lu\n", file.LastError());
        for (Report& report : ReportsIn(console.Text()))
        {
            for (const DWORD code : {2U, 3U, 5U, 6U, 13U, 87U, 234U})
                report.context = report.context == SystemText(code) ? Format<char>("error %lu", code) : report.context;
            answer += report.expression + " -- " + report.context + "\n";
        }
        if (const std::size_t end = read.find_last_not_of(unread); end != read.npos)
            answer += "[" + ToUtf8(read.substr(0, end + 2)) + "]\n"; // and what stands behind it
        if (number != untold)
            answer += Format<char>("%lu\n", number);
        ReplaceAll(answer, root, "FOLDER");
        return answer;
    }

private:
    const PrivateRegistry m_registry;
    const TemporaryFolder m_folder;
    CrossProductStorage m_storage;
    RegistryKey m_key;
};

TEST_F(PlatformIsolation, FollowsItsActs)
{
    for (const char* const file : {"unit/data/Locations.txt", "unit/data/ProfileFile.txt", "unit/data/Storage.txt"})
        ExpectAnswers(file, [this](const std::string& given) { return Answer(given); });
}

} // namespace
