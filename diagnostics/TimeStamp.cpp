#include "TimeStamp.h"

namespace scankelv
{

std::size_t FormatTimeStamp(std::span<char, 256> buffer)
{
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    return FormatInto(
        std::span<char>(buffer), "%4u/%02u/%02u %02u:%02u:%02u.%03u", now.wYear, now.wMonth, now.wDay, now.wHour,
        now.wMinute, now.wSecond, now.wMilliseconds);
}

} // namespace scankelv
