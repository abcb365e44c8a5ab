// Numbers read from texts by the rules of the C library's scan conversions.
#pragma once

#include <cstdint>
#include <string_view>

namespace scankelv
{

/// Reads as "%hx" does: leading white space, an optional sign, an optional "0x", hexadecimal digits; the rest is
/// ignored. A larger number keeps its low 16 bits. @return `preset` for a text without a number
std::uint16_t ScanHexadecimal16(std::wstring_view text, std::uint16_t preset);

/// Reads a 32-bit number as "%lx" does. A number that does not fit gives 0xFFFFFFFF, as in Windows' C runtime.
std::uint32_t ScanHexadecimal32(std::wstring_view text, std::uint32_t preset);

/// Reads a decimal number as "%hu" does, otherwise like ScanHexadecimal16.
std::uint16_t ScanDecimal16(std::wstring_view text, std::uint16_t preset);

} // namespace scankelv
