// The works that are measured within one process: each beside its floor, the cheapest honest way to the same bytes or
// the same answer. benchmarks/run pairs them by name and prints the table.
#pragma once

#include <benchmark/benchmark.h>
#include <functional>
#include <string>

namespace benchmarks
{

using Side = std::function<void(benchmark::State&)>;

inline void Add(const std::string& name, const Side& project, const Side& floor)
{
    for (const auto& [suffix, side] : {std::pair{"/project", project}, std::pair{"/floor", floor}})
        benchmark::RegisterBenchmark((name + suffix).c_str(), side);
}

void AddTextWorks();
void AddStorageWorks();

/// The folder of everything that this process makes; its machine is `machine` in it.
const std::string& WorkFolder();

} // namespace benchmarks
