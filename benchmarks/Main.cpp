// Runs the works that are named, all without a name, and prints the table of ratios.
#include "Works.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <unistd.h>

namespace benchmarks
{
namespace
{

constexpr int rounds = 21;

struct Times
{
    std::map<std::int64_t, double> ofRound; ///< nanoseconds for one unit
    double Median() const
    {
        std::vector<double> sorted;
        for (const auto& [round, time] : ofRound)
            sorted.push_back(time);
        std::ranges::sort(sorted);
        return sorted.empty() ? 0 : sorted[sorted.size() / 2];
    }
};

std::string Duration(double nanoseconds)
{
    char text[32];
    const bool small = nanoseconds < 10e3;
    std::snprintf(
        text, sizeof(text), "%.*f %s", small ? 1 : 0, small ? nanoseconds : nanoseconds / 1e3, small ? "ns" : "us");
    return text;
}

/// Collects every round and prints the table when all are over.
class Table : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.error_occurred)
            {
                std::fprintf(
                    stderr, "benchmarks: %s: %s\n", run.run_name.function_name.c_str(), run.error_message.c_str());
                failed = true;
            }
            else if (run.run_type == Run::RT_Iteration)
                m_times[run.run_name.function_name].ofRound[run.repetition_index] = run.GetAdjustedRealTime();
    }

    void Print(const std::vector<Work>& works) const
    {
        std::printf(
            "%-18s %-58s %7s %16s %8s %11s %11s\n", "name", "work", "ratio", "lowest-highest", "goal", "project",
            "floor");
        for (const Work& work : works)
            PrintRow(work);
    }

    bool failed = false;

private:
    void PrintRow(const Work& work) const
    {
        const auto project = m_times.find(work.name + std::string("/project"));
        const auto floor = m_times.find(work.name + std::string("/floor"));
        if (project == m_times.end() || floor == m_times.end())
            return;
        const bool isRatio = work.judged == Judged::ratio;
        const auto compared = [&](double ours, double theirs) {
            return isRatio ? (ours / work.projectUnits) / (theirs / work.floorUnits) : ours - theirs;
        };
        std::vector<double> spread;
        for (const auto& [round, time] : project->second.ofRound)
            if (const auto other = floor->second.ofRound.find(round); other != floor->second.ofRound.end())
                spread.push_back(compared(time, other->second));
        std::ranges::sort(spread);
        const double value = compared(project->second.Median(), floor->second.Median());
        char range[32];
        std::snprintf(range, sizeof(range), "%.2f-%.2f", spread.front(), spread.back());
        std::printf(
            "%-18s %-58s %5.2f%s %16s %6.2f%s %11s %11s%s\n", work.name, work.title, value, isRatio ? " x" : "ns",
            range, work.goal, isRatio ? " x" : "ns", Duration(project->second.Median()).c_str(),
            Duration(floor->second.Median()).c_str(), value > work.goal ? "  above the goal" : "");
    }

    std::map<std::string, Times> m_times;
};

void Register(const Work& work)
{
    for (const auto& [side, run] : {std::pair{"/project", work.project}, std::pair{"/floor", work.floor}})
    {
        auto* registered = benchmark::RegisterBenchmark((work.name + std::string(side)).c_str(), run);
        registered->Repetitions(rounds);
        if (work.processes)
            registered->UseManualTime()->Iterations(2);
        else
            registered->UseRealTime()->MinTime(0.02);
    }
}

int Run(int count, char** names)
{
    std::vector<Work> works;
    for (const auto& some : {TextWorks(), StorageWorks(), RunWorks()})
        works.insert(works.end(), some.begin(), some.end());

    std::vector<Work> chosen;
    for (int i = 1; i < count; ++i)
    {
        const auto named = std::ranges::find(works, std::string(names[i]), &Work::name);
        if (named == works.end())
        {
            std::string known;
            for (const Work& work : works)
                known += std::string(" ") + work.name;
            std::fprintf(stderr, "benchmarks: unknown name %s; known:%s\n", names[i], known.c_str());
            return 2;
        }
        chosen.push_back(*named);
    }
    if (count < 2)
        chosen = works;
    int arguments = 2;
    char program[] = "benchmarks";
    char interleaved[] = "--benchmark_enable_random_interleaving=true";
    char* line[] = {program, interleaved, nullptr};
    benchmark::Initialize(&arguments, line);
    Table table;
    for (const Work& work : chosen) // one by one, so that the two sides alternate closely
    {
        benchmark::ClearRegisteredBenchmarks();
        Register(work);
        benchmark::RunSpecifiedBenchmarks(&table);
    }
    table.Print(chosen);
    return table.failed ? 1 : 0;
}

} // namespace

const std::string& WorkFolder()
{
    static const std::string folder = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "scankelv-benchmarks-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
        {
            std::fprintf(stderr, "benchmarks: cannot make %s\n", pattern.c_str());
            std::exit(1);
        }
        return pattern;
    }();
    return folder;
}

} // namespace benchmarks

int main(int count, char** names)
{
#ifndef __OPTIMIZE__
    std::fprintf(stderr, "benchmarks: built without optimisation, nothing is measured\n");
    return 2;
#endif
    // Before the first use of anything that looks for the machine.
    const std::string& folder = benchmarks::WorkFolder();
    ::setenv("HOSTWINDOWS_ROOT", (folder + "/machine").c_str(), 1);
    ::setenv("HOSTWINDOWS_DEBUG_CONSOLE", (folder + "/console.txt").c_str(), 1);
    ::setenv("LOGNAME", "bench", 1);
    int result = 1;
    try
    {
        result = benchmarks::Run(count, names);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "benchmarks: %s\n", error.what());
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return result;
}
