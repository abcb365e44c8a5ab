// Times FOLDER   what whole runs of the agent in the folder and its own operations cost, each beside the calls of the
// system without which nobody can do the same.
#include "AgentOptions.h"
#include "Bare.h"
#include "DeviceIdentifier.h"
#include "DeviceListParsing.h"
#include "DeviceMatch.h"
#include "FilterText.h"
#include "Loggers.h"
#include "LoggerType.h"
#include "TestSupport.h"

#include <array>
#include <chrono>
#include <functional>
#include <regex>

using namespace scankelv;

namespace
{

using Side = std::function<void()>;
constexpr int usual = 11; // rounds

double Microseconds(const Side& side, unsigned times = 1)
{
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < times; ++i)
        side();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count() / times;
}

/// How often a side must be repeated so that it takes at least 10 milliseconds.
unsigned Times(const Side& side)
{
    unsigned times = 1;
    while (Microseconds(side, times) * times < 10'000)
        times *= 2;
    return times;
}

/// Both sides of a question alternate in rounds, a round gives one ratio of their times.
struct Answer
{
    std::vector<double> ours, theirs, ratios;
};

/// The verdict is that of the fastest rounds: on a machine that others use, they are the least disturbed.
void Print(const std::string& name, double goal, Answer answer)
{
    std::ranges::sort(answer.ratios);
    const double fastest = std::ranges::min(answer.ours), ratio = fastest / std::ranges::min(answer.theirs);
    std::printf(
        "%-60s %10.2f us  %5.2f  %5.2f (%.2f to %.2f)  goal %.2f%s\n", name.c_str(), fastest, ratio,
        answer.ratios[answer.ratios.size() / 2], answer.ratios.front(), answer.ratios.back(), goal,
        ratio > goal ? "  missed" : "");
}

/// @param parts, otherParts  what one call of a side is divided by
/// @param pause              milliseconds behind each, in which what it started ends
Answer Compare(
    const Side& ours, const Side& theirs, double parts = 1, double otherParts = 1, int rounds = usual, DWORD pause = 0)
{
    const unsigned repeats[] = {Times(ours), Times(theirs)};
    Answer answer;
    for (int round = 0; round < rounds; ++round)
    {
        double times[2];
        for (const int side : {round % 2, 1 - round % 2}) // either is first in every other round
        {
            times[side] = Microseconds(side == 0 ? ours : theirs, repeats[side]) / (side == 0 ? parts : otherParts);
            ::Sleep(pause);
        }
        answer.ours.push_back(times[0]);
        answer.theirs.push_back(times[1]);
        answer.ratios.push_back(times[0] / times[1]);
    }
    return answer;
}

[[noreturn]] void Stop(const std::string& why)
{
    std::printf("%s\n", why.c_str());
    std::exit(1);
}

const std::wstring identifier =
    L"mfg:quellon;cmd:pjl,pcl5e,pclxl,postscript,pdf,urf;mdl:Weir C40 Series;cls:printer;mode:prn,scn,fax;";
const std::wstring device =
    L"<device><iotype>Network</iotype><comment>desk</comment><devicepath>192.0.2.41</devicepath><deviceid>" +
    identifier +
    L"</deviceid><devicename>Quellon Weir C40</devicename><ext>WC40-EU</ext><hostname>qlweirc40</hostname>"
    L"<location>Room 3</location><macaddress>00-00-5E-00-53-41</macaddress><modelname>Weir C40 Series</modelname>"
    L"<vendor>Quellon</vendor><pid>0x1c40</pid><port>192.0.2.41</port><productname>Quellon Weir C40</productname>"
    L"<serialnumber>WC40</serialnumber><systemdevicename>Weir</systemdevicename><vid>0x0f1d</vid></device>";

std::wstring RecordPath(unsigned count, unsigned number)
{
    const std::wstring digits = std::to_wstring(number);
    return L"Records" + std::to_wstring(count) + L"\\Printer" +
           std::wstring(3 - std::min<std::size_t>(digits.size(), 3), L'0') + digits;
}

/// The filter text with so many records, as the agent makes it.
std::function<void()> Filter(unsigned count)
{
    const auto options = AgentOptions::Build(L"", (L"agent /More Records" + std::to_wstring(count)).c_str());
    return [options] {
        _bstr_t text;
        parsedMultiDeviceInfo info;
        bool isParsed = false;
        XmlGenerateFilterText(*options, DialogMode5, text, info, isParsed);
    };
}

constexpr const wchar_t* texts[] = {L"Address",  L"DeviceID", L"DeviceName",      L"ExtDeviceID",
                                    L"HostName", L"Location", L"MACAddress",      L"MDL",
                                    L"MFG",      L"PortName", L"SystemDeviceName"};
constexpr const wchar_t* numbers[] = {L"ConnectionType", L"IPv6", L"Default", L"PID", L"VID"}; // each is 1
constexpr std::pair<const wchar_t*, std::size_t> elements[] = {{L"ipv6address", 0},  {L"ipaddress", 0},
                                                               {L"devicepath", 4},   {L"iotype", 11},
                                                               {L"deviceid", 1},     {L"devicename", 2},
                                                               {L"ext", 3},          {L"hostname", 4},
                                                               {L"location", 5},     {L"macaddress", 6},
                                                               {L"modelname", 7},    {L"drivername", 7},
                                                               {L"printername", 7},  {L"vendor", 8},
                                                               {L"pid", 13},         {L"port", 15},
                                                               {L"productname", 12}, {L"systemdevicename", 10},
                                                               {L"vid", 14}}; // and the number of their text; 15: none

/// The same by bare calls.
void BareFilter(unsigned count)
{
    const auto document = bare::Document();
    const auto option = bare::Begin(document.Get());
    const auto list = bare::List(document.Get());
    HKEY key = nullptr;
    for (unsigned number = 0; number < 1000; ++number, ::RegCloseKey(key))
    {
        if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, RecordPath(count, number).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            break;
        wchar_t buffer[1024];
        std::optional<bare::Text> values[16];
        for (std::size_t i = 0; i < std::size(texts); ++i)
            values[i].emplace(bare::Read(key, texts[i], buffer));
        for (const wchar_t* const name : numbers)
            bare::Read(key, name, buffer);
        values[11].emplace(L"Network");
        values[12].emplace(std::wstring(values[8]->View()) + L" " + values[7]->text);
        for (std::size_t i : {13U, 14U})
        {
            std::swprintf(buffer, std::size(buffer), L"0x%lx", static_cast<unsigned long>(buffer[0]));
            values[i].emplace(std::wstring_view(buffer));
        }
        const auto element = bare::Element(document.Get(), bare::Text(L"device").text);
        for (const auto& [name, text] : elements)
            bare::Add(document.Get(), element.Get(), name, values[text] ? &*values[text] : nullptr);
        bare::Append(list.Get(), element.Get());
    }
    bare::End(document.Get(), option.Get(), list.Get());
    if (count < 1000) // the opening that ends the records fails, and is reported
        for (const char* const piece : {"ODS {20}: ", "Expression  keyOpenResult  failed!", "\r\n"})
            ::OutputDebugStringA(piece);
}

void BareList(const std::wstring& xml)
{
    const auto document = bare::Loaded(xml);
    for (const std::wstring_view query : bare::queries)
        const bare::Text text(bare::Find(document.Get(), query));
}

void AskRecords()
{
    for (const unsigned count : {100U, 1000U})
        Print(
            "a record of " + std::to_string(count) + ", one of 10", 1.05,
            Compare(Filter(count), Filter(10), count, 10));
    for (const unsigned count : {1U, 10U, 1000U})
        Print("filter text, records: " + std::to_string(count) + ", bare calls", 1.15, Compare(Filter(count), [count] {
                  BareFilter(count);
              }));
}

void AskAnswers()
{
    for (const unsigned count : {1U, 10U, 1000U})
    {
        std::wstring xml = L"<devicelist>";
        for (unsigned i = 0; i < count; ++i)
            xml += device;
        xml += L"</devicelist>";
        const auto ours = [&xml] {
            XmlParsedDeviceList parsed;
            ParseDeviceList(xml.c_str(), parsed);
        };
        Print("reading a list, devices: " + std::to_string(count) + ", bare calls", 1.15, Compare(ours, [&xml] {
                  BareList(xml);
              }));
    }
    const auto options = AgentOptions::Build(L"", L"agent");
    bool matches = true;
    const auto ours = [&] { matches = XmlDeviceMatch(*options, device.c_str()) && matches; };
    const auto theirs = [&] { matches = bare::Matches(device) && matches; };
    Print("match of a device, bare calls and the shortest scan", 1.15, Compare(ours, theirs));
    if (!matches)
        Stop("The device does not match: nothing was measured.");
}

void AskIdentifier()
{
    unsigned found = 0;
    const auto ours = [&found] {
        std::wstring_view model;
        found += DeviceIdManufacturerIs(identifier, L"Quellon") ? 1U : 0U;
        found += DeviceIdModel(identifier, model) ? 1U : 0U;
        found += DeviceIdHasScanMode(identifier) ? 1U : 0U;
    };
    const auto theirs = [&found] {
        for (const wchar_t delimiter : {L':', L',', L';'})
            for (auto at = identifier.begin(); (at = std::find(at, identifier.end(), delimiter)) != identifier.end();)
                ++at, ++found;
    };
    Print("identifier read for maker, model and mode, std::find per delimiter", 1.5, Compare(ours, theirs));
}

void AskLog()
{
    const test::TemporaryFolder folder;
    const std::string ourFile = test::ToUtf8(folder.File(L"ours")), theirFile = test::ToUtf8(folder.File(L"theirs"));
    const auto toFile = [](const char*, const char*, DWORD& mask, bool&, bool&, bool&) {
        mask = fileSink;
        return true;
    };
    LoggerType<TextRenderCombo> logger("Agent", toFile, ourFile.c_str());
    LoggerTypeAbstract& log = logger;
    const OwnedHandle file = Own(::CreateFileA(
        theirFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0, nullptr));
    const auto ours = [&log] { log.WriteLine("pidDWORD: %lu (0x%lx)", 7232, 7232); };
    const auto theirs = [&file] {
        char line[256];
        DWORD written = 0;
        const int length = std::snprintf(line, sizeof(line), "pidDWORD: %d (0x%x)\r\n", 7232, 7232);
        ::SetFilePointer(file.get(), 0, nullptr, FILE_END);
        ::WriteFile(file.get(), line, static_cast<DWORD>(length), &written, nullptr);
    };
    Print("a log line to a file, snprintf, SetFilePointer, WriteFile", 1.2, Compare(ours, theirs));

    constexpr int lines = 10'000;
    LoggerTypeAbstract& silent = AgentLogger();
    const auto loop = [&](auto line) {
        for (int i = 0; i < lines; ++i)
        {
            asm volatile("" ::: "memory"); // whether the logger is silent is read again
            line(i);
        }
    };
    const auto silentLines = [&] { loop([&](int i) { silent.WriteLine("pidDWORD: %lu (0x%lx)", i, i); }); };
    std::array<double, usual> nanoseconds;
    for (double& one : nanoseconds)
        one = (Microseconds(silentLines, 100) - Microseconds([&] { loop([](int) {}); }, 100)) / lines * 1000;
    std::ranges::sort(nanoseconds);
    std::printf(
        "a log line of a silent logger, above an empty loop: %.2f ns, %.2f to %.2f, goal 1 ns%s\n",
        nanoseconds[usual / 2], nanoseconds.front(), nanoseconds.back(),
        silent.IsEnabled() ? ": the logger is not silent" : "");
}

void Run(const std::wstring& program, const wchar_t* arguments)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    std::wstring line = L"\"" + program + L"\" " + arguments;
    DWORD exitCode = 1;
    if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) != 0)
    {
        ::WaitForSingleObject(process.hProcess, INFINITE);
        ::GetExitCodeProcess(process.hProcess, &exitCode);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    if (exitCode != 0)
        Stop(test::ToUtf8(line) + " ended with " + std::to_string(exitCode));
}

