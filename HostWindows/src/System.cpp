// The debugger console, the bell, the time.

#include "Descriptor.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>
#include <windows.h>

void OutputDebugStringA(LPCSTR text)
{
    if (text == nullptr || *text == '\0')
        return;
    const char* name = std::getenv("HOSTWINDOWS_DEBUG_CONSOLE");
    hostwindows::Descriptor file;
    if (name != nullptr && *name != '\0')
        file.Open(name, O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY, 0666);
    // One call, so that the texts of several programs do not mix. A text that cannot be written is lost, as without a
    // debugger.
    (void)!::write(file.IsOpen() ? file.Number() : STDERR_FILENO, text, std::strlen(text));
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
