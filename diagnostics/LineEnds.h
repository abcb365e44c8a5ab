// Line ends as Windows wants them.
#pragma once

#include <cstddef>
#include <string_view>

namespace scankelv
{

/// The length of the text, in bytes, once every line feed, with or without a carriage return before it, is a CR LF.
std::size_t LengthWithLineEnds(std::string_view text);

/// Writes that form of the text to `target`, which may be the text itself. `target` has space for LengthWithLineEnds
/// characters and is not terminated.
void ConvertLineEnds(std::string_view text, char* target);

} // namespace scankelv
