// Names of elements, attributes and instructions.
#pragma once

#include <libxml/tree.h>
#include <string>

namespace hostwindows
{

/// Whether a UTF-8 text is a name, with a prefix or without.
inline bool IsXmlName(const std::string& text)
{
    return xmlValidateQName(reinterpret_cast<const xmlChar*>(text.c_str()), 0) == 0;
}

} // namespace hostwindows
