// Numbers read from texts by the rules of the C library's scan conversions.
#pragma once

#include <cstdint>
#include <string_view>

namespace scankelv
{

/// Reads as "%hx" does: leading white space, an optional sign, an optional "0x", hexadecimal digits; what follows is
/// ignored and a larger number keeps its low 16 bits. A text that does not parse gives the preset.
std::uint16_t ScanHexadecimal16(std::wstring_view text, std::uint16_t preset);

/// The same as "%lx" reads a 32-bit number. A number that does not fit gives 0xFFFFFFFF, as the C runtime's does.
std::uint32_t ScanHexadecimal32(std::wstring_view text, std::uint32_t preset);

/// Reads as "%hu" does.
std::uint16_t ScanDecimal16(std::wstring_view text, std::uint16_t preset);

} // namespace scankelv
