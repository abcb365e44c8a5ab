// The debugger console, the bell, the time.

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <string_view>
#include <unistd.h>
#include <windows.h>

void OutputDebugStringA(LPCSTR text)
{
    if (text == nullptr || *text == '\0')
        return;
    // The file stays open, because a run writes some two hundred texts. Nothing here is destroyed, since owners with
    // static storage report in the process's last moments, or allocated, since a report may be about memory that ran
    // out.
    static constinit std::mutex mutex;
    static int file = -1;
    static char openName[PATH_MAX]; // no more opens
    const char* const named = std::getenv("HOSTWINDOWS_DEBUG_CONSOLE");
    const std::string_view name = named == nullptr ? "" : named;
    const std::lock_guard lock(mutex);
    if (!name.empty() && (file < 0 || name != openName))
    {
        ::close(file);
        file = ::open(named, O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_CLOEXEC, 0666);
        openName[name.copy(openName, sizeof(openName) - 1)] = '\0';
    }
    // One call, so that the texts of several programs do not mix. A text that cannot be written is lost, as without a
    // debugger.
    (void)!::write(name.empty() || file < 0 ? STDERR_FILENO : file, text, std::strlen(text));
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
