// What a run with faults counts, what the agent holds, and the report of both.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>
#include <windows.h>

namespace faults
{

// Set from the environment before anything else runs.
inline unsigned faultAt = 0;        ///< FAULT_AT: number of the call, counted from 1; 0: none
inline std::string_view action;     ///< FAULT_ACTION: fail, lasting (all behind it too), throw, end (of the process)
inline DWORD error = ERROR_SUCCESS; ///< FAULT_ERROR: what a failed call tells
inline std::atomic<unsigned> calls = 0; ///< so far
inline unsigned reportSize = 0;
inline char* report = nullptr; ///< FAULT_REPORT: a file of zeros, mapped, so that it stays when the process is killed
inline std::atomic<unsigned> reported = 0;

[[gnu::format(gnu_printf, 1, 2)]] inline void Say(const char* format, ...)
{
    const DWORD last = ::GetLastError();
    char line[1024];
    va_list values;
    va_start(values, format);
    const auto length = static_cast<unsigned>(std::clamp(std::vsnprintf(line, sizeof(line), format, values), 0, 1023));
    va_end(values);
    const unsigned at = reported.fetch_add(length);
    if (report != nullptr && at < reportSize - length)
        std::memcpy(report + at, line, length);
    ::SetLastError(last);
}

/// Counts a call. @return whether it is to fail
inline bool IsMet(const char* name, bool writes = false)
{
    const unsigned number = ++calls;
    Say("%s %s\n", writes ? "write" : "call", name);
    if (faultAt == 0 || number < faultAt || (number > faultAt && action != "lasting"))
        return false;
    if (number == faultAt)
        Say("met %s\n", name);
    if (action == "end")
        ::TerminateProcess(::GetCurrentProcess(), 9);
    return true;
}

/// Reports when a call begins and ends, in ticks of the performance counter; calls inside it are between both lines.
struct Timer
{
    explicit Timer(const char* name) { Say("from %lld %s\n", Now(), name); }
    ~Timer() { Say("to %lld\n", Now()); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    static LONGLONG Now()
    {
        LARGE_INTEGER now{};
        ::QueryPerformanceCounter(&now);
        return now.QuadPart;
    }
};

/// What was given to the agent and is not given back yet.
struct Held
{
    const void* what;
    const char* from;
    unsigned call;
};
inline std::array<Held, 8192> held;
inline std::atomic_flag heldIsTaken; // by one thread at a time

inline void Exchange(const void* what, const Held& with)
{
    if (what == INVALID_HANDLE_VALUE || with.what == INVALID_HANDLE_VALUE || what == with.what)
        return;
    while (heldIsTaken.test_and_set())
        ::SwitchToThread();
    const auto place = std::ranges::find(held, what, &Held::what);
    if (place != held.end())
        *place = with;
    else
        Say("not held: %p, released by %s\n", what, with.from);
    heldIsTaken.clear();
}
inline void Give(const void* what, const char* from)
{
    Exchange(nullptr, {what, from, calls});
}
inline void TakeBack(const void* what, const char* by)
{
    Exchange(what, {nullptr, by, calls});
}
inline void ReportHeld()
{
    for (const Held& one : held)
        if (one.what != nullptr)
            Say("held: %p of %s, call %u\n", one.what, one.from, one.call);
}

} // namespace faults
