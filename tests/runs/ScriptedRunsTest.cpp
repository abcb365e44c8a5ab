// The runs of runs.txt, and everything that each of them left behind, as one text: the same text on every system.
#include "Installation.h"

#include <map>
#include <optional>
#include <regex>
#include <sstream>

namespace
{

using namespace test;

const Wide driverKey = OLESTR("Software\\QLScan\\Run Driver");

void Store(HKEY hive, const Wide& path, const WCHAR* name, DWORD type, const void* value, std::size_t bytes)
{
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(hive, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    EXPECT_EQ(
        ERROR_SUCCESS,
        ::RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(value), static_cast<DWORD>(bytes)));
    ::RegCloseKey(key);
}

void StoreText(HKEY hive, const Wide& path, const WCHAR* name, const Wide& text)
{
    Store(hive, path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
}

void StoreNumber(HKEY hive, const Wide& path, const WCHAR* name, DWORD number)
{
    Store(hive, path, name, REG_DWORD, &number, sizeof(number));
}

template <DWORD connectionType>
void StoreDevice(const Installation&)
{
    StoreText(HKEY_CURRENT_USER, driverKey, OLESTR("Address"), OLESTR("192.0.2.1"));
    StoreText(HKEY_CURRENT_USER, driverKey, OLESTR("MACAddress"), OLESTR("00-00-5E-00-53-01"));
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("ConnectionType"), connectionType);
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("UI_Mode"), 1);
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("Online"), 7);
}

void StoreRecords(const Installation&)
{
    for (const DWORD second : {0U, 1U})
    {
        const Wide path = Wide(recordKeys) + (second != 0 ? OLESTR("\\Printer001") : OLESTR("\\Printer000"));
        const auto* const address = second != 0 ? OLESTR("2001:db8::1") : OLESTR("192.0.2.1");
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("Address"), address);
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MDL"), OLESTR("Weir C40"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MFG"), OLESTR("Quellon"));
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("ConnectionType"), 1);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("IPv6"), second);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("Default"), second);
    }
}

void RunBefore(const Installation& installation)
{
    EXPECT_EQ(0U, installation.Run().exitCode);
    installation.UpdaterRecord(1); // the next one's line comes behind it
}

/// The library's head says that it is for processors of another word size.
void OtherWordSize(const Installation& installation)
{
    std::string bytes = ReadFileBytes(installation.File("FindwellDlg.dll"));
    const bool isElf = bytes.starts_with("\x7F"
                                         "ELF");
    const std::size_t at = isElf ? 4 : static_cast<unsigned char>(bytes[0x3C]) + 4U;
    if (isElf)
        bytes[at] = 1;
    else
        bytes.replace(at, 2, bytes.substr(at, 2) == "\x64\x86" ? "\x4C\x01" : "\x64\x86");
    WriteFileBytes(installation.File("FindwellDlg.dll"), bytes);
}

std::string Repeated(std::string_view text, std::size_t bytes)
{
    std::string all;
    while (all.size() < bytes)
        all += text;
    return all;
}

const std::map<std::string_view, void (*)(const Installation&)> preparations{
    {"a run", &RunBefore},
    {"a run, Config.ini read-only",
     [](const Installation& installation) {
         RunBefore(installation);
         SetReadOnly(wiaStorage, true);
     }},
    {"a stored device", &StoreDevice<1>},
    {"a stored local device", &StoreDevice<0>},
    {"a mode for all users",
     [](const Installation&) { StoreNumber(HKEY_LOCAL_MACHINE, driverKey, OLESTR("UI_Mode"), 7); }},
    {"records", &StoreRecords},
    {"a library of the other word size", &OtherWordSize},
    {"a broken library",
     [](const Installation& installation) { WriteFileBytes(installation.File("FindwellDlg.dll"), "MZ"); }},
    {"a nested answer",
     [](const Installation& installation) {
         WriteFileBytes(installation.File("answer"), Repeated("<n>", 300000) + Repeated("</n>", 400000));
     }},
    {"an answer of 50 MB, no log",
     [](const Installation& installation) {
         WriteFileBytes(installation.File("answer"), "<r>" + Repeated("<e>ab</e>\n", 50U << 20) + "</r>");
         WriteFileBytes(installation.DebugIni(), "");
     }},
    {"lone surrogates, no log",
     [](const Installation& installation) {
         const std::string head = "\xFF\xFE" + Utf16Bytes(OLESTR("<iotype>"));
         WriteFileBytes(installation.File("answer"), head + "\x01\xD8\x01\xD8" + Utf16Bytes(OLESTR("</iotype>")));
         WriteFileBytes(installation.DebugIni(), "");
     }},
    {"a folder for settings",
     [](const Installation& installation) { ::CreateDirectoryW(installation.File("ScanKELV.ini").c_str(), nullptr); }},
    {"settings of 10 MB",
     [](const Installation& installation) {
         installation.Settings(Repeated("; a line that nobody reads\r\n", 10U << 20) + "ProductName=D\r\nModelName=x");
     }},
    {"empty settings", [](const Installation& installation) { WriteFileBytes(installation.File("ScanKELV.ini"), ""); }},
    {"binary settings",
     [](const Installation& installation) {
         WriteFileBytes(installation.File("ScanKELV.ini"), Repeated(std::string_view("[\0\xFF=\n\x1A", 6), 6000));
     }},
};

