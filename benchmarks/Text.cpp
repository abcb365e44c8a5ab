// How long texts take that every run reads and writes, each beside another way to do the same or the least that must
// be done. Both sides alternate in rounds; a round gives one ratio of their times.
#include "CommandLine.h"
#include "DeviceIdentifier.h"
#include "Latin1.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cwchar>
#include <functional>

using namespace scankelv;

namespace
{

struct Question
{
    const char *name, *other;
    std::function<void()> ours, theirs;
};

const std::wstring usual = L"mfg:quellon;cmd:pjl,pcl5e,postscript,pdf,urf;mdl:Weir C40;cls:printer;mode:prn,scn,fax;";
const std::wstring longList = L"mode:" + std::wstring(100'000, L',') + L";mfg:quellon";
const std::wstring line = L"\"C:\\Program Files\\ScanKELV.exe\" /M \"Big Scan\" /L de /MODE 0 /D \"Weir C40\" /Q";
std::uint32_t processId = 4711; // not constant, so that nothing is printed at compile time
char narrow[256];
wchar_t wide[256];

void ReadIdentifier(const std::wstring& identifier)
{
    std::wstring_view model;
    benchmark::DoNotOptimize(DeviceIdManufacturerIs(identifier, L"Quellon"));
    benchmark::DoNotOptimize(DeviceIdModel(identifier, model));
    benchmark::DoNotOptimize(DeviceIdHasScanMode(identifier));
    benchmark::DoNotOptimize(model);
}

void Find(const std::wstring& text, std::initializer_list<wchar_t> characters)
{
    for (const wchar_t character : characters)
        for (auto at = text.begin(); (at = std::find(at, text.end(), character)) != text.end(); ++at)
            benchmark::DoNotOptimize(at);
}

template <class CharType, class... Args>
void Format(std::span<CharType> buffer, TextFormat<Args...> format, const Args&... arguments)
{
    const std::array<FormatArgument, sizeof...(Args)> erased{FormatArgument(arguments)...};
    benchmark::DoNotOptimize(FormatErased(buffer, format.text, erased, test::latin1));
    benchmark::ClobberMemory();
}

const Question questions[] = {
    {"identifier", "a pass for each delimiter", [] { ReadIdentifier(usual); },
     [] {
         Find(usual, {L':', L',', L';'});
     }},
    {"identifier of 100,000 values", "a pass for each delimiter", [] { ReadIdentifier(longList); },
     [] {
         Find(longList, {L':', L',', L';'});
     }},
    {"line with numbers", "snprintf", [] { Format<char>(narrow, "pidDWORD: %lu (0x%lx)", processId, processId); },
     [] { benchmark::DoNotOptimize(std::snprintf(narrow, 256, "pidDWORD: %u (0x%x)", processId, processId)); }},
    {"line with a wide text", "snprintf", [] { Format<char>(narrow, "identifier: %ws", usual); },
     [] { benchmark::DoNotOptimize(std::snprintf(narrow, 256, "identifier: %ls", usual.c_str())); }},
    {"wide line", "swprintf", [] { Format<wchar_t>(wide, "%ws\\%03lu", L"Records\\Printer", processId); },
     [] { benchmark::DoNotOptimize(std::swprintf(wide, 256, L"%ls\\%03u", L"Records\\Printer", processId)); }},
    {"command line", "a pass for each delimiter",
     [] {
         CommandScanner scanner(line);
         while (const auto command = scanner.Next())
             benchmark::DoNotOptimize(command);
     },
     [] {
         Find(line, {L'/', L' ', L'"'});
     }},
};

/// Keeps the time of one iteration instead of printing it.
struct Keeper : benchmark::BenchmarkReporter
{
    double nanoseconds = 0;

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override { nanoseconds = runs.front().GetAdjustedCPUTime(); }
};

/// Gives the time of one call of a function in nanoseconds.
std::function<double()> Measurement(const std::function<void()>& function)
{
    static int count = 0;
    const std::string name = "side " + std::to_string(++count) + " of a question";
    const auto repeat = [function](benchmark::State& state) {
        for (auto _ : state)
            function();
    };
    benchmark::RegisterBenchmark(name.c_str(), repeat)->MinTime(0.03);
    return [name] {
        Keeper keeper;
        benchmark::RunSpecifiedBenchmarks(&keeper, "^" + name);
        return keeper.nanoseconds;
    };
}

} // namespace

int main()
{
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__)
    std::fputs("Built without optimisation or with sanitizers, nothing is measured: use benchmarks/run.\n", stderr);
    return 2;
#endif
    std::printf("%-30s %10s  %6s  %-16s %s\n", "", "ns", "ratio", "range", "to");
    for (const auto& [name, other, ours, theirs] : questions)
    {
        const auto measureOurs = Measurement(ours), measureTheirs = Measurement(theirs);
        std::vector<double> times, ratios;
        for (int round = 0; round < 15; ++round)
        {
            times.push_back(measureOurs());
            ratios.push_back(times.back() / measureTheirs());
        }
        std::ranges::sort(times);
        std::ranges::sort(ratios);
        std::printf(
            "%-30s %10.1f  %6.2f  %5.2f to %5.2f   %s\n", name, times[7], ratios[7], ratios.front(), ratios.back(),
            other);
    }
}
