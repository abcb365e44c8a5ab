// The runs of runs.txt, and everything that each of them left behind: the same on every system. A run that behaves
// otherwise than transcript.txt says is shown by the differences, and the transcript as it would be now is written.
#include "Role.h"
#include "Transcript.h"

#include <map>
#include <optional>
#include <regex>
#include <set>
#include <shlobj.h>

namespace
{

using namespace test;

const WCHAR* const twainKeys = OLESTR("Software\\QLScan");
const Wide wiaFolder = OLESTR("C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver");
const Wide wiaStorage = wiaFolder + OLESTR("\\Config.ini");
const Wide deviceXml = OLESTR("C:\\ProgramData\\Quellon\\ScanKELV\\device.xml");

/// The Windows path of what the build made, or of what it is made from.
Wide BuiltPath(std::string path)
{
    std::ranges::replace(path, '/', '\\');
    return ToWide(path.starts_with('\\') ? "Z:" + path : path);
}

Wide UserFile(std::string_view name)
{
    WCHAR folder[MAX_PATH]{};
    EXPECT_EQ(S_OK, ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, folder));
    return Wide(folder) + OLESTR("\\ScanKELV\\") + ToWide(name);
}

void RemoveTraces()
{
    for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        for (const WCHAR* const keys : {twainKeys, OLESTR("Software\\ScanKELVRuns")})
            ::RegDeleteTreeW(hive, keys);
    for (const Wide& file : {wiaStorage, deviceXml, UserFile("Debug.ini"), UserFile("Log.txt")})
    {
        SetReadOnly(file, false);
        ::DeleteFileW(file.c_str());
    }
}

Wide Folder(const Wide& path)
{
    return path.substr(0, path.rfind(OLESTR('\\')));
}

/// The text in the 8-bit code page, in which log and debugger console are.
std::string Narrow(const Wide& text)
{
    char narrow[2048]{};
    ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, narrow, sizeof(narrow), nullptr, nullptr);
    return narrow;
}

void NameSystemMessages(std::string& text)
{
    for (const DWORD code : {0U, 2U, 3U, 5U, 87U, 126U, 127U, 234U})
    {
        char message[1024]{};
        ::FormatMessageA(
            FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, message, sizeof(message),
            nullptr);
        ReplaceAll(text, message, "(message " + std::to_string(code) + ")\r\n");
    }
}

/// The whole list of what may differ from one run to the next, and from one system to another, beside the names.
const struct Normalisation
{
    const char* what;
    std::regex pattern;
    const char* instead;
} normalisations[] = {
    {"white space of serialisation, as the record writes it", std::regex(R"(>(\\[rn])+)"), ">"},
    {"white space of serialisation, before a tag and at the end", std::regex(R"(>[ \t\r\n]+(?=<|$))"), ">"},
    {"white space of serialisation, at a line's end", std::regex(R"(>[ \t\r\n]*\n)"), ">\r\n"},
    {"time stamps", std::regex(R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3})"), "<time>"},
    {"time and thread of the log's lines", std::regex(R"(\[<time>\] (\w+) \{[0-9A-F]+\}: )"), "$1: "},
    {"thread ids", std::regex(R"( \{[0-9A-F]+\}: )"), " {thread}: "},
    {"process ids", std::regex("KELV process Id: [0-9A-F]+"), "KELV process Id: <process>"},
    {"length of a serialised device", std::regex("listText = [0-9]+ ch"), "listText = <count> ch"},
    {"line numbers of the sources", std::regex(R"(\.cpp\(\d+\))"), ".cpp(<line>)"},
    {"when another thread answers", std::regex(R"((\n.*store Query results\r)(\n.*qdc: .*\r))"), "$2$1"},
    {"code of a key's name that is too long", std::regex(R"(\(message 234\))"), "(message 87)"},
    {"lines of a report, which are one here",
     std::regex(R"((Expression  .*  failed!)\r\n(Context: .*)(?:\r\n)? \r\n(.*,)\r\n)"), "$1 $2 in $3 "},
    {"last error of before, in the storages' reports: the registry functions set none",
     std::regex(R"((Context: )\(message \d+\)( in .* scankelv::CrossProductStorage::))"), "$1<last error>$2"},
    {"the types that Windows' own type names stand for", std::regex(R"( \[with [^\]]*\])"), ""},
};

std::string FileText(const Wide& path)
{
    if (!FileExists(path))
        return {};
    const std::string bytes = ReadFileBytes(path);
    return bytes.starts_with("\xFF\xFE") ? "FF FE " + ToUtf8(FromUtf16Bytes(bytes.substr(2))) : bytes;
}