/// The instance word, held by this process as another program would.
class InstanceWord
{
public:
    explicit InstanceWord(DWORD value)
        : m_mapping(::CreateFileMappingW(
              INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD),
              OLESTR("{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}"))),
          m_word(static_cast<DWORD*>(::MapViewOfFile(m_mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(DWORD))))
    {
        *m_word = value;
    }
    ~InstanceWord()
    {
        ::UnmapViewOfFile(m_word);
        ::CloseHandle(m_mapping);
    }
    InstanceWord(const InstanceWord&) = delete;
    InstanceWord& operator=(const InstanceWord&) = delete;
    DWORD Value() const { return *m_word; }

private:
    HANDLE m_mapping;
    DWORD* m_word;
};

void ReplaceAll(std::string& text, std::string_view part, std::string_view instead)
{
    for (std::size_t at = 0; !part.empty() && (at = text.find(part, at)) != std::string::npos; at += instead.size())
        text.replace(at, part.size(), instead);
}

void NameSystemMessages(std::string& text)
{
    for (const DWORD code : {0U, 2U, 3U, 5U, 87U, 126U, 127U, 193U, 234U})
    {
        char message[1024]{};
        ::FormatMessageA(
            FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, message, sizeof(message),
            nullptr);
        ReplaceAll(text, message, "<message " + std::to_string(code) + ">\r\n");
    }
}

void ReadCodePage(std::string& text)
{
    for (const char* const location : {"Büro 3 – 会議室 🖨", "Büro 2"})
    {
        char narrow[256]{};
        ::WideCharToMultiByte(CP_ACP, 0, ToWide(location).c_str(), -1, narrow, sizeof(narrow), nullptr, nullptr);
        ReplaceAll(text, narrow, location);
    }
}

/// The whole list of what may differ from one run to the next, and from one system to another.
const struct Normalisation
{
    const char* what;
    std::regex pattern;
    const char* instead;
    void (*apply)(std::string& text) = nullptr; // in the pattern's place
} normalisations[] = {
    {"white space of serialisation, as the record writes it", std::regex(R"(>(\\[rn])+)"), ">"},
    {"white space of serialisation, before a tag and at the end", std::regex(R"(>[ \t\r\n]+(?=<|$))"), ">"},
    {"white space of serialisation, at a line's end", std::regex(R"(>[ \t\r\n]*\n)"), ">\r\n"},
    {"time stamps", std::regex(R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3})"), "<time>"},
    {"thread ids", std::regex(R"( \{[0-9A-F]+\}: )"), " {thread}: "},
    {"process ids", std::regex("KELV process Id: [0-9A-F]+"), "KELV process Id: <process>"},
    {"length of a serialised device", std::regex("listText = [0-9]+ ch"), "listText = <count> ch"},
    {"line numbers of the sources", std::regex(R"(\.cpp\(\d+\))"), ".cpp(<line>)"},
    {"when another thread answers", std::regex(R"((\n.*store Query results\r)(\n.*qdc: .*\r))"), "$2$1"},
    {"wording of the system's messages", {}, nullptr, &NameSystemMessages},
    {"code of a key's name that is too long", std::regex("<message 234>"), "<message 87>"},
    {"last error of before, in the storages' reports: the registry functions set none",
     std::regex(R"((Context: )<message \d+>(.*\r\n.*\r\n.* scankelv::CrossProductStorage::))"), "$1<last error>$2"},
    {"8-bit code page of log and debugger console", {}, nullptr, &ReadCodePage},
    {"the types that Windows' own type names stand for", std::regex(R"( \[with [^\]]*\])"), ""},
};

