// 8-bit encodings by name.
#pragma once

#include <string>
#include <string_view>

namespace hostwindows
{

enum class Encoding
{
    utf8,
    utf16,
    other, ///< one that the system's converter knows
    unknown,
};

/// By a declared name; the empty one is UTF-8.
Encoding EncodingNamed(std::string_view name);

/// @return false when a byte or character has no counterpart, or the encoding is unknown
bool Convert(std::string_view text, const std::string& from, const std::string& to, std::string& converted);

} // namespace hostwindows
