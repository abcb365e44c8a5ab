// XML texts and files read into trees, by libxml2's parser, and trees written as texts and files.
#pragma once

#include "XmlTree.h"

#include <wtypes.h>

namespace hostwindows
{

/// Reads a text into the document, which must be empty; what encoding it declares does not matter, if there is one of
/// that name. Nothing outside the text is ever read. The nodes take at most about eight times the room of the text,
/// entities expanded; a text that would need more, or is nested deeper than 256 elements, is refused.
/// @return false when it was not well-formed or was refused; the document then holds a part of it
bool ParseText(std::u16string_view text, Arena& arena, Node& document);
/// The same for a file's contents: UTF-16 by its mark, else as declared, else UTF-8.
bool ParseBytes(std::string_view bytes, Arena& arena, Node& document);

/// The caller frees it. @throws std::bad_alloc
BSTR MakeBstr(std::string_view text);

/// A node with all it holds. No white space is added but for a line end behind each node of the document itself; a line
/// end in a text is CR LF.
std::string Serialise(const Node& node);
/// A document's bytes in the encoding that its declaration names: UTF-16 with a mark, UTF-8 without one.
/// @return nothing when the encoding is unknown or lacks a character
std::optional<std::string> Encode(const Node& document);

} // namespace hostwindows