/// What one run left behind; besides the normalisations, its folders have names.
class Transcript
{
public:
    explicit Transcript(const Installation& installation)
    {
        m_paths.emplace_back(ToUtf8(installation.Program()), "<program>\\ScanKELV");
        for (const auto& [file, name] :
             {std::pair{installation.File("x"), "<program>"}, {installation.LogFile(), "<user data>"}})
            m_paths.emplace_back(ToUtf8(file.substr(0, file.rfind(OLESTR('\\')))), name);
    }

    /// A titled text, each of its lines behind two blanks, and a very long one shortened; nothing for an empty text.
    void Add(std::string_view title, std::string text)
    {
        if (text.empty())
            return;
        for (const auto& [path, name] : m_paths)
            ReplaceAll(text, path, name);
        text = Shortened(text, 2500); // a pattern takes stack for each character
        for (const Normalisation& normalisation : normalisations)
            if (normalisation.apply != nullptr)
                normalisation.apply(text);
            else
                text = std::regex_replace(text, normalisation.pattern, normalisation.instead);
        m_text.append(title).append(":\n");
        std::istringstream stream(Shortened(text, 2000));
        for (std::string line; std::getline(stream, line);)
        {
            if (line.ends_with('\r'))
                line.pop_back();
            else
                line += stream.eof() ? "<no line end>" : "<lf>";
            m_text += "  " + line + "\n";
        }
    }
    const std::string& Text() const { return m_text; }

private:
    static std::string Shortened(const std::string& text, std::size_t lineLength)
    {
        std::string lines;
        for (std::size_t at = 0, next = 0; at < text.size(); at = next)
        {
            next = std::min(text.find('\n', at), text.size() - 1) + 1;
            lines += next - at <= lineLength ? text.substr(at, next - at) : text.substr(at, lineLength) + "...\r\n";
        }
        return lines;
    }

    std::vector<std::pair<std::string, std::string>> m_paths;
    std::string m_text;
};

std::string FileText(const Wide& path)
{
    if (!FileExists(path))
        return {};
    const std::string bytes = ReadFileBytes(path);
    if (!bytes.starts_with("\xFF\xFE"))
        return bytes;
    Wide units;
    for (std::size_t at = 2; at + 1 < bytes.size(); at += 2)
        units += static_cast<WCHAR>(
            static_cast<unsigned char>(bytes[at]) | (static_cast<unsigned char>(bytes[at + 1]) << 8));
    return "FF FE " + ToUtf8(units);
}

/// Of what the simulated programs write.
std::string RecordText(std::string text)
{
    ReplaceAll(text, "\n", "\r\n");
    return text;
}

