// What the cheapest program does: calls of the system without a layer between, no result checked.
#pragma once

#include <msxml.h>
#include <objbase.h>
#include <oleauto.h>
#include <string_view>
#include <windows.h>
#include <wrl/client.h>

namespace bare
{

constexpr std::wstring_view queries[] = { // of a list, in the order in which the agent makes them
    L"//iotype", L"//comment",  L"//devicepath",  L"//scannerport",  L"//deviceid",         L"//devicename",
    L"//ext",    L"//hostname", L"//location",    L"//macaddress",   L"//modelname",        L"//vendor",
    L"//pid",    L"//port",     L"//productname", L"//serialnumber", L"//systemdevicename", L"//userlocation",
    L"//vid"};

using Microsoft::WRL::ComPtr;

struct Text
{
    explicit Text(std::wstring_view content)
        : text(::SysAllocStringLen(content.data(), static_cast<UINT>(content.size())))
    {
    }
    explicit Text(const wchar_t* content) : Text(std::wstring_view(content)) {}
    explicit Text(BSTR taken) : text(taken) {}
    ~Text() { ::SysFreeString(text); }
    std::wstring_view View() const { return {text == nullptr ? L"" : text, ::SysStringLen(text)}; }

    BSTR text;
};

inline ComPtr<IXMLDOMDocument> Document()
{
    ComPtr<IXMLDOMDocument> document;
    ::CoCreateInstance(
        CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
        reinterpret_cast<void**>(document.ReleaseAndGetAddressOf()));
    document->put_async(VARIANT_FALSE);
    return document;
}

inline ComPtr<IXMLDOMDocument> Loaded(std::wstring_view xml)
{
    ComPtr<IXMLDOMDocument> document = Document();
    document->put_resolveExternals(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    VARIANT_BOOL success = VARIANT_FALSE;
    document->loadXML(Text(xml).text, &success);
    return document;
}

inline void Append(IXMLDOMNode* parent, IXMLDOMNode* child)
{
    ComPtr<IXMLDOMNode> attached;
    parent->appendChild(child, attached.GetAddressOf());
}

inline ComPtr<IXMLDOMElement> Element(IXMLDOMDocument* document, BSTR name)
{
    ComPtr<IXMLDOMElement> element;
    document->createElement(name, element.GetAddressOf());
    return element;
}

/// @param text  null: an empty element
inline void Add(IXMLDOMDocument* document, IXMLDOMNode* parent, const wchar_t* name, const Text* text)
{
    const ComPtr<IXMLDOMElement> element = Element(document, Text(name).text);
    if (text != nullptr)
    {
        ComPtr<IXMLDOMText> content;
        document->createTextNode(text->text, content.GetAddressOf());
        Append(element.Get(), content.Get());
    }
    Append(parent, element.Get());
}

inline ComPtr<IXMLDOMElement> List(IXMLDOMDocument* document)
{
    const Text version(L"1.0.1");
    VARIANT variant{};
    variant.vt = VT_BSTR;
    variant.bstrVal = version.text;
    ComPtr<IXMLDOMElement> list = Element(document, Text(L"devicelist").text);
    list->setAttribute(Text(L"version").text, variant);
    return list;
}

/// The text of the first node that a query finds; null when there is none.
inline BSTR Find(IXMLDOMNode* node, std::wstring_view query)
{
    ComPtr<IXMLDOMNode> found;
    BSTR text = nullptr;
    node->selectSingleNode(Text(query).text, found.GetAddressOf());
    if (found)
        found->get_text(&text);
    return text;
}

/// Whether the device below is described.
inline bool Matches(std::wstring_view xml)
{
    const ComPtr<IXMLDOMDocument> document = Loaded(xml);
    const Text identifier(Find(document.Get(), L"//deviceid")), ioType(Find(document.Get(), L"//iotype"));
    return ioType.text != nullptr && identifier.View().find(L"mfg:quellon") != std::wstring_view::npos &&
           identifier.View().find(L",scn") != std::wstring_view::npos;
}

/// Begins a filter text with what the library is told about the search.
inline ComPtr<IXMLDOMElement> Begin(IXMLDOMDocument* document)
{
    constexpr const wchar_t* names[] = {L"xmldevicepath",  L"iprangepath",      L"dialogmode",    L"snmp_community_key",
                                        L"vendor",         L"appname",          L"iotype",        L"iodetail",
                                        L"updateonselect", L"searchusbscanner", L"dialogcaption", L"codejock",
                                        L"properties"};
    ComPtr<IXMLDOMProcessingInstruction> declaration;
    document->createProcessingInstruction(
        Text(L"xml").text, Text(L"version=\"1.0\" encoding=\"UTF-16\"").text, declaration.GetAddressOf());
    Append(document, declaration.Get());
    ComPtr<IXMLDOMElement> option = Element(document, Text(L"option").text);
    const Text text(L"Quellon Generic Scan Driver");
    for (const wchar_t* const name : names)
        Add(document, option.Get(), name, &text);
    return option;
}

inline void End(IXMLDOMDocument* document, IXMLDOMNode* option, IXMLDOMNode* list)
{
    BSTR xml = nullptr;
    Append(option, list);
    Append(document, option);
    document->get_xml(&xml);
    ::SysFreeString(xml);
}

/// A stored text, or the bytes of a number.
inline std::wstring_view Read(HKEY key, const wchar_t* name, wchar_t (&buffer)[1024])
{
    DWORD type = 0, bytes = sizeof(buffer);
    ::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &bytes);
    return {buffer, bytes / sizeof(wchar_t) - 1};
}

} // namespace bare
