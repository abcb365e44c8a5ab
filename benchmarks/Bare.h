// What the cheapest program does: calls of the system without a layer between, no result checked.
#pragma once

#include <msxml.h>
#include <objbase.h>
#include <oleauto.h>
#include <span>
#include <string_view>
#include <windows.h>
#include <wrl/client.h>

namespace bare
{

using Microsoft::WRL::ComPtr;

struct Text
{
    explicit Text(std::wstring_view content)
        : text(::SysAllocStringLen(content.data(), static_cast<UINT>(content.size())))
    {
    }
    explicit Text(BSTR taken) : text(taken) {}
    ~Text() { ::SysFreeString(text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    std::wstring_view View() const { return {text == nullptr ? L"" : text, ::SysStringLen(text)}; }

    BSTR text;
};

inline VARIANT Variant(const Text& text)
{
    VARIANT variant{};
    variant.vt = VT_BSTR;
    variant.bstrVal = text.text;
    return variant;
}

inline ComPtr<IXMLDOMDocument> Document()
{
    ComPtr<IXMLDOMDocument> document;
    ::CoCreateInstance(
        CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
        reinterpret_cast<void**>(document.ReleaseAndGetAddressOf()));
    document->put_async(VARIANT_FALSE);
    return document;
}

inline ComPtr<IXMLDOMDocument> Closed() ///< that loads nothing but its own text
{
    ComPtr<IXMLDOMDocument> document = Document();
    document->put_resolveExternals(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    return document;
}

inline ComPtr<IXMLDOMDocument> Loaded(std::wstring_view xml)
{
    ComPtr<IXMLDOMDocument> document = Closed();
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

inline void Add(IXMLDOMDocument* document, IXMLDOMNode* parent, BSTR name, const Text* text)
{
    const ComPtr<IXMLDOMElement> element = Element(document, name);
    if (text != nullptr)
    {
        ComPtr<IXMLDOMText> content;
        document->createTextNode(text->text, content.GetAddressOf());
        Append(element.Get(), content.Get());
    }
    Append(parent, element.Get());
}
inline void Add(IXMLDOMDocument* document, IXMLDOMNode* parent, std::wstring_view name, std::wstring_view text)
{
    const Text content(text);
    Add(document, parent, Text(name).text, &content);
}

inline void Declare(IXMLDOMDocument* document)
{
    ComPtr<IXMLDOMProcessingInstruction> declaration;
    document->createProcessingInstruction(
        Text(std::wstring_view(L"xml")).text, Text(std::wstring_view(L"version=\"1.0\" encoding=\"UTF-16\"")).text,
        declaration.GetAddressOf());
    Append(document, declaration.Get());
}

inline ComPtr<IXMLDOMElement> List(IXMLDOMDocument* document, std::wstring_view version)
{
    ComPtr<IXMLDOMElement> list = Element(document, Text(std::wstring_view(L"devicelist")).text);
    list->setAttribute(Text(std::wstring_view(L"version")).text, Variant(Text(version)));
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

/// @param start  in upper case
inline bool BeginsWith(std::wstring_view text, std::wstring_view start)
{
    for (std::size_t i = 0; i < start.size(); ++i)
        if (i == text.size() || (text[i] >= L'a' && text[i] <= L'z' ? text[i] - 32 : text[i]) != start[i])
            return false;
    return true;
}

/// Whether one value of the first field with this key begins so.
inline bool HasValue(std::wstring_view identifier, std::wstring_view key, std::wstring_view start)
{
    for (std::size_t at = 0; at < identifier.size();)
    {
        const std::size_t end = std::min(identifier.find(L';', at), identifier.size());
        if (!BeginsWith(identifier.substr(at), key))
        {
            at = end + 1;
            continue;
        }
        for (at = identifier.find(L':', at); at < end; at = identifier.find(L',', at))
            if (BeginsWith(identifier.substr(++at), start))
                return true;
        return false;
    }
    return false;
}

/// Whether a vendor's device that announces scanning is described.
inline bool Matches(std::wstring_view xml)
{
    const ComPtr<IXMLDOMDocument> document = Loaded(xml);
    const Text identifier(Find(document.Get(), L"//deviceid")), ioType(Find(document.Get(), L"//iotype"));
    return ioType.text != nullptr && HasValue(identifier.View(), L"MFG", L"QUELLON") &&
           HasValue(identifier.View(), L"MODE", L"SCN");
}

/// What the library is told about the search.
inline void AddSearch(IXMLDOMDocument* document, IXMLDOMNode* option)
{
    constexpr std::wstring_view search[][2] = {
        {L"xmldevicepath", L"ScanKELV-Quellon Generic Scan Driver"},
        {L"iprangepath", L"ScanKELV-Quellon Generic Scan Driver"},
        {L"dialogmode", L"5"},
        {L"snmp_community_key", L"LANTERN"},
        {L"vendor", L"Quellon"},
        {L"appname", L"Quellon Generic Scan Driver"},
        {L"iotype", L"All"},
        {L"iodetail", L"scan"},
        {L"updateonselect", L"0"},
        {L"searchusbscanner", L"1"},
        {L"dialogcaption", L"Available Scan"},
        {L"codejock", L"KELV.cjstyles"},
        {L"properties", L"0"},
    };
    for (const auto& [name, text] : search)
        Add(document, option, name, text);
}

inline std::wstring_view Read(HKEY key, const wchar_t* name, std::span<wchar_t> buffer)
{
    DWORD type = 0, bytes = static_cast<DWORD>(buffer.size_bytes());
    const auto to = reinterpret_cast<BYTE*>(buffer.data());
    const bool isRead = ::RegQueryValueExW(key, name, nullptr, &type, to, &bytes) == ERROR_SUCCESS && type == REG_SZ;
    return {buffer.data(), isRead && bytes != 0 ? bytes / sizeof(wchar_t) - 1 : 0};
}
inline DWORD Read(HKEY key, const wchar_t* name)
{
    DWORD number = 0, type = 0, bytes = sizeof(number);
    ::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &bytes);
    return number;
}

} // namespace bare
