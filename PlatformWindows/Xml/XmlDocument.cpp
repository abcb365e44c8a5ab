#include "XmlDocument.h"

#include "Loggers.h"
#include "XmlCharacters.h"

#include <msxml2.h>
#include <objbase.h>
#include <ole2.h>
#include <type_traits>
#undef CLSID_DOMDocument // msxml2.h gives another class this name

namespace scankelv
{
namespace
{

constexpr IID documentWithProperties = // of IXMLDOMDocument2; no import library has it
    {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

template <class Interface>
extern const IID& interfaceId;
template <>
const IID& interfaceId<IXMLDOMDocument> = IID_IXMLDOMDocument;
template <>
const IID& interfaceId<IXMLDOMElement> = IID_IXMLDOMElement;
template <>
const IID& interfaceId<IXMLDOMNode> = IID_IXMLDOMNode;

// One call of the document model. Parameters are those of the member; an object's own interface may be a derived one.
template <class Object, class Interface, class... Parameters>
void Call(
    Object* object, HRESULT (WINAPI Interface::*member)(Parameters...), std::type_identity_t<Parameters>... arguments)
{
    const HRESULT result = object != nullptr ? (object->*member)(arguments...) : E_POINTER;
    if (FAILED(result))
        throw XmlError(result, interfaceId<Interface>);
}

// The model takes the variant by value and does not keep it, so the text is passed without a copy.
VARIANT TextVariant(const _bstr_t& text)
{
    VARIANT variant{};
    variant.vt = VT_BSTR;
    variant.bstrVal = text.Get();
    return variant;
}

bool Succeeded(HRESULT result, const char* expression, const PlaceHere& place)
{
    return Checked(AgentLogger, CheckErrorCode, static_cast<DWORD>(result), expression, 1, place);
}

// A document that does not load is no exception, whatever code the model returns.
template <class Source>
bool Load(const XmlDocument& document, HRESULT (WINAPI IXMLDOMDocument::*member)(Source, VARIANT_BOOL*), Source source)
{
    if (!document)
        throw XmlError(E_POINTER, IID_IXMLDOMDocument);
    VARIANT_BOOL success = VARIANT_FALSE;
    const HRESULT result = (document.Get()->*member)(source, &success);
    return SUCCEEDED(result) && success != VARIANT_FALSE;
}

} // namespace

HRESULT XmlCreateDocument(XmlDocument& document, DWORD classContext)
{
    XmlDocument created;
    const auto create = [classContext](const IID& id, auto& object) {
        return ::CoCreateInstance(
            CLSID_DOMDocument, nullptr, classContext, id, reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
    };
    HRESULT result = S_OK;
    if ((classContext & (CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)) != 0)
    {
        Microsoft::WRL::ComPtr<IUnknown> object;
        result = create(IID_IUnknown, object);
        if (SUCCEEDED(result))
            result = ::OleRun(object.Get());
        if (SUCCEEDED(result))
            result = object.Get()->QueryInterface(
                IID_IXMLDOMDocument, reinterpret_cast<void**>(created.ReleaseAndGetAddressOf()));
    }
    else
        result = create(IID_IXMLDOMDocument, created);
    document = SUCCEEDED(result) ? std::move(created) : XmlDocument();
    return result;
}

XmlDocument XmlCreateDocumentInitialisingCom()
{
    constexpr DWORD context = CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER;
    XmlDocument document;
    XmlCreateDocument(document, context);
    if (!document)
    {
        // The document needs the thread's COM as long as it exists. A thread that has it already (S_FALSE) keeps it.
        if (::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED) == S_FALSE)
            ::CoUninitialize();
        XmlCreateDocument(document, context);
    }
    if (document)
        document.Get()->put_async(VARIANT_FALSE);
    return document;
}

bool XmlOpenDocument(XmlDocument& document, PlaceHere place)
{
    return Succeeded(XmlCreateDocument(document), "createInstanceResult", place) &&
           Succeeded(document.Get()->put_async(VARIANT_FALSE), "putAsyncResult", place);
}

bool XmlForbidExternals(const XmlDocument& document, PlaceHere place)
{
    return Succeeded(document.Get()->put_resolveExternals(VARIANT_FALSE), "resolveExternalsResult", place) &&
           Succeeded(document.Get()->put_validateOnParse(VARIANT_FALSE), "validateOnParseResult", place);
}

void XmlForbidDocumentType(const XmlDocument& document)
{
    Microsoft::WRL::ComPtr<IXMLDOMDocument2> newer;
    if (FAILED(document.Get()->QueryInterface(
            documentWithProperties, reinterpret_cast<void**>(newer.ReleaseAndGetAddressOf()))))
        return;
    VARIANT yes{};
    yes.vt = VT_BOOL;
    yes.boolVal = VARIANT_TRUE;
    newer->setProperty(_bstr_t(L"ProhibitDTD").Get(), yes);
}

bool XmlLoadText(const XmlDocument& document, const _bstr_t& text)
{
    return Load(document, &IXMLDOMDocument::loadXML, text.Get());
}

bool XmlOpenText(XmlDocument& document, const wchar_t* text, PlaceHere place)
{
    return XmlOpenDocument(document, place) && XmlForbidExternals(document, place) &&
           Checked(AgentLogger, CheckBoolean, XmlLoadText(document, text), "loadXmlResult", 1, place);
}

bool XmlLoadFile(const XmlDocument& document, const _bstr_t& path)
{
    return Load(document, &IXMLDOMDocument::load, TextVariant(path));
}

void XmlSave(const XmlDocument& document, const _bstr_t& path)
{
    Call(document.Get(), &IXMLDOMDocument::save, TextVariant(path));
}

_bstr_t XmlSerialise(const XmlDocument& document)
{
    BSTR text = nullptr;
    Call(document.Get(), &IXMLDOMNode::get_xml, &text);
    return _bstr_t::Adopt(text);
}

void XmlAddDeclaration(const XmlDocument& document)
{
    Microsoft::WRL::ComPtr<IXMLDOMProcessingInstruction> declaration;
    Call(
        document.Get(), &IXMLDOMDocument::createProcessingInstruction, _bstr_t(L"xml").Get(),
        _bstr_t(L"version=\"1.0\" encoding=\"UTF-16\"").Get(), declaration.ReleaseAndGetAddressOf());
    XmlAppend(document.Get(), declaration.Get());
}

XmlElement XmlCreateElement(const XmlDocument& document, const _bstr_t& name)
{
    XmlElement element;
    Call(document.Get(), &IXMLDOMDocument::createElement, name.Get(), element.ReleaseAndGetAddressOf());
    return element;
}

void XmlSetAttribute(const XmlElement& element, const _bstr_t& name, const _bstr_t& value)
{
    Call(element.Get(), &IXMLDOMElement::setAttribute, name.Get(), TextVariant(value));
}

void XmlAppend(IXMLDOMNode* parent, IXMLDOMNode* child)
{
    if (child == nullptr)
        throw XmlError(E_POINTER, IID_IXMLDOMNode);
    XmlNode attached;
    Call(parent, &IXMLDOMNode::appendChild, child, attached.ReleaseAndGetAddressOf());
}

XmlNode XmlSelectFirst(IXMLDOMNode* node, const _bstr_t& query)
{
    XmlNode found;
    Call(node, &IXMLDOMNode::selectSingleNode, query.Get(), found.ReleaseAndGetAddressOf());
    return found;
}

_bstr_t XmlText(IXMLDOMNode* node)
{
    BSTR text = nullptr;
    Call(node, &IXMLDOMNode::get_text, &text);
    return _bstr_t::Adopt(text);
}

// Arguments are taken by value, so that the caller's objects exist until the operation returns.
// NOLINTBEGIN(performance-unnecessary-value-param)
void XmlAddTextElement(XmlDocument document, XmlElement parent, _bstr_t name, _bstr_t text)
{
    const XmlElement element = XmlCreateElement(document, name);
    Microsoft::WRL::ComPtr<IXMLDOMText> content;
    // The model writes any text as it is: one character that an XML document must not contain would make the whole
    // document unreadable.
    if (!XmlCanCarry(text.View()))
        text = _bstr_t(XmlCarried(text.View()));
    Call(document.Get(), &IXMLDOMDocument::createTextNode, text.Get(), content.ReleaseAndGetAddressOf());
    XmlAppend(element.Get(), content.Get());
    XmlAppend(parent.Get(), element.Get());
}

void XmlAddEmptyElement(XmlDocument document, XmlElement parent, _bstr_t name)
{
    XmlAppend(parent.Get(), XmlCreateElement(document, name).Get());
}

_bstr_t XmlChildText(XmlNode node, _bstr_t name)
{
    const XmlNode found = XmlSelectFirst(node.Get(), name);
    return found ? XmlText(found.Get()) : _bstr_t(L"");
}
// NOLINTEND(performance-unnecessary-value-param)

} // namespace scankelv
