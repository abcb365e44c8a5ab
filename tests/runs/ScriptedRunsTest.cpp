// One list of runs, and everything each of them left behind, as one text: the same text on every system.
#include "Installation.h"
#include "InstanceWord.h"

#include <map>
#include <optional>

namespace
{

using namespace test;

const char* const library = "FindwellDlg.dll";
const char* const singleModel = "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series";
const char* const withProperties =
    "ProductName=Run Driver\r\nModelName=Quellon Weir C40 Series\r\nPropertiesUI=1\r\nLanguageCode=fr";
const char* const withSuift = "ProductName=Run Driver\r\nProductId=0\r\nMode=1\r\nSUIFT=1";
const Wide driverKey = OLESTR("Software\\QLScan\\Run Driver");

using Preparation = void (*)(const Installation&);

void StoredDevice(const Installation&)
{
    StoreText(HKEY_CURRENT_USER, driverKey, OLESTR("Address"), OLESTR("192.0.2.1"));
    StoreText(HKEY_CURRENT_USER, driverKey, OLESTR("MACAddress"), OLESTR("00-00-5E-00-53-01"));
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("ConnectionType"), 1);
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("UI_Mode"), 1);
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("Online"), 7);
}

void StoredLocalDevice(const Installation& installation)
{
    StoredDevice(installation);
    StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("ConnectionType"), 0);
}

void Records(const Installation&)
{
    const struct
    {
        const WCHAR* number;
        const WCHAR* address;
        DWORD isDefault;
    } records[] = {{OLESTR("000"), OLESTR("192.0.2.1"), 0}, {OLESTR("001"), OLESTR("2001:db8::1"), 1}};
    for (const auto& [number, address, isDefault] : records)
    {
        const Wide path = Wide(recordKeys) + OLESTR("\\Printer") + number;
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("Address"), address);
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MDL"), OLESTR("Weir C40"));
        StoreText(HKEY_LOCAL_MACHINE, path, OLESTR("MFG"), OLESTR("Quellon"));
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("ConnectionType"), 1);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("IPv6"), isDefault);
        StoreNumber(HKEY_LOCAL_MACHINE, path, OLESTR("Default"), isDefault);
    }
}

void EarlierRun(const Installation& installation)
{
    EXPECT_EQ(0U, installation.Run().exitCode);
    installation.Behave("name Brook");
}

/// The library's head says that it is for processors of another word size.
void OtherWordSize(const Installation& installation)
{
    std::string bytes = ReadFileBytes(installation.File(library));
    const bool isElf = bytes.starts_with("\x7F"
                                         "ELF");
    const std::size_t at = isElf ? 4 : static_cast<unsigned char>(bytes[0x3C]) + 4U;
    if (isElf)
        bytes[at] = 1;
    else
        bytes.replace(at, 2, bytes.substr(at, 2) == "\x64\x86" ? "\x4C\x01" : "\x64\x86");
    WriteFileBytes(installation.File(library), bytes);
}

struct ScriptedRun
{
    const char* name;
    const char* settings; // null: no ScanKELV.ini
    const char* arguments = "";
    const char* choice = "accepted"; // of the search library's user
    const char* call = "c";
    const char* gives = ""; // this call of the library
    const char* libraryFile = library;
    Preparation prepare = nullptr;
    int instanceWord = -1; // as another program holds it; -1: nobody
};

