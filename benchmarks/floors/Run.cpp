// Run MODE RECORDED PROGRAM: the bare program. It makes the library calls of one agent run on the machine and leaves
// the same rows, device.xml, Config.ini and log lines, as cheaply as they can be had: what the agent works out is read
// from RECORDED, the folder that an agent's run was copied to. Nothing that the agent owes is left out: one agent at a
// time, each registry value its own transaction, whole files in place of old ones, one write for each log line and for
// each text of the console.
#include "Files.h"
#include "Recorded.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <iconv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <vector>
#include <wtypes.h>

extern char** environ;

using namespace benchmarks;

namespace
{

/// The lines of the recorded log behind their time stamps, written with the time of now.
class Log
{
public:
    Log(const std::string& recorded, const std::string& path)
        : m_recorded(ReadWhole(recorded)),
          m_file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666))
    {
    }
    /// Writes the entries up to the first that holds `text`, that one included; all when it is empty.
    void WriteTo(std::string_view text)
    {
        while (m_at < m_recorded.size())
        {
            // An entry ends where the next time stamp begins.
            std::size_t end = m_recorded.find("\r\n[2", m_at);
            end = end == std::string::npos ? m_recorded.size() : end + 2;
            const std::string_view entry(m_recorded.data() + m_at, end - m_at);
            ::timespec now{};
            ::clock_gettime(CLOCK_REALTIME, &now);
            std::tm local{};
            ::localtime_r(&now.tv_sec, &local);
            constexpr std::size_t stampLength = 25;
            char line[8192];
            std::snprintf(
                line, stampLength + 1, "[%4d/%02d/%02d %02d:%02d:%02d.%03d]", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(now.tv_nsec / 1000000));
            const std::size_t length =
                stampLength + entry.copy(line + stampLength, sizeof(line) - stampLength, stampLength);
            if (::write(m_file, line, length) != static_cast<::ssize_t>(length))
                std::abort();
            m_at = end;
            if (!text.empty() && entry.find(text) != std::string_view::npos)
                return;
        }
    }

private:
    std::string m_recorded;
    std::size_t m_at = 0;
    int m_file;
};

std::basic_string<WCHAR> Widened(std::string text)
{
    std::basic_string<WCHAR> wide(text.size() + 1, 0);
    char* from = text.data();
    char* to = reinterpret_cast<char*>(wide.data());
    std::size_t left = text.size();
    std::size_t room = text.size() * sizeof(WCHAR);
    const ::iconv_t converter = ::iconv_open("UTF-16LE", "UTF-8");
    ::iconv(converter, &from, &left, &to, &room);
    ::iconv_close(converter);
    return wide;
}

/// Parses a device list and looks at one element.
std::string Element(const WCHAR* text, const char* name)
{
    std::basic_string_view<WCHAR> view(text);
    ::xmlDoc* document = ::xmlReadMemory(
        reinterpret_cast<const char*>(view.data()), static_cast<int>(view.size() * sizeof(WCHAR)), nullptr, "UTF-16LE",
        0);
    std::string content;
    for (const ::xmlNode* node = ::xmlDocGetRootElement(document)->children->children; node != nullptr;
         node = node->next)
        if (node->children != nullptr && std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0)
            content = reinterpret_cast<const char*>(node->children->content);
    ::xmlFreeDoc(document);
    return content;
}

/// The registry's rows: read once, and written again one by one.
class Rows
{
public:
    /// @param names  in capitals, quoted, with commas between; empty: all
    Rows(const std::string& path, const std::string& names)
    {
        ::sqlite3_open(path.c_str(), &m_database);
        ::sqlite3_busy_timeout(m_database, 10000);
        ::sqlite3_exec(m_database, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);
        std::string text = "SELECT id, data FROM value";
        if (!names.empty()) // stored in 16 bits a character
            text += " WHERE replace(hex(folded), '00', '') IN (SELECT hex(value) FROM json_each(json_array(" + names +
                    ")))";
        ::sqlite3_prepare_v2(m_database, text.c_str(), -1, &m_read, nullptr);
        while (::sqlite3_step(m_read) == SQLITE_ROW)
            m_rows.emplace_back(
                ::sqlite3_column_int64(m_read, 0), std::string(
                                                       static_cast<const char*>(::sqlite3_column_blob(m_read, 1)),
                                                       static_cast<std::size_t>(::sqlite3_column_bytes(m_read, 1))));
        ::sqlite3_finalize(m_read);
    }
    ~Rows() { ::sqlite3_close(m_database); }
    void Write()
    {
        ::sqlite3_stmt* write = nullptr;
        ::sqlite3_prepare_v2(m_database, "UPDATE value SET data=?2 WHERE id=?1", -1, &write, nullptr);
        for (const auto& [id, data] : m_rows)
        {
            ::sqlite3_bind_int64(write, 1, id);
            ::sqlite3_bind_blob(write, 2, data.data(), static_cast<int>(data.size()), SQLITE_STATIC);
            if (::sqlite3_step(write) != SQLITE_DONE)
                std::abort();
            ::sqlite3_reset(write);
        }
        ::sqlite3_finalize(write);
    }

private:
    ::sqlite3* m_database = nullptr;
    ::sqlite3_stmt* m_read = nullptr;
    std::vector<std::pair<std::int64_t, std::string>> m_rows;
};

