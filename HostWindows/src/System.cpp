// The debugger console, the bell, the time.

#include "Descriptor.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <string_view>
#include <unistd.h>
#include <windows.h>

namespace
{

/// The debugger console's file. It stays open, because a run writes some two hundred texts; under another name it is
/// opened anew.
class ConsoleFile
{
public:
    /// @return standard error when there is no file to write
    int For(const char* name)
    {
        if (name == nullptr || *name == '\0')
            return STDERR_FILENO;
        if (!m_file.IsOpen() || std::strcmp(m_name, name) != 0)
        {
            m_file.Open(name, O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY, 0666);
            m_name[std::string_view(name).copy(m_name, sizeof(m_name) - 1)] = '\0';
        }
        return m_file.IsOpen() ? m_file.Number() : STDERR_FILENO;
    }

private:
    hostwindows::Descriptor m_file;
    char m_name[PATH_MAX]{}; // no more opens
};

} // namespace

void OutputDebugStringA(LPCSTR text)
{
    if (text == nullptr || *text == '\0')
        return;
    // Never destroyed: owners with static storage report in the process's last moments. In place, because a report may
    // be about memory that ran out.
    static constinit std::mutex mutex;
    alignas(ConsoleFile) static std::byte room[sizeof(ConsoleFile)];
    static auto* const console = new (room) ConsoleFile;
    const std::lock_guard lock(mutex);
    // One call, so that the texts of several programs do not mix. A text that cannot be written is lost, as without a
    // debugger.
    (void)!::write(console->For(std::getenv("HOSTWINDOWS_DEBUG_CONSOLE")), text, std::strlen(text));
}

BOOL Beep(DWORD, DWORD)
{
    if (::isatty(STDERR_FILENO) != 0)
        (void)!::write(STDERR_FILENO, "\a", 1);
    return TRUE;
}

void GetLocalTime(LPSYSTEMTIME time)
{
    constexpr int firstYear = 1900;
    constexpr long nanosecondsPerMillisecond = 1000000;
    ::timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::tm local{};
    ::localtime_r(&now.tv_sec, &local);
    const auto word = [](long number) { return static_cast<WORD>(number); };
    *time = {
        word(local.tm_year + firstYear),
        word(local.tm_mon + 1),
        word(local.tm_wday),
        word(local.tm_mday),
        word(local.tm_hour),
        word(local.tm_min),
        word(local.tm_sec),
        word(now.tv_nsec / nanosecondsPerMillisecond)};
}

void Sleep(DWORD milliseconds)
{
    constexpr DWORD perSecond = 1000;
    constexpr long nanosecondsPerMillisecond = 1000000;
    ::timespec left{milliseconds / perSecond, milliseconds % perSecond * nanosecondsPerMillisecond};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR)
        continue;
}