/// What a run leaves; the time of storing is any time.
std::string Left()
{
    std::string left = test::StoredValues(HKEY_CURRENT_USER, L"Software\\QLScan\\Quellon Generic Scan Driver");
    left = std::regex_replace(left, std::regex("savedAt=.*"), "");
    for (const wchar_t* const file :
         {L"QLScan\\Quellon Generic Scan Driver\\Config.ini", L"Quellon\\ScanKELV\\device.xml"})
        left += test::ReadFileBytes(std::wstring(L"C:\\ProgramData\\") + file);
    return left;
}

void AskRuns(const std::wstring& folder)
{
    const std::wstring agent = folder + L"\\ScanKELV.exe", cheapest = folder + L"\\Cheapest.exe";
    Run(agent, L"/L en"); // from now on a device is stored
    Run(agent, L"/L en");
    const std::string left = Left();
    Run(cheapest, L"");
    if (const std::string other = Left(); other != left)
        Stop("Not the same results:\n" + left + other);
    Print(
        "generic run, the least around its parts", 1.05,
        Compare([&] { Run(agent, L"/L en"); }, [&] { Run(cheapest, L""); }, 1, 1, 31, 150));
    const auto first = [&] { Run(folder + L"\\first\\ScanKELV.exe", L"/L en /first"); };
    const auto least = [&] { Run(folder + L"\\first\\Cheapest.exe", L"/first"); };
    Print("start to the first call of the library, the least before it", 1.05, Compare(first, least, 1, 1, 61));
}

} // namespace

int wmain(int, wchar_t** arguments)
{
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    AskRuns(arguments[1]);
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const test::PrivateRegistry registry;
    for (const unsigned count : {1U, 10U, 100U, 1000U})
        for (unsigned number = 0; number < count; ++number)
        {
            for (const wchar_t* const name : texts)
                test::Store(HKEY_LOCAL_MACHINE, RecordPath(count, number), name, L"192.0.2.41, a text");
            for (const wchar_t* const name : numbers)
                test::Store(HKEY_LOCAL_MACHINE, RecordPath(count, number), name, DWORD{1});
        }
    AskIdentifier();
    AskLog();
    AskAnswers();
    AskRecords();
    return 0;
}
