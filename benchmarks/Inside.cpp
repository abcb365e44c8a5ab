// What the agent's own operations cost, each beside the calls of the system without which nobody can do the same.
#include "AgentOptions.h"
#include "Bare.h"
#include "DeviceIdentifier.h"
#include "DeviceListParsing.h"
#include "DeviceMatch.h"
#include "FilterText.h"
#include "Loggers.h"
#include "LoggerType.h"
#include "Ratio.h"
#include "TestSupport.h"

using namespace scankelv;
using benchmark::Compare, benchmark::Print;

namespace
{

const std::wstring identifier =
    L"mfg:quellon;cmd:pjl,pcl5e,pclxl,postscript,pdf,urf;mdl:Weir C40 Series;cls:printer;mode:prn,scn,fax;";
const test::NamedValues record = {
    {L"Address", L"192.0.2.41"},
    {L"ConnectionType", DWORD{1}},
    {L"DeviceID", identifier},
    {L"DeviceName", L"Quellon Weir C40"},
    {L"ExtDeviceID", L"WC40-EU"},
    {L"HostName", L"qlweirc40"},
    {L"IPv6", DWORD{0}},
    {L"Location", L"Room 3"},
    {L"MACAddress", L"00-00-5E-00-53-41"},
    {L"MDL", L"Weir C40 Series"},
    {L"MFG", L"Quellon"},
    {L"PID", DWORD{0x1c40}},
    {L"PortName", L"192.0.2.41"},
    {L"SystemDeviceName", L"Weir"},
    {L"VID", DWORD{0x0f1d}},
    {L"Default", DWORD{1}}};
const std::wstring device =
    L"<device><iotype>Network</iotype><comment>desk</comment><devicepath>192.0.2.41</devicepath><deviceid>" +
    identifier +
    L"</deviceid><devicename>Quellon Weir C40</devicename><ext>WC40-EU</ext><hostname>qlweirc40</hostname>"
    L"<location>Room 3</location><macaddress>00-00-5E-00-53-41</macaddress><modelname>Weir C40 Series</modelname>"
    L"<vendor>Quellon</vendor><pid>0x1c40</pid><port>192.0.2.41</port><productname>Quellon Weir C40</productname>"
    L"<serialnumber>WC40</serialnumber><systemdevicename>Weir</systemdevicename><vid>0x0f1d</vid></device>";

std::wstring RecordsPath(unsigned count)
{
    return L"Records" + std::to_wstring(count);
}

std::wstring RecordPath(unsigned count, unsigned number)
{
    const std::wstring digits = std::to_wstring(number);
    return RecordsPath(count) + L"\\Printer" + std::wstring(3 - std::min<std::size_t>(digits.size(), 3), L'0') + digits;
}

/// The filter text with so many records, as the agent makes it.
std::function<void()> Filter(unsigned count)
{
    const auto options = AgentOptions::Build(L"", (L"agent /More " + RecordsPath(count)).c_str());
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
constexpr std::pair<std::wstring_view, int> elements[] = { // and their text; below 0: none
    {L"ipv6address", -1}, {L"ipaddress", 0},    {L"devicepath", 4},        {L"iotype", 11},  {L"deviceid", 1},
    {L"devicename", 2},   {L"ext", 3},          {L"hostname", 4},          {L"location", 5}, {L"macaddress", 6},
    {L"modelname", 7},    {L"drivername", 7},   {L"printername", 7},       {L"vendor", 8},   {L"pid", 12},
    {L"port", -1},        {L"productname", 13}, {L"systemdevicename", 10}, {L"vid", 14}};

/// The same by bare calls.
void BareFilter(unsigned count)
{
    static const std::vector<std::unique_ptr<bare::Text>> names = [] {
        std::vector<std::unique_ptr<bare::Text>> made;
        for (const auto& element : elements)
            made.push_back(std::make_unique<bare::Text>(element.first));
        return made;
    }();
    const auto document = bare::Document();
    bare::Declare(document.Get());
    const auto option = bare::Element(document.Get(), bare::Text(std::wstring_view(L"option")).text);
    bare::AddSearch(document.Get(), option.Get());
    const auto list = bare::List(document.Get(), L"1.0.1");
    HKEY key = nullptr;
    for (unsigned number = 0;
         ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, RecordPath(count, number).c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS &&
         number < 1000;
         ++number, ::RegCloseKey(key))
    {
        wchar_t buffer[1024], hexadecimal[2][16];
        std::optional<bare::Text> values[15];
        for (std::size_t i = 0; i < std::size(texts); ++i)
            values[i].emplace(bare::Read(key, texts[i], buffer));
        for (const wchar_t* const name : {L"ConnectionType", L"IPv6", L"Default"})
            static_cast<void>(bare::Read(key, name));
        std::swprintf(hexadecimal[0], 16, L"0x%lx", bare::Read(key, L"PID"));
        std::swprintf(hexadecimal[1], 16, L"0x%lx", bare::Read(key, L"VID"));
        values[11].emplace(std::wstring_view(L"Network"));
        values[12].emplace(std::wstring_view(hexadecimal[0]));
        values[13].emplace(std::wstring(values[8]->View()) + L" " + values[7]->text);
        values[14].emplace(std::wstring_view(hexadecimal[1]));
        const auto element = bare::Element(document.Get(), bare::Text(std::wstring_view(L"device")).text);
        for (std::size_t i = 0; i < std::size(elements); ++i)
        {
            const int text = elements[i].second;
            bare::Add(document.Get(), element.Get(), names[i]->text, text < 0 ? nullptr : &*values[text]);
        }
        bare::Append(list.Get(), element.Get());
    }
    bare::Append(option.Get(), list.Get());
    bare::Append(document.Get(), option.Get());
    BSTR xml = nullptr;
    document->get_xml(&xml);
    ::SysFreeString(xml);
}

void BareList(const std::wstring& xml)
{
    constexpr std::wstring_view queries[] = {
        L"//iotype", L"//comment",  L"//devicepath",  L"//scannerport",  L"//deviceid",         L"//devicename",
        L"//ext",    L"//hostname", L"//location",    L"//macaddress",   L"//modelname",        L"//vendor",
        L"//pid",    L"//port",     L"//productname", L"//serialnumber", L"//systemdevicename", L"//userlocation",
        L"//vid"};
    const auto document = bare::Loaded(xml);
    for (const std::wstring_view query : queries)
        const bare::Text text(bare::Find(document.Get(), query));
}

void AskRecords()
{
    for (const unsigned count : {100U, 1000U})
        Print(
            count == 100 ? "a record of 100, against one of 10" : "a record of 1,000, against one of 10", 1.05,
            Compare(Filter(count), Filter(10), count, 10));
    for (const auto& [count, name] :
         {std::pair(1U, "filter text with 1 record, bare calls"),
          std::pair(10U, "filter text with 10 records, bare calls"),
          std::pair(1000U, "filter text with 1,000 records, bare calls")})
        Print(name, 1.15, Compare(Filter(count), [count = count] { BareFilter(count); }));
}

void AskAnswers()
{
    for (const auto& [count, name] :
         {std::pair(1U, "reading a list of 1 device, bare calls"),
          std::pair(10U, "reading a list of 10 devices, bare calls"),
          std::pair(1000U, "reading a list of 1,000 devices, bare calls")})
    {
        std::wstring xml = L"<devicelist>";
        for (unsigned i = 0; i < count; ++i)
            xml += device;
        xml += L"</devicelist>";
        const auto ours = [&xml] {
            XmlParsedDeviceList parsed;
            ParseDeviceList(xml.c_str(), parsed);
        };
        Print(name, 1.15, Compare(ours, [&xml] { BareList(xml); }));
    }
    const auto options = AgentOptions::Build(L"", L"agent");
    bool matches = true;
    const auto ours = [&] { matches = XmlDeviceMatch(*options, device.c_str()) && matches; };
    const auto theirs = [&] { matches = bare::Matches(device) && matches; };
    Print("match of a device, bare calls and the shortest scan", 1.15, Compare(ours, theirs));
    if (!matches)
        std::printf("The device does not match: nothing was measured.\n");
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
    std::vector<double> nanoseconds;
    for (int round = 0; round < benchmark::rounds; ++round)
        nanoseconds.push_back(
            (benchmark::Microseconds(silentLines, 100) - benchmark::Microseconds([&] { loop([](int) {}); }, 100)) /
            lines * 1000);
    std::ranges::sort(nanoseconds);
    std::printf(
        "a log line of a silent logger, above an empty loop: %.2f ns, %.2f to %.2f, goal 1 ns%s\n",
        nanoseconds[benchmark::rounds / 2], nanoseconds.front(), nanoseconds.back(),
        silent.IsEnabled() ? ": the logger is not silent" : "");
}

} // namespace

int main()
{
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const test::PrivateRegistry registry;
    for (const unsigned count : {1U, 10U, 100U, 1000U})
        for (unsigned number = 0; number < count; ++number)
            test::Store(HKEY_LOCAL_MACHINE, RecordPath(count, number), record);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    AskIdentifier();
    AskLog();
    AskAnswers();
    AskRecords();
}
