// Reading XML texts and files into trees, by libxml2's parser.
#pragma once

#include "XmlTree.h"

#include <string>
#include <string_view>

namespace hostwindows
{

/// Deeper nesting is refused.
inline constexpr unsigned deepestNesting = 256;

/// A declaration's contents: version="1.0", then encoding and standalone where given.
struct Declaration
{
    std::string_view encoding; ///< empty when not given
};
/// @return false when `data`, what stands between "<?xml" and "?>", is none
bool ReadDeclaration(std::string_view data, Declaration& declaration);

/// Reads a text into the document, which must be empty; what encoding it declares does not matter, if there is one of
/// that name. Nothing outside the text is ever read. The nodes take at most about nine times the room of the text,
/// entities expanded; a text that would need more is refused.
/// @return false when it was not well-formed or was refused; the document then holds a part of it
bool ParseText(std::u16string_view text, Arena& arena, Node& document);

/// The same for a file's contents: UTF-16 by its mark, else as declared, else UTF-8.
bool ParseBytes(std::string bytes, Arena& arena, Node& document);

} // namespace hostwindows