const ScriptedRun runs[] = {
    {"dialog of the generic driver", nullptr, "/L de"},
    {"dialog of the generic driver, a device stored before", nullptr, "", "accepted", "c", "", library, &EarlierRun},
    {"dialog for one model", "ProductName=Run Driver\r\nModelName=Quellon Brooklet 130 Series MFP"},
    {"dialog for one vendor and product id", "ProductName=Run Driver\r\nModelName=x\r\nVendorId=f1d\r\nProductId=130"},
    {"dialog of the smallest library", nullptr, "", "", "c", "", "Smallest.dll"},
    {"dialog cancelled", singleModel, "", "cancel"},
    {"dialog failed", singleModel, "", "accepted", "GetDeviceList_LCode", "<return>2</return>"},
    {"dialog skipped", withSuift, "", "", "c", "", library, &StoredDevice},
    {"hidden UI", withProperties, "/H 127.0.0.1", "name Weir"},
    {"hidden UI, other device", singleModel, "/H 127.0.0.1", "name Brook"},
    {"hidden UI failed", singleModel, "/H x", "accepted", "GetDeviceInformation", "<return>1</return>"},
    {"hidden UI, answer not read", singleModel, "/H x", "", "GetDeviceInformation", "<answer>&lt;d&gt;</answer>"},
    {"properties", withProperties, "/PROP", "", "ShowPropertiesUI",
     "<answer>&lt;devicelist&gt;&lt;device&gt;&lt;iotype&gt;Network&lt;/iotype&gt;&lt;devicepath&gt;192.0.2.5"
     "&lt;/devicepath&gt;&lt;location&gt;1&lt;/location&gt;&lt;userlocation&gt;Büro 2&lt;/userlocation&gt;"
     "&lt;/device&gt;&lt;/devicelist&gt;</answer>",
     library, &StoredDevice},
    {"properties failed", withProperties, "/PROP", "", "ShowPropertiesUI", "<return>3</return>"},
    {"properties not permitted", singleModel, "/PROP", "cancel"},
    {"merge", singleModel, "/More Software\\ScanKELVRuns", "", "c", "", library, &Records},
    {"merge failed", singleModel, "/More Software\\ScanKELVRuns", "", "MergeDevicelistXML", "<return>0</return>",
     library, &Records},
    {"merge not offered", singleModel, "/devicelist Software\\ScanKELVRuns", "", "c", "", "RequiredOnly.dll", &Records},
    {"device list", singleModel, "/devicelist Software\\ScanKELVRuns", "", "c", "", library, &Records},
    {"device list without records", singleModel, "/devicelist Software\\ScanKELVRuns"},
    {"online, changed", singleModel, "/Q", "", "QueryDeviceAddress",
     "<thread>own</thread><delay>500</delay><change>1</change><address>192.0.2.77</address><macaddress>M2</macaddress>",
     library, &StoredDevice},
    {"online, unchanged", singleModel, "/Q", "", "QueryDeviceAddress", "<change>2</change>", library, &StoredDevice},
    {"online, local device", singleModel, "/Q", "", "QueryDeviceAddress", "<address>USB9</address>", library,
     &StoredLocalDevice},
    {"online of the generic driver", nullptr, "/Q", "", "QueryDeviceAddress", "<address>192.0.2.77</address>", library,
     &EarlierRun},
    {"not online", singleModel, "/Q", "", "QueryDeviceAddress", "<status>3</status><change>1</change>", library,
     &StoredDevice},
    {"online testing failed", singleModel, "/Q", "", "QueryDeviceAddress", "<return>1</return>", library,
     &StoredDevice},
    {"online testing without a device", singleModel, "/Q"},
    {"online testing not offered", singleModel, "/Q", "", "c", "", "RequiredOnly.dll"},
    {"no library", singleModel, "", "", "c", "", ""},
    {"library without a required function", singleModel, "", "", "c", "", "WithoutGetPrinterList.dll"},
    {"library of the other word size", singleModel, "", "", "c", "", library, &OtherWordSize},
    {"settings without a product", "ModelName=x"},
    {"settings without model and product id", "ProductName=D\r\nMode=1"},
    {"one model without its name", "ProductName=D\r\nProductId=1"},
    {"uninstall under way", singleModel, "", "", "c", "", library, nullptr, 0},
    {"agent may run", singleModel, "", "cancel", "c", "", library, nullptr, 1},
    {"another agent runs", singleModel, "", "", "c", "", library, nullptr, 2},
};

/// The length of the pattern's match at the beginning of the text, 0 for none: # is a digit, * any hexadecimal digits.
std::size_t MatchLength(std::string_view text, std::string_view pattern)
{
    const auto isOneOf = [&](std::size_t at, std::string_view digits) {
        return at < text.size() && digits.find(text[at]) != digits.npos;
    };
    std::size_t at = 0;
    for (const char wanted : pattern)
    {
        if (wanted == '*')
            while (isOneOf(at, "0123456789ABCDEF"))
                ++at;
        else if (isOneOf(at, wanted == '#' ? "0123456789" : std::string_view(&wanted, 1)))
            ++at;
        else
            return 0;
    }
    return at;
}

