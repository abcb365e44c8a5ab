// Trees as texts: no white space is added but for a line end behind each node of the document itself; a line end in a
// text is CR LF.
#pragma once

#include "XmlTree.h"

#include <string>
#include <windows.h>
#include <wtypes.h>

namespace hostwindows
{

/// The pieces, joined; the caller frees it. @throws std::bad_alloc
BSTR MakeBstr(const std::vector<std::string_view>& pieces);

/// A node with all it holds; the caller frees the text. @throws std::bad_alloc
BSTR Serialise(const Node& node);

/// A document's bytes in the encoding that its declaration names: UTF-16 with a mark, UTF-8 without one.
/// @return false when the encoding is unknown or lacks a character. @throws std::bad_alloc
bool Encode(const Node& document, std::string& bytes);

} // namespace hostwindows
