// The runs of runs.txt, and everything that each of them left behind: the same on every system. A run that behaves
// otherwise than transcript.txt says is shown by the differences, and the transcript as it would be now is written.
#include "Differences.h"
#include "Installation.h"

#include <map>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

namespace
{

using namespace test;

const std::string driverKey = "Software\\QLScan\\Run Driver";

template <char connectionType>
void StoreDevice(const Installation&)
{
    Store(
        HKEY_CURRENT_USER, driverKey,
        std::string("Address=192.0.2.1|MACAddress=00-00-5E-00-53-01|UI_Mode=#1|Online=#7|ConnectionType=#") +
            connectionType);
}

void StoreRecords(const Installation&)
{
    const std::string both = "MDL=Weir C40|MFG=Quellon|ConnectionType=#1|", key = ToUtf8(recordKeys) + "\\Printer00";
    Store(HKEY_LOCAL_MACHINE, key + "0", both + "Address=192.0.2.1|IPv6=#0|Default=#0");
    Store(HKEY_LOCAL_MACHINE, key + "1", both + "Address=2001:db8::1|IPv6=#1|Default=#1");
}

void RunBefore(const Installation& installation)
{
    EXPECT_EQ(0U, installation.Run().exitCode);
    installation.UpdaterRecord(1);
    for (const Wide& record : {installation.LogFile(), installation.File("FindwellDlg.log")})
        ::DeleteFileW(record.c_str());
    EXPECT_TRUE(Eventually([&] { return ::DeleteFileW(installation.File("Hueward.log").c_str()) != 0; }));
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
    {"a Config.ini of others",
     [](const Installation&) {
         WriteFileBytes(wiaStorage, "[Scan]\r\nMode=2\r\n[IO]\r\nTimeout=9\r\naddress=old\r\n");
     }},
    {"a stored device", &StoreDevice<'1'>},
    {"a stored local device", &StoreDevice<'0'>},
    {"a mode for all users", [](const Installation&) { Store(HKEY_LOCAL_MACHINE, driverKey, "UI_Mode=#7"); }},
    {"records", &StoreRecords},
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

void NameSystemMessages(std::string& text)
{
    for (const DWORD code : {0U, 2U, 3U, 5U, 87U, 126U, 127U, 234U})
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
    {"time and thread of the log's lines", std::regex(R"(\[<time>\] (\w+) \{[0-9A-F]+\}: )"), "$1: "},
    {"thread ids", std::regex(R"( \{[0-9A-F]+\}: )"), " {thread}: "},
    {"process ids", std::regex("KELV process Id: [0-9A-F]+"), "KELV process Id: <process>"},
    {"length of a serialised device", std::regex("listText = [0-9]+ ch"), "listText = <count> ch"},
    {"line numbers of the sources", std::regex(R"(\.cpp\(\d+\))"), ".cpp(<line>)"},
    {"when another thread answers", std::regex(R"((\n.*store Query results\r)(\n.*qdc: .*\r))"), "$2$1"},
    {"wording of the system's messages", {}, nullptr, &NameSystemMessages},
    {"code of a key's name that is too long", std::regex("<message 234>"), "<message 87>"},
    {"lines of a report, which are one here",
     std::regex(R"((Expression  .*  failed!)\r\n(Context: .*)(?:\r\n)? \r\n(.*,)\r\n)"), "$1 $2 in $3 "},
    {"last error of before, in the storages' reports: the registry functions set none",
     std::regex(R"((Context: )<message \d+>( in .* scankelv::CrossProductStorage::))"), "$1<last error>$2"},
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
        m_lines.push_back(std::string(title) + ":");
        std::istringstream stream(Shortened(text, 2000));
        for (std::string line; std::getline(stream, line);)
        {
            if (line.ends_with('\r'))
                line.pop_back();
            else
                line += stream.eof() ? "<no line end>" : "<lf>";
            m_lines.push_back("  " + (m_filterTexts.contains(line) ? "<the filter text>" : line));
            if (const std::size_t at = line.find("filterText = "); at != std::string::npos)
                m_filterTexts.insert(line.substr(at + 13));
        }
    }
    const Lines& Text() const { return m_lines; }

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
    std::set<std::string> m_filterTexts; // that the library was given: the log holds them again
    Lines m_lines;
};

std::string FileText(const Wide& path)
{
    if (!FileExists(path))
        return {};
    const std::string bytes = ReadFileBytes(path);
    if (!bytes.starts_with("\xFF\xFE"))
        return bytes;
    return "FF FE " + ToUtf8(FromUtf16Bytes(bytes.substr(2)));
}

/// Of what the simulated programs write.
std::string RecordText(std::string text)
{
    ReplaceAll(text, "\n", "\r\n");
    return text;
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

/// What one run left behind.
struct Block
{
    std::string name, outcome;
    Lines lines;
};

Block BlockOf(const ScriptedRun& run)
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
    if (std::string settings = given("settings", "ProductName=Run Driver; ModelName=Quellon Weir C40 Series");
        settings != "none")
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
    transcript.Add("current user", StoredText(HKEY_CURRENT_USER, twainKeys));
    transcript.Add("local machine", StoredText(HKEY_LOCAL_MACHINE, twainKeys));
    transcript.Add("Config.ini", FileText(wiaStorage));
    transcript.Add("device.xml", FileText(deviceXml));
    return {
        given("run"), "ScanKELV " + given("arguments") + ": exit code " + std::to_string(result.exitCode),
        transcript.Text()};
}

const std::string asAnother = "as \"";

/// The blocks of transcript.txt, each whole.
std::vector<Block> ReadBlocks()
{
    std::vector<Block> blocks;
    std::istringstream file(ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\transcript.txt")));
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("==== "))
            blocks.push_back({line.substr(5), {}, {}});
        else if (blocks.back().outcome.empty())
            blocks.back().outcome = line;
        else if (!line.empty())
            blocks.back().lines.push_back(line);
    for (auto block = blocks.begin(); block != blocks.end(); ++block)
    {
        const std::string like = block->lines.empty() ? "" : block->lines[0];
        const auto base = std::find_if(
            blocks.begin(), block, [&](const Block& other) { return like.starts_with(asAnother + other.name + "\""); });
        if (base != block)
            block->lines = Applied(base->lines, {block->lines.begin() + 1, block->lines.end()});
    }
    return blocks;
}

/// The blocks as transcript.txt has them: each as the earlier one that it is most like, where that is shorter.
std::string Written(const std::vector<Block>& blocks)
{
    std::string text;
    for (auto block = blocks.begin(); block != blocks.end(); ++block)
    {
        Lines shortest = block->lines;
        for (auto base = blocks.begin(); base != block; ++base)
            if (Lines differences = DifferencesOf(base->lines, block->lines); differences.size() + 1 < shortest.size())
            {
                differences.insert(
                    differences.begin(), asAnother + base->name + (differences.empty() ? "\"" : "\", but:"));
                shortest = std::move(differences);
            }
        text += "==== " + block->name + "\n" + block->outcome + "\n";
        for (const std::string& line : shortest)
            text += line + "\n";
        text += "\n";
    }
    return text;
}

TEST(ScriptedRuns, LeaveTheSameOnEverySystem)
{
    std::vector<Block> blocks;
    for (const ScriptedRun& run : ScriptedRuns())
        blocks.push_back(BlockOf(run));
    const std::vector<Block> expected = ReadBlocks();
    EXPECT_EQ(expected.size(), blocks.size());
    const Wide written = BuiltPath(TEST_LIBRARIES) + OLESTR("\\transcript.txt");
    for (const Block& block : blocks)
    {
        const auto found = std::ranges::find(expected, block.name, &Block::name);
        const Block before = found == expected.end() ? Block{} : *found;
        EXPECT_EQ(before.outcome, block.outcome) << block.name;
        std::string differences;
        for (const std::string& line : DifferencesOf(before.lines, block.lines))
            differences += line + "\n";
        if (!differences.empty())
            ADD_FAILURE() << '"' << block.name
                          << "\" differs from tests/runs/transcript.txt; as it is now: " << ToUtf8(written) << "\n"
                          << differences;
    }
    if (HasFailure())
        WriteFileBytes(written, Written(blocks));
}

} // namespace
