// The characters that XML can carry.
#pragma once

#include <string>
#include <string_view>

namespace scankelv
{

/// Whether every character may be written into a document: no control character but tab and line ends, no half of a
/// surrogate pair, neither U+FFFE nor U+FFFF.
bool XmlCanCarry(std::wstring_view text) noexcept;

/// The text with U+FFFD in the place of each character that XML cannot carry.
std::wstring XmlCarried(std::wstring_view text);

} // namespace scankelv