std::string Shortened(const std::string& text, std::size_t lineLength)
{
    std::string lines;
    for (std::size_t at = 0, next = 0; at < text.size(); at = next)
    {
        next = std::min(text.find('\n', at), text.size() - 1) + 1;
        lines += next - at <= lineLength ? text.substr(at, next - at) : text.substr(at, lineLength) + "...\r\n";
    }
    return lines;
}

/// The lines of one run in runs.txt: what stands before the first blank, and what behind it.
using Script = std::vector<std::pair<std::string, std::string>>;

std::vector<Script> Scripts()
{
    std::vector<Script> runs;
    std::map<std::string, Script> machines;
    Script* script = nullptr;
    std::istringstream file(ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\runs.txt")));
    for (std::string line; std::getline(file, line);)
    {
        if (line.empty() || line.starts_with('#'))
            continue;
        std::istringstream words(line);
        std::string word;
        std::string text;
        words >> word >> std::ws;
        std::getline(words, text);
        if (word == "machine")
            script = &machines[text];
        else if (word == "run")
            script = &runs.emplace_back(Script{{word, text}});
        else if (word == "before")
            script->insert(script->end(), machines.at(text).begin(), machines.at(text).end());
        else
            script->emplace_back(word, text);
    }
    return runs;
}

std::string Value(const Script& script, std::string_view word)
{
    const auto line = std::ranges::find(script, word, &Script::value_type::first);
    return line == script.end() ? "" : line->second;
}

/// One run, on a machine that its script prepares.
class ScriptedRun
{
public:
    explicit ScriptedRun(const Script& script) : m_script(script)
    {
        for (const std::string& name : Parts(Value("below")))
        {
            m_folder += OLESTR("\\") + ToWide(name);
            ::CreateDirectoryW(m_folder.c_str(), nullptr);
        }
        m_records = m_folder;
        RemoveTraces();
        for (const char* const file : {PROGRAM_NAME, "FindwellDlg.dll", "Hueward.exe"})
            CopyFileTo(BuiltPath(INSTALLATION) + OLESTR("\\") + ToWide(file), Path(file));
        // As after an earlier run: what an earlier test left of them would make a difference.
        for (const Wide& folder : {Folder(UserFile("Debug.ini")), Folder(wiaFolder), wiaFolder})
            ::CreateDirectoryW(folder.c_str(), nullptr);
        WriteFileBytes(
            UserFile("Debug.ini"), "[Modules]\r\nAgent=2\r\nKELVClient=2\r\nKELVFindwellLibrary=2\r\n"
                                   "[Format]\r\nShowTime=1\r\nShowModule=1\r\nShowThread=1\r\n");
        Do({{"settings", "ProductName=Run Driver; ModelName=Quellon Weir C40 Series"}, {"choice", "accepted"}});
        Do(script);
    }
    ~ScriptedRun()
    {
        for (const char* const variable : {"FINDWELL_RECORD", "HUEWARD_RECORD"})
            SetVariable(variable, "");
        if (m_word != nullptr)
            ::UnmapViewOfFile(m_word);
        if (m_mapping != nullptr)
            ::CloseHandle(m_mapping);
        RemoveTraces();
    }
    ScriptedRun(const ScriptedRun&) = delete;
    ScriptedRun& operator=(const ScriptedRun&) = delete;

    /// What it leaves behind.
    Sections Outcome()
    {
        const std::string arguments = Value("arguments");
        const std::string current = Value("current");
        const ProgramResult result =
            RunProgram(Program(), CommandLine(arguments), current.empty() ? Wide() : Path(current));
        EXPECT_TRUE(result.started);
        if (m_beside)
        {
            WriteFileBytes(Path("go"), "");
            EXPECT_EQ(0U, m_beside->Wait());
        }
        const std::string log = FileText(UserFile("Log.txt"));
        m_sections.push_back(
            {Value("run"), {"ScanKELV " + arguments + ": exit code " + std::to_string(result.exitCode)}});
        Add("debugger console", result.debugConsole);
        Add("library", Record("FindwellDlg.log"));
        Add("updater", UpdaterRecord());
        Add("log", log);
        if (const std::string word = m_word == nullptr ? "" : std::to_string(*m_word); word != Value("word"))
            Add("instance word",
                (log.find("KELV process Id: " + word + "\r\n") != std::string::npos ? "the agent's process id" : word) +
                    "\r\n");
        Add("current user", StoredText(HKEY_CURRENT_USER, twainKeys));
        Add("local machine", StoredText(HKEY_LOCAL_MACHINE, twainKeys));
        Add("Config.ini", FileText(wiaStorage));
        Add("device.xml", FileText(deviceXml));
        return std::move(m_sections);
    }

private:
    std::string Value(std::string_view word) const { return ::Value(m_script, word); }
    Wide Path(std::string_view name) const
    {
        return name.find(':') == std::string_view::npos ? m_folder + OLESTR("\\") + ToWide(name) : ToWide(name);
    }
    Wide Program() const { return ToWide(Value("named")) + Path(PROGRAM_NAME); }
    Wide CommandLine(std::string_view arguments) const
    {
        return OLESTR("\"") + Program() + OLESTR("\" ") + ToWide(arguments);
    }

    /// Of a simulated program.
    std::string Record(const char* name) const
    {
        std::string text = FileText(m_records + OLESTR("\\") + ToWide(name));
        ReplaceAll(text, "\n", "\r\n");
        return text;
    }

    /// A line for each start that the log tells of; the agent does not wait for them.
    std::string UpdaterRecord() const
    {
        const std::string log = FileText(UserFile("Log.txt"));
        const std::regex start("Hueward finished normally");
        const std::ptrdiff_t starts = std::distance(std::sregex_iterator(log.begin(), log.end(), start), {});
        EXPECT_TRUE(Eventually([&] { return std::ranges::count(Record("Hueward.log"), '\n') >= starts; }));
        return Record("Hueward.log");
    }

    void Behave(const std::string& choice, const std::string& call = "none", const std::string& gives = "") const
    {
        WriteFileBytes(
            Path("FindwellDlg.xml"), "<findwell><user><choice>" + choice +
                                         "</choice><event>ADDBTN.onclick</event><event>other</event></user><calls><" +
                                         call + ">" + gives + "</" + call + "></calls>" +
                                         ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\devices.xml")) +
                                         "</findwell>");
    }

    /// Prepares what the lines say; some are for the run itself.
    void Do(const Script& script)
    {
        for (const auto& [word, text] : script)
        {
            const std::vector<std::string> parts = Parts(text);
            const Wide path = Path(parts.empty() ? "" : parts[0]);
            if (word == "settings")
            {
                std::string lines = text;
                ReplaceAll(lines, "; ", "\r\n");
                WriteFileBytes(Path("ScanKELV.ini"), "[Settings]\r\n" + lines + "\r\n");
            }
            else if (word == "choice")
                Behave(text);
            else if (word == "call")
                Behave("accepted", text.substr(0, text.find(' ')), text.substr(text.find(' ') + 1));
            else if (word == "file")
                WriteFileBytes(path, Content(parts));
            else if (word == "copy")
                CopyFileTo(BuiltPath(TEST_LIBRARIES) + OLESTR("\\") + ToWide(parts[1]), path);
            else if (word == "folder")
                ::CreateDirectoryW(path.c_str(), nullptr);
            else if (word == "without")
                ::DeleteFileW(path.c_str());
            else if (word == "read-only")
                SetReadOnly(path, true);
            else if (word == "stored")
                Store(
                    text.starts_with("HKCU") ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, parts[0].substr(5),
                    text.substr(parts[0].size() + 1));
            else if (word == "log")
                WriteFileBytes(UserFile("Debug.ini"), "");
            else if (word == "records")
            {
                m_records = Folder(m_folder);
                SetVariable("FINDWELL_RECORD", ToUtf8(m_records + OLESTR("\\FindwellDlg.log")));
                SetVariable("HUEWARD_RECORD", ToUtf8(m_records + OLESTR("\\Hueward.log")));
            }
            else if (word == "earlier")
                RunEarlier(text);
            else if (word == "word")
                HoldInstanceWord(static_cast<DWORD>(std::stoul(text)));
            else if (word == "beside")
            {
                SetVariable("HOSTWINDOWS_DEBUG_CONSOLE", "/dev/null");
                m_beside.emplace(CommandLine(text), Program());
                EXPECT_TRUE(Eventually([&] {
                    return !Record("FindwellDlg.log").empty() || ::WaitForSingleObject(m_beside->Process(), 0) == 0;
                }));
            }
            else
                EXPECT_TRUE(
                    std::set<std::string>({"run", "arguments", "below", "current", "named", "only"}).contains(word))
                    << word;
        }
    }

    /// Behind the path, pieces of a file; "3*" before one of them repeats it.
    static std::string Content(const std::vector<std::string>& parts)
    {
        std::string content;
        for (auto part = parts.begin() + 1; part < parts.end(); ++part)
        {
            const std::size_t star = part->find('*');
            const std::string piece = Given<std::string>(part->substr(star + 1));
            for (int left = star == std::string::npos ? 1 : std::stoi(*part); left > 0; --left)
                content += piece;
        }
        return content;
    }

    /// What it wrote goes, what it stored stays.
    void RunEarlier(const std::string& arguments) const
    {
        EXPECT_EQ(0U, RunProgram(Program(), CommandLine(arguments)).exitCode);
        UpdaterRecord();
        for (const Wide& file : {UserFile("Log.txt"), Path("FindwellDlg.log"), Path("Hueward.log")})
            EXPECT_TRUE(Eventually([&] { return !FileExists(file) || ::DeleteFileW(file.c_str()) != 0; }));
    }

    /// As another program would.
    void HoldInstanceWord(DWORD value)
    {
        m_mapping = ::CreateFileMappingW(
            INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD),
            OLESTR("{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}"));
        m_word = static_cast<DWORD*>(::MapViewOfFile(m_mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(DWORD)));
        *m_word = value;
    }

    /// A section of this text, its very long lines shortened; nothing for an empty text.
    void Add(std::string_view title, std::string text)
    {
        if (text.empty())
            return;
        for (const auto& [path, name] :
             {std::pair{Program(), "<program>\\ScanKELV"},
              {m_folder, "<program>"},
              {Folder(UserFile("Log.txt")), "<user data>"},
              {ToWide("Büro 3 – 会議室 🖨"), "Büro 3 – 会議室 🖨"},
              {ToWide("Büro 2"), "Büro 2"}})
            for (const std::string& form : {ToUtf8(path), Narrow(path)})
                ReplaceAll(text, form, name);
        NameSystemMessages(text);
        text = Shortened(text, 2500); // a pattern takes stack for each character
        for (const Normalisation& normalisation : normalisations)
            text = std::regex_replace(text, normalisation.pattern, normalisation.instead);
        m_sections.push_back({Value("run"), {std::string(title) + ":"}});
        std::istringstream stream(Shortened(text, 2000));
        for (std::string line; std::getline(stream, line);)
        {
            if (line.ends_with('\r'))
                line.pop_back();
            else
                line += stream.eof() ? "<no line end>" : "<lf>";
            m_sections.back().lines.push_back("  " + (m_filterTexts.contains(line) ? "<the filter text>" : line));
            if (const std::size_t at = line.find("filterText = "); at != std::string::npos)
                m_filterTexts.insert(line.substr(at + 13));
        }
    }

    const Script& m_script;
    const TemporaryFolder m_temporary;
    Wide m_folder = m_temporary.Path();
    Wide m_records; // where the simulated programs write theirs
    std::optional<Child> m_beside;
    HANDLE m_mapping = nullptr;
    DWORD* m_word = nullptr;
    std::set<std::string> m_filterTexts; // that the library was given: the log holds them again
    Sections m_sections;
};

