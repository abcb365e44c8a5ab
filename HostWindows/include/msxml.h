// The XML document model: class DOMDocument and the interfaces of its nodes. Texts handed out are the caller's to free;
// texts and variants handed in are copied.
#pragma once
#pragma GCC system_header

#include "ole2.h"
#include "windows.h"

struct IXMLDOMDocument;
struct IXMLDOMNodeList;

struct IXMLDOMNode : IUnknown
{
    virtual HRESULT appendChild(IXMLDOMNode* newChild, IXMLDOMNode** outNewChild) = 0;
    virtual HRESULT get_text(BSTR* text) = 0;
    virtual HRESULT get_xml(BSTR* xmlString) = 0;
    virtual HRESULT selectNodes(BSTR queryString, IXMLDOMNodeList** resultList) = 0;
    virtual HRESULT selectSingleNode(BSTR queryString, IXMLDOMNode** resultNode) = 0;
};

struct IXMLDOMNodeList : IUnknown
{
    virtual HRESULT get_item(LONG index, IXMLDOMNode** listItem) = 0;
    virtual HRESULT get_length(LONG* listLength) = 0;
};

struct IXMLDOMElement : IXMLDOMNode
{
    virtual HRESULT setAttribute(BSTR name, VARIANT value) = 0;
};

struct IXMLDOMText : IXMLDOMNode
{
};

struct IXMLDOMProcessingInstruction : IXMLDOMNode
{
};

struct IXMLDOMParseError : IUnknown
{
    virtual HRESULT get_errorCode(LONG* errorCode) = 0;
};

struct IXMLDOMDocument : IXMLDOMNode
{
    virtual HRESULT get_documentElement(IXMLDOMElement** element) = 0;
    virtual HRESULT createElement(BSTR tagName, IXMLDOMElement** element) = 0;
    virtual HRESULT createTextNode(BSTR data, IXMLDOMText** text) = 0;
    virtual HRESULT createProcessingInstruction(BSTR target, BSTR data, IXMLDOMProcessingInstruction** instruction) = 0;
    virtual HRESULT load(VARIANT xmlSource, VARIANT_BOOL* isSuccessful) = 0;
    virtual HRESULT get_parseError(IXMLDOMParseError** error) = 0;
    virtual HRESULT get_async(VARIANT_BOOL* isAsync) = 0;
    virtual HRESULT put_async(VARIANT_BOOL isAsync) = 0;
    virtual HRESULT loadXML(BSTR xml, VARIANT_BOOL* isSuccessful) = 0;
    virtual HRESULT save(VARIANT destination) = 0;
    virtual HRESULT get_preserveWhiteSpace(VARIANT_BOOL* isPreserving) = 0;
};

inline constexpr CLSID CLSID_DOMDocument = {
    0x2933BF90, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMNode = {0x2933BF80, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMDocument = {
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMNodeList = {
    0x2933BF82, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
inline constexpr IID IID_IXMLDOMElement = {
    0x2933BF86, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
