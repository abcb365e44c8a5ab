// The characters that an XML document may contain.
#pragma once

#include <string>
#include <string_view>

namespace scankelv
{

/// Whether every character may be written into a document: no control character except tab and line ends, no half of a
/// surrogate pair, neither U+FFFE nor U+FFFF.
bool XmlCanCarry(std::wstring_view text) noexcept;

/// The text with U+FFFD in place of each character that an XML document must not contain.
std::wstring XmlCarried(std::wstring_view text);

} // namespace scankelv