void ReplaceAll(std::string& text, std::string_view pattern, std::string_view replacement)
{
    for (std::size_t at = 0; at < text.size();)
    {
        const std::size_t length = MatchLength(std::string_view(text).substr(at), pattern);
        if (length != 0)
            text.replace(at, length, replacement);
        at += length == 0 ? 1 : replacement.size();
    }
}

/// White space behind a tag: gone before the next tag and at the end, else one line break. The record writes a line
/// break within a text as \r\n.
void DropSerialisationSpace(std::string& text)
{
    for (std::size_t at = 0; (at = text.find('>', at)) != std::string::npos; ++at)
    {
        while (text.compare(at + 1, 2, "\\r") == 0 || text.compare(at + 1, 2, "\\n") == 0)
            text.erase(at + 1, 2);
        const std::size_t begin = at + 1;
        const std::size_t end = text.find_first_not_of(" \t\r\n", begin);
        const std::size_t lastLine = text.rfind('\n', end);
        if (end == std::string::npos || text[end] == '<')
            text.erase(begin, end - begin);
        else if (lastLine != std::string::npos && lastLine >= begin)
            text.replace(begin, lastLine + 1 - begin, "\r\n");
    }
}

void NameSystemMessages(std::string& text)
{
    for (const DWORD code : {0U, 2U, 3U, 5U, 87U, 126U, 127U, 193U})
    {
        char message[1024]{};
        ::FormatMessageA(
            FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, message, sizeof(message),
            nullptr);
        ReplaceAll(text, message, "<message " + std::to_string(code) + ">\r\n");
    }
}

/// The storages' reports quote the last error, which the registry functions do not set: some earlier call did.
void DropStaleLastErrors(std::string& text)
{
    for (std::size_t at = 0; (at = text.find(" scankelv::CrossProductStorage::", at)) != std::string::npos; ++at)
    {
        const std::size_t begin = text.rfind("Context: <message ", at);
        const std::size_t expression = text.rfind("Expression ", at);
        if (begin != std::string::npos && begin > expression)
            text.replace(begin, text.find('>', begin) + 1 - begin, "Context: <last error>");
    }
}

void ReadCodePage(std::string& text)
{
    for (const char* const location : {"Büro 3 – 会議室 🖨", "Büro 2"})
    {
        char narrow[256]{};
        ::WideCharToMultiByte(CP_ACP, 0, ToWide(location).c_str(), -1, narrow, sizeof(narrow), nullptr, nullptr);
        for (std::size_t at = 0; (at = text.find(narrow, at)) != std::string::npos;
             at += std::string_view(location).size())
            text.replace(at, std::string_view(narrow).size(), location);
    }
}

void DropTemplateArguments(std::string& text)
{
    for (std::size_t at = 0; (at = text.find(" [with ", at)) != std::string::npos;)
        text.erase(at, text.find(']', at) + 1 - at);
}

/// The whole list of what may differ from one run to the next, and from one system to another.
struct Normalisation
{
    const char* what;
    void (*apply)(std::string& text);
};
constexpr Normalisation normalisations[] = {
    {"white space of serialisation", &DropSerialisationSpace},
    {"time stamps", [](std::string& text) { ReplaceAll(text, "####/##/## ##:##:##.###", "<time>"); }},
    {"thread ids", [](std::string& text) { ReplaceAll(text, " {*}: ", " {thread}: "); }},
    {"process ids", [](std::string& text) { ReplaceAll(text, "KELV process Id: *", "KELV process Id: <process>"); }},
    {"length of a serialised device",
     [](std::string& text) { ReplaceAll(text, "listText = * ch", "listText = <count> ch"); }},
    {"wording of the system's messages", &NameSystemMessages},
    {"last error of before, in the storages' reports", &DropStaleLastErrors},
    {"8-bit code page of log and debugger console", &ReadCodePage},
    {"the types that Windows' own type names stand for", &DropTemplateArguments},
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

    /// A titled text, each of its lines behind two blanks; nothing for an empty text.
    void Add(std::string_view title, std::string text)
    {
        if (text.empty())
            return;
        for (const auto& [path, name] : m_paths)
            for (std::size_t at = 0; (at = text.find(path, at)) != std::string::npos;)
                text.replace(at, path.size(), name);
        for (const Normalisation& normalisation : normalisations)
            normalisation.apply(text);
        m_text.append(title).append(":\n");
        for (std::size_t at = 0; at < text.size();)
        {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            std::string line = text.substr(at, end - at);
            if (line.ends_with('\r'))
                line.pop_back();
            else
                line += end == text.size() ? "<no line end>" : "<lf>";
            m_text += "  " + line + "\n";
            at = end + 1;
        }
    }
    const std::string& Text() const { return m_text; }

private:
    std::vector<std::pair<std::string, std::string>> m_paths;
    std::string m_text;
};

