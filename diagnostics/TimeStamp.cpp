#include "TimeStamp.h"

namespace scankelv
{

std::size_t FormatTimeStamp(std::span<char, 256> buffer)
{
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    const struct
    {
        WORD number;
        std::size_t digits;
        char behind;
    } fields[] = {{now.wYear, 4, '/'},   {now.wMonth, 2, '/'},  {now.wDay, 2, ' '},          {now.wHour, 2, ':'},
                  {now.wMinute, 2, ':'}, {now.wSecond, 2, '.'}, {now.wMilliseconds, 3, '\0'}};
    // Written digit by digit: by the general formatter, time stamps would take half of the time that a run spends on
    // formatting its lines.
    std::size_t length = 0;
    for (auto [number, digits, behind] : fields)
    {
        for (std::size_t i = digits; i-- != 0; number /= 10)
            buffer[length + i] = static_cast<char>('0' + number % 10);
        length += digits;
        buffer[length++] = behind;
    }
    return length - 1;
}

} // namespace scankelv
