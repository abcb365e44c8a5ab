// How a question is asked: both sides alternate in rounds, a round gives one ratio of their times.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace benchmark
{

using Side = std::function<void()>;
constexpr int rounds = 11;

inline double Microseconds(const Side& side, unsigned times = 1)
{
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < times; ++i)
        side();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count() / times;
}

/// How often a side must be repeated so that it takes at least 10 milliseconds.
inline unsigned Times(const Side& side)
{
    unsigned times = 1;
    while (Microseconds(side, times) * times < 10'000)
        times *= 2;
    return times;
}

struct Answer
{
    std::vector<double> ours, ratios;
};

inline void Print(const char* name, double goal, Answer answer)
{
    std::ranges::sort(answer.ours);
    std::ranges::sort(answer.ratios);
    const double ratio = answer.ratios[answer.ratios.size() / 2];
    std::printf(
        "%-62s %10.2f us  %5.2f  %5.2f to %5.2f  goal %.2f%s\n", name, answer.ours[answer.ours.size() / 2], ratio,
        answer.ratios.front(), answer.ratios.back(), goal, ratio > goal ? "  missed" : "");
}

/// @param parts, otherParts  what one call of a side is divided by
inline Answer Compare(const Side& ours, const Side& theirs, double parts = 1, double otherParts = 1)
{
    const unsigned times = Times(ours), otherTimes = Times(theirs);
    Answer answer;
    for (int round = 0; round < rounds; ++round)
    {
        answer.ours.push_back(Microseconds(ours, times) / parts);
        answer.ratios.push_back(answer.ours.back() / (Microseconds(theirs, otherTimes) / otherParts));
    }
    return answer;
}

} // namespace benchmark
