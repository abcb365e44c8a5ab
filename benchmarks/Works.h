// What is measured: each work beside its floor, the cheapest honest way to the same bytes or the same answer.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <string>
#include <vector>

namespace benchmarks
{

using Side = std::function<void(benchmark::State&)>;

enum class Judged
{
    ratio,      ///< of the medians
    nanoseconds ///< by which the project takes longer
};

struct Work
{
    const char* name;
    const char* title;
    double goal; ///< no test asks for it: the table shows it
    Side project;
    Side floor;
    Judged judged = Judged::ratio;
    /// Of one side's time, such as the records of a run.
    double projectUnits = 1;
    double floorUnits = 1;
    bool processes = false; ///< each iteration is one run of a program, timed by itself
};

std::vector<Work> TextWorks();
std::vector<Work> StorageWorks();
std::vector<Work> RunWorks();

/// The folder of everything that this process makes; its machine is `machine` in it.
const std::string& WorkFolder();

} // namespace benchmarks
