// Conversion of line ends to CR LF.
#pragma once

#include <cstddef>
#include <string_view>

namespace scankelv
{

/// The length of the converted text in bytes. Each line feed, with or without a carriage return before it, becomes CR
/// LF.
std::size_t LengthWithLineEnds(std::string_view text);

/// Writes the converted text to `target`, which may be the text's own buffer. `target` must have space for
/// LengthWithLineEnds(text) bytes; no terminator is written.
void ConvertLineEnds(std::string_view text, char* target);

} // namespace scankelv
