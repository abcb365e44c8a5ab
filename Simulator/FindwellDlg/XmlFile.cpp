#include "XmlFile.h"

#include <objbase.h>
#include <stdexcept>

namespace simulator
{
namespace
{

struct FreeText
{
    void operator()(BSTR text) const { ::SysFreeString(text); }
};
using ModelText = std::unique_ptr<OLECHAR, FreeText>;

ModelText Given(std::wstring_view text)
{
    return ModelText(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
}

void Demand(HRESULT result, std::string_view what)
{
    if (FAILED(result))
        throw std::runtime_error("the document model refuses " + std::string(what));
}

std::wstring Read(IXMLDOMNode& node, HRESULT (WINAPI IXMLDOMNode::*member)(BSTR*))
{
    BSTR text = nullptr;
    Demand((node.*member)(&text), "a text");
    const ModelText owned(text);
    return {text, ::SysStringLen(text)};
}

Owned<IXMLDOMDocument> NewDocument()
{
    IXMLDOMDocument* document = nullptr;
    Demand(
        ::CoCreateInstance(
            CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, reinterpret_cast<void**>(&document)),
        "a document");
    document->put_async(VARIANT_FALSE);
    return Owned<IXMLDOMDocument>(document);
}

} // namespace

Node LoadXmlFile(const std::wstring& path)
{
    Owned<IXMLDOMDocument> document = NewDocument();
    const ModelText name = Given(path);
    VARIANT source{};
    source.vt = VT_BSTR;
    source.bstrVal = name.get();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(document->load(source, &loaded)) || loaded == VARIANT_FALSE)
        throw std::runtime_error("cannot read " + Utf8(path));
    return document;
}

Node LoadXmlText(const wchar_t* text)
{
    Owned<IXMLDOMDocument> document = NewDocument();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (text == nullptr || FAILED(document->loadXML(Given(text).get(), &loaded)) || loaded == VARIANT_FALSE)
        throw std::runtime_error("a text of the call is no XML");
    return document;
}

std::vector<Node> Select(IXMLDOMNode& from, std::string_view query)
{
    IXMLDOMNodeList* found = nullptr;
    Demand(from.selectNodes(Given(Utf16(query)).get(), &found), query);
    const Owned<IXMLDOMNodeList> list(found);
    LONG count = 0;
    Demand(list->get_length(&count), query);
    std::vector<Node> nodes;
    for (LONG i = 0; i < count; ++i)
    {
        IXMLDOMNode* node = nullptr;
        Demand(list->get_item(i, &node), query);
        nodes.push_back(Node(node)); // owned before the vector grows, which may fail
    }
    return nodes;
}

Node SelectFirst(IXMLDOMNode& from, std::string_view query)
{
    IXMLDOMNode* node = nullptr;
    Demand(from.selectSingleNode(Given(Utf16(query)).get(), &node), query);
    return Node(node);
}

std::wstring Text(IXMLDOMNode& node)
{
    return Read(node, &IXMLDOMNode::get_text);
}

std::wstring Xml(IXMLDOMNode& node)
{
    return Read(node, &IXMLDOMNode::get_xml);
}

std::wstring ChildText(IXMLDOMNode& node, std::string_view name)
{
    const Node child = SelectFirst(node, name);
    return child ? Text(*child) : std::wstring();
}

void SetChildText(IXMLDOMNode& node, std::string_view name, std::wstring_view text)
{
    Node child = SelectFirst(node, name);
    if (!child)
    {
        child = SelectFirst(*LoadXmlText((L"<" + Utf16(name) + L"/>").c_str()), "/*");
        Demand(node.appendChild(child.get(), nullptr), name);
    }
    Demand(child->put_text(Given(text).get()), name);
}

} // namespace simulator