/// Every value below the key: its path, type and bytes; texts as such when their bytes are those of a sound text.
std::string KeyText(HKEY parent, const Wide& path)
{
    HKEY key = nullptr;
    if (::RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return {};
    std::map<std::string, std::string> values;
    std::vector<WCHAR> name(16384);
    std::vector<BYTE> data(65536);
    for (DWORD index = 0;; ++index)
    {
        auto length = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        if (::RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &size) != ERROR_SUCCESS)
            break;
        Wide units;
        for (DWORD at = 0; at + 1 < size; at += 2)
            units += static_cast<WCHAR>(data[at] | (data[at + 1] << 8));
        std::ostringstream shown;
        shown << type << std::hex << std::uppercase << ' ';
        if (type == REG_SZ && size % 2 == 0 && units.find(OLESTR('\0')) + 1 == units.size())
            shown << '\'' << ToUtf8({units.data(), units.size() - 1}) << '\'';
        else
            for (DWORD at = 0; at < size; ++at)
                shown << (data[at] >> 4) << (data[at] & 0xF);
        values[ToUtf8({name.data(), length})] = shown.str();
    }
    std::string result;
    for (const auto& [valueName, value] : values)
        result += ToUtf8(path) + ": " + valueName + " = " + value + "\r\n";
    for (DWORD index = 0;; ++index)
    {
        auto length = static_cast<DWORD>(name.size());
        if (::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        result += KeyText(parent, path + OLESTR("\\") + Wide(name.data(), length));
    }
    ::RegCloseKey(key);
    return result;
}

/// The lines of one run in runs.txt: what stands before the first blank, and what behind it.
using ScriptedRun = std::map<std::string, std::string>;

std::vector<ScriptedRun> ScriptedRuns()
{
    std::vector<ScriptedRun> runs;
    std::istringstream script(ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\runs.txt")));
    for (std::string line; std::getline(script, line);)
    {
        const std::size_t blank = line.find(' ');
        if (line.starts_with("run "))
            runs.emplace_back();
        if (!line.empty() && !line.starts_with('#'))
            runs.back()[line.substr(0, blank)] = line.substr(blank + 1);
    }
    return runs;
}

std::string TranscriptOf(const ScriptedRun& run)
{
    const auto given = [&](const char* what, const char* otherwise = "") {
        const auto found = run.find(what);
        return found == run.end() ? std::string(otherwise) : found->second;
    };
    SCOPED_TRACE(given("run"));
    const Installation installation;
    WriteFileBytes(
        installation.DebugIni(), "[Modules]\r\nAgent=2\r\nKELVClient=2\r\nKELVFindwellLibrary=2\r\n"
                                 "[Format]\r\nShowTime=1\r\nShowModule=1\r\nShowThread=1\r\n");
    // As after an earlier run: what an earlier test left of them would make a difference.
    for (const WCHAR* const folder :
         {OLESTR("C:\\ProgramData\\QLScan"), OLESTR("C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver")})
        ::CreateDirectoryW(folder, nullptr);
    if (std::string settings = given("settings"); !settings.empty())
    {
        ReplaceAll(settings, "; ", "\r\n");
        installation.Settings(settings);
    }
    if (run.contains("before"))
        preparations.at(given("before"))(installation);
    if (run.contains("library"))
        ::DeleteFileW(installation.File("FindwellDlg.dll").c_str());
    if (given("library", "none") != "none")
        CopyFileTo(
            BuiltPath(TEST_LIBRARIES) + OLESTR("\\") + ToWide(given("library")), installation.File("FindwellDlg.dll"));
    const std::string call = given("call", "none ");
    installation.Behave(given("choice", "accepted"), call.substr(0, call.find(' ')), call.substr(call.find(' ') + 1));
    std::optional<InstanceWord> word;
    if (run.contains("word"))
        word.emplace(static_cast<DWORD>(std::stoul(given("word"))));

    const ProgramResult result = installation.Run(given("arguments"));

    EXPECT_TRUE(result.started);
    const std::string log = FileText(installation.LogFile());
    std::ptrdiff_t starts = 0;
    for (std::size_t at = 0; (at = log.find("Hueward finished normally.", at)) != std::string::npos; ++at)
        ++starts;

    Transcript transcript(installation);
    transcript.Add("debugger console", result.debugConsole);
    transcript.Add("library", RecordText(installation.Asked()));
    transcript.Add("updater", RecordText(installation.UpdaterRecord(starts)));
    transcript.Add("log", log);
    if (word && std::to_string(word->Value()) != given("word"))
        transcript.Add(
            "instance word", log.find("KELV process Id: " + std::to_string(word->Value()) + "\r\n") != std::string::npos
                                 ? "the agent's process id"
                                 : std::to_string(word->Value()));
    transcript.Add("current user", KeyText(HKEY_CURRENT_USER, twainKeys));
    transcript.Add("local machine", KeyText(HKEY_LOCAL_MACHINE, twainKeys));
    transcript.Add("Config.ini", FileText(wiaStorage));
    transcript.Add("device.xml", FileText(deviceXml));
    return "==== " + given("run") + ": ScanKELV " + given("arguments") + "\nexit code " +
           std::to_string(result.exitCode) + "\n" + transcript.Text() + "\n";
}

TEST(ScriptedRuns, LeaveTheSameOnEverySystem)
{
    std::string transcript;
    for (const ScriptedRun& run : ScriptedRuns())
        transcript += TranscriptOf(run);
    const std::string expected = ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\transcript.txt"));
    if (transcript == expected)
        return;
    const Wide actual = BuiltPath(TEST_LIBRARIES) + OLESTR("\\transcript.txt");
    WriteFileBytes(actual, transcript);
    const auto difference = std::ranges::mismatch(transcript, expected);
    const auto at = static_cast<std::size_t>(difference.in1 - transcript.begin());
    const std::size_t line = at == 0 ? 0 : transcript.rfind('\n', at - 1) + 1;
    ADD_FAILURE() << "differs from tests/runs/transcript.txt; compare " << ToUtf8(actual)
                  << "\nhere:     " << transcript.substr(line, at - line + 100)
                  << "\nexpected: " << expected.substr(line, at - line + 100);
}

} // namespace
