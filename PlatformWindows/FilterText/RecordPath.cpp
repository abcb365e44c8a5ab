#include "RecordPath.h"

#include "TextFormat.h"

#include <array>

namespace scankelv
{

std::wstring RecordPath(std::wstring_view records, unsigned short number)
{
    wchar_t digits[8];
    FormatErased<wchar_t>(digits, "%03hu", std::array{FormatArgument(number)}, {}); // numbers need no conversion
    return std::wstring(records) + L"\\Printer" + digits;
}

} // namespace scankelv
