#include "TextScan.h"

#include <limits>
#include <optional>

namespace scankelv
{
namespace
{

struct ScannedNumber
{
    std::uint64_t magnitude = 0; ///< modulo 2^64
    bool isNegative = false;
    bool exceeds32Bits = false;
};

unsigned DigitOf(wchar_t c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A') + 10;
    return std::numeric_limits<unsigned>::max();
}

std::optional<ScannedNumber> Scan(std::wstring_view text, unsigned base)
{
    const auto dropFront = [&text](auto isDropped) {
        const bool dropped = !text.empty() && isDropped(text.front());
        text.remove_prefix(dropped ? 1 : 0);
        return dropped;
    };
    while (dropFront([](wchar_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }))
    {
    }
    ScannedNumber number;
    number.isNegative = !text.empty() && text.front() == '-';
    dropFront([](wchar_t c) { return c == '-' || c == '+'; });
    if (base == 16 && text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text.remove_prefix(2);
    if (text.empty() || DigitOf(text.front()) >= base)
        return std::nullopt;
    for (const wchar_t c : text)
    {
        const unsigned digit = DigitOf(c);
        if (digit >= base)
            break;
        number.magnitude = number.magnitude * base + digit;
        number.exceeds32Bits = number.exceeds32Bits || number.magnitude > std::numeric_limits<std::uint32_t>::max();
    }
    return number;
}

std::uint16_t Scan16(std::wstring_view text, unsigned base, std::uint16_t preset)
{
    const std::optional<ScannedNumber> number = Scan(text, base);
    if (!number)
        return preset;
    return static_cast<std::uint16_t>(number->isNegative ? 0 - number->magnitude : number->magnitude);
}

} // namespace

std::uint16_t ScanHexadecimal16(std::wstring_view text, std::uint16_t preset)
{
    return Scan16(text, 16, preset);
}

std::uint32_t ScanHexadecimal32(std::wstring_view text, std::uint32_t preset)
{
    const std::optional<ScannedNumber> number = Scan(text, 16);
    if (!number)
        return preset;
    if (number->exceeds32Bits)
        return std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(number->isNegative ? 0 - number->magnitude : number->magnitude);
}

std::uint16_t ScanDecimal16(std::wstring_view text, std::uint16_t preset)
{
    return Scan16(text, 10, preset);
}

} // namespace scankelv