/// One agent at a time: a locked file with a word in shared memory, removed at the end.
class Guard
{
public:
    explicit Guard(const std::string& folder) : m_path(folder + "/local-{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}")
    {
        const int lock = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
        ::flock(lock, LOCK_EX);
        const int file = ::open(m_path.c_str(), O_RDWR | O_CREAT, 0600);
        refused = ::flock(file, LOCK_EX | LOCK_NB) != 0;
        if (!refused && ::ftruncate(file, 4) != 0)
            std::abort();
        ::flock(file, LOCK_SH | LOCK_NB);
        ::close(lock);
        auto* word = static_cast<int*>(::mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        refused = refused && *word > 1;
        if (!refused)
            *word = ::getpid();
    }
    ~Guard()
    {
        if (!refused)
            ::unlink(m_path.c_str());
    }

    bool refused = false;

private:
    std::string m_path;
};

void WriteConsole(const std::string& recorded)
{
    const int file = ::open(std::getenv("HOSTWINDOWS_DEBUG_CONSOLE"), O_WRONLY | O_APPEND | O_CREAT, 0666);
    ForEachText(recorded, [file](const char* text, std::size_t length) {
        if (::write(file, text, length) != static_cast<::ssize_t>(length))
            std::abort();
    });
    ::close(file);
}

std::uint32_t Answer(const std::uint32_t*, const std::uint32_t*, const WCHAR* const*, const WCHAR* const*)
{
    return 0;
}

} // namespace

int main(int, char** arguments)
{
    const std::string mode = arguments[1];
    const std::string recorded = arguments[2] + std::string("/");
    const std::string program = arguments[3] + std::string("/");
    const std::string machine = std::getenv("HOSTWINDOWS_ROOT");
    const std::string data = machine + "/drive_c/ProgramData/";
    const std::string config = data + "QLScan/Quellon Generic Scan Driver/Config.ini";
    Log log(recorded + "Log.txt", machine + "/drive_c/Users/bench/AppData/Local/ScanKELV/Log.txt");
    ReadWhole(machine + "/drive_c/Users/bench/AppData/Local/ScanKELV/Debug.ini");
    WriteConsole(ReadWhole(recorded + "console.txt"));
    const Guard guard(machine + "/objects");
    if (guard.refused)
    {
        log.WriteTo({});
        return 1;
    }
    if (const std::string settings = program + "ScanKELV.ini"; ::access(settings.c_str(), R_OK) == 0)
        ReadWhole(settings);
    void* library = ::dlopen((program + "FindwellDlg.dll").c_str(), RTLD_NOW | RTLD_LOCAL);
    const auto resolve = [library](const char* name) { return ::dlsym(library, name); };
    for (const char* name :
         {"GetDeviceList", "GetPrinterList", "GetSelectedDevice", "GetDeviceInformation", "GetMultiDeviceInformation",
          "MergeDevicelistXML", "ShowPropertiesUI"})
        resolve(name);
    const auto getDeviceList = reinterpret_cast<GetDeviceList_LCodeFunction*>(resolve("GetDeviceList_LCode"));
    const auto freeDeviceList = reinterpret_cast<FreeDeviceListFunction*>(resolve("FreeDeviceList"));
    const auto query = reinterpret_cast<QueryDeviceAddressFunction*>(resolve("QueryDeviceAddress"));

    if (mode == "single" || mode == "generic")
    {
        Rows rows(machine + "/registry", "");
        ReadWhole(data + "Quellon/ScanKELV/device.xml"); // presets for the values
        log.WriteTo("contentFilterOption");
        std::uint32_t result = 0;
        WCHAR* list = nullptr;
        Handler handler(ReadWhole(recorded + "library.txt"), [](const WCHAR* text) { Element(text, "deviceid"); });
        getDeviceList(0, "en", Widened(ReadWhole(recorded + "Filter.xml")).c_str(), &result, &list, &handler);
        if (Element(list, "deviceid").empty())
            return 1;
        log.WriteTo("triple-quoted");
        char* updater[] = {const_cast<char*>("Hueward.exe"), nullptr};
        ::posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addchdir_np(&actions, program.c_str()); // it writes there
        ::pid_t child = 0;
        ::posix_spawn(&child, (program + "Hueward.exe").c_str(), &actions, nullptr, updater, environ);
        log.WriteTo("Hueward");
        ReplaceWhole(data + "Quellon/ScanKELV/device.xml", ReadWhole(recorded + "device.xml"));
        ::chmod((data + "Quellon/ScanKELV").c_str(), 0777);
        rows.Write();
        if (mode == "generic")
            ReplaceWhole(config, ReadWhole(recorded + "Config.ini"));
        freeDeviceList(&list);
    }
    else if (mode == "online")
    {
        Rows rows(machine + "/registry", "'ADDRESS', 'ADDRESS2', 'MACADDRESS', 'ONLINE', 'CHANGED'");
        query(
            OLESTR("192.0.2.41"), OLESTR("00-00-5E-00-53-41"), &Answer, OLESTR("Quellon Generic Scan Driver"),
            OLESTR("Quellon"));
        rows.Write();
        ReplaceWhole(config, ReadWhole(recorded + "Config.ini"));
    }
    else
        const Rows rows(machine + "/registry", "'UI_MODE'");
    log.WriteTo({});
    ::dlclose(library);
    return 0;
}
