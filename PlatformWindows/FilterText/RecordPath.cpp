#include "RecordPath.h"

#include <algorithm>

namespace scankelv
{

std::wstring RecordPath(std::wstring_view records, unsigned short number)
{
    constexpr std::size_t fewestDigits = 3;
    const std::wstring digits = std::to_wstring(number);
    std::wstring path(records);
    path += L"\\Printer";
    path.append(fewestDigits - std::min(fewestDigits, digits.size()), L'0');
    return path += digits;
}

} // namespace scankelv
