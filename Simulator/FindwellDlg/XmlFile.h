// The sample file and the texts of calls, read through the system's document model.
#pragma once

#include "Record.h"

#include <memory>
#include <msxml.h>
#include <vector>

namespace simulator
{

struct ReleaseObject
{
    void operator()(IUnknown* object) const { object->Release(); }
};
/// One reference of an object of the document model.
template <class Interface>
using Owned = std::unique_ptr<Interface, ReleaseObject>;
using Node = Owned<IXMLDOMNode>;

// The functions below throw std::runtime_error when the document model fails. COM must be initialised.

/// The document of a file, or of a text; throws when it is no XML, or the text is null.
Node LoadXmlFile(const std::wstring& path);
Node LoadXmlText(const wchar_t* text);
/// The nodes that the query names, seen from this one.
std::vector<Node> Select(IXMLDOMNode& from, std::string_view query);
/// The first of them; null when there is none.
Node SelectFirst(IXMLDOMNode& from, std::string_view query);
std::wstring Text(IXMLDOMNode& node);
std::wstring Xml(IXMLDOMNode& node);
/// The text of the first child of this name; empty when there is none.
std::wstring ChildText(IXMLDOMNode& node, std::string_view name);
/// Makes the child when there is none.
void SetChildText(IXMLDOMNode& node, std::string_view name, std::wstring_view text);

} // namespace simulator