std::string OwnLineEnds(std::string text)
{
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
        text.replace(at, 1, "\r\n");
    return text;
}

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
        std::string bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
        Wide units;
        for (DWORD at = 0; at + 1 < size; at += 2)
            units += static_cast<WCHAR>(data[at] | (data[at + 1] << 8));
        const std::string text = ToUtf8(units);
        std::string shown = "'" + text.substr(0, text.find('\0')) + "'";
        if (type != REG_SZ || Utf16Bytes(ToWide(text.c_str())) + std::string(2, '\0') != bytes)
        {
            shown.clear();
            for (const char byte : bytes)
                for (const int shift : {4, 0})
                    shown += "0123456789ABCDEF"[(static_cast<unsigned char>(byte) >> shift) & 0xF];
        }
        values[ToUtf8({name.data(), length})] = std::to_string(type) + " " + shown;
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

std::string TranscriptOf(const ScriptedRun& run)
{
    const Installation installation;
    WriteFileBytes(
        installation.DebugIni(), "[Modules]\r\nAgent=2\r\nKELVClient=2\r\nKELVFindwellLibrary=2\r\n"
                                 "[Format]\r\nShowTime=1\r\nShowModule=1\r\nShowThread=1\r\n");
    // As after an earlier run: what an earlier test left of them would make a difference.
    for (const WCHAR* const folder :
         {OLESTR("C:\\ProgramData\\QLScan"), OLESTR("C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver")})
        ::CreateDirectoryW(folder, nullptr);
    if (run.settings != nullptr)
        installation.Settings(run.settings);
    if (run.prepare != nullptr)
        run.prepare(installation);
    installation.UseLibrary(run.libraryFile);
    if (run.prepare != &EarlierRun || *run.call != 'c')
        installation.Behave(run.choice, run.call, run.gives);
    std::optional<InstanceWord> word;
    if (run.instanceWord >= 0)
        word.emplace(static_cast<DWORD>(run.instanceWord));

    const ProgramResult result = installation.Run(run.arguments);

    EXPECT_TRUE(result.started) << run.name;
    const Wide updaterRecord = installation.File("Hueward.log");
    const std::string log = FileText(installation.LogFile());
    // The agent does not wait for the updater: as many of its lines as starts.
    std::size_t starts = 0;
    for (std::size_t at = 0; (at = log.find("Hueward finished normally.", at)) != std::string::npos; ++at)
        ++starts;
    EXPECT_TRUE(Eventually([&] {
        return static_cast<std::size_t>(std::ranges::count(FileText(updaterRecord), '\n')) >= starts;
    })) << run.name;

    Transcript transcript(installation);
    transcript.Add("debugger console", result.debugConsole);
    transcript.Add("library", OwnLineEnds(installation.Asked()));
    transcript.Add("updater", OwnLineEnds(FileText(updaterRecord)));
    transcript.Add("log", log);
    transcript.Add("current user", KeyText(HKEY_CURRENT_USER, twainKeys));
    transcript.Add("local machine", KeyText(HKEY_LOCAL_MACHINE, twainKeys));
    transcript.Add("Config.ini", FileText(wiaStorage));
    transcript.Add("device.xml", FileText(deviceXml));
    return std::string("==== ") + run.name + ": ScanKELV " + run.arguments + "\nexit code " +
           std::to_string(result.exitCode) + "\n" + transcript.Text() + "\n";
}

TEST(ScriptedRuns, LeaveTheSameOnEverySystem)
{
    std::string transcript;
    for (const ScriptedRun& run : runs)
        transcript += TranscriptOf(run);
    const std::string expected = ReadFileBytes(BuiltPath(EXPECTED_TRANSCRIPT));
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
