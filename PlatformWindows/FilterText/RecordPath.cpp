#include "RecordPath.h"

namespace scankelv
{

std::wstring RecordPath(std::wstring_view records, unsigned short number)
{
    constexpr std::size_t fewestDigits = 3;
    std::wstring digits;
    for (unsigned rest = number; rest != 0 || digits.size() < fewestDigits; rest /= 10)
        digits.insert(0, 1, static_cast<wchar_t>(L'0' + rest % 10));
    return std::wstring(records) + L"\\Printer" + digits;
}

} // namespace scankelv