TEST(ScriptedRuns, LeaveTheSameOnEverySystem)
{
    Sections expected = ReadSections(ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\transcript.txt")));
    Sections found;
    for (const Script& script : Scripts())
    {
        SCOPED_TRACE(Value(script, "run"));
        if (const std::string only = Value(script, "only"); only.empty() || (only == "Wine") == OnWine())
            std::ranges::move(ScriptedRun(script).Outcome(), std::back_inserter(found));
        else
            std::ranges::copy_if(expected, std::back_inserter(found), [&](const Section& section) {
                return section.run == Value(script, "run");
            });
    }
    for (const Section& section : found)
    {
        const auto place = Found(expected, section.run, section.lines[0]);
        const Lines before = place == expected.end() ? Lines() : place->lines;
        if (before != section.lines)
            ADD_FAILURE() << section.run << ": " << Differences(before, section.lines);
        if (place != expected.end())
            expected.erase(place);
    }
    for (const Section& section : expected)
        ADD_FAILURE() << section.run << ": " << Differences(section.lines, {});
    if (HasFailure())
    {
        const Wide written = BuiltPath(TEST_LIBRARIES) + OLESTR("\\transcript.txt");
        WriteFileBytes(written, Written(found));
        ADD_FAILURE() << "tests/runs/transcript.txt as it is now: " << ToUtf8(written);
    }
}

} // namespace
