// COM objects, texts and documents as the tests use them. Texts are UTF-8 here.
#pragma once

#include "../../PlatformWindows/Xml/ComHandle.h"
#include "TestSupport.h"

#include <cstring>
#include <msxml.h>
#include <objbase.h>

namespace test
{

/// Owns one reference.
template <class Interface>
struct Com : scankelv::ComHandle<Interface>
{
    Interface* operator->() const { return this->Get(); }
    operator Interface*() const { return this->Get(); }
};

class Bstr
{
public:
    Bstr() = default;
    explicit Bstr(std::basic_string_view<WCHAR> text)
        : m_text(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())))
    {
    }
    explicit Bstr(std::string_view text) : Bstr(ToWide(text)) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { ::SysFreeString(m_text); }

    BSTR* Receive() { return &m_text; }
    operator BSTR() const { return m_text; }
    std::string Utf8() const { return m_text == nullptr ? "(null)" : ToUtf8({m_text, ::SysStringLen(m_text)}); }

private:
    BSTR m_text = nullptr;
};

/// A variant that lends a text.
inline VARIANT Variant(const Bstr& text)
{
    VARIANT variant{};
    variant.vt = VT_BSTR;
    variant.bstrVal = text;
    return variant;
}

class ComThread
{
public:
    ComThread() { ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~ComThread() { ::CoUninitialize(); }
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;
};

inline Com<IXMLDOMDocument> NewDocument()
{
    Com<IXMLDOMDocument> document;
    EXPECT_EQ(
        S_OK, ::CoCreateInstance(
                  CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                  reinterpret_cast<void**>(document.Receive())));
    document->put_async(VARIANT_FALSE);
    return document;
}

/// Calls a member that loads, whose result and success flag must agree. @return whether it loaded
template <class Source>
bool Load(IXMLDOMDocument* document, HRESULT (WINAPI IXMLDOMDocument::*member)(Source, VARIANT_BOOL*), Source source)
{
    VARIANT_BOOL success = 77;
    const HRESULT result = (document->*member)(source, &success);
    EXPECT_EQ(success == VARIANT_TRUE ? S_OK : S_FALSE, result) << success;
    return success == VARIANT_TRUE;
}
inline bool Load(IXMLDOMDocument* document, std::basic_string_view<WCHAR> text)
{
    return Load<BSTR>(document, &IXMLDOMDocument::loadXML, Bstr(text));
}
inline bool Load(IXMLDOMDocument* document, std::string_view text)
{
    return Load(document, ToWide(text));
}
inline bool LoadFile(IXMLDOMDocument* document, const Wide& path)
{
    return Load(document, &IXMLDOMDocument::load, Variant(Bstr(path)));
}

inline std::string Repeated(std::string_view piece, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

/// An element whose one entity holds ten others, each of them ten others, and so on down to the bottom.
inline std::string EntityPyramid(std::string_view bottom, int levels)
{
    std::string text = "<!DOCTYPE x [<!ENTITY e0 '" + std::string(bottom) + "'>";
    for (int i = 1; i <= levels; ++i)
        text += "<!ENTITY e" + std::to_string(i) + " '" + Repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
    return text + "]><x a='A'>&e" + std::to_string(levels) + ";</x>";
}

inline std::string TextOf(IXMLDOMNode* node)
{
    Bstr text;
    EXPECT_EQ(S_OK, node->get_text(text.Receive()));
    return text.Utf8();
}
inline std::string XmlOf(IXMLDOMNode* node)
{
    Bstr text;
    EXPECT_EQ(S_OK, node->get_xml(text.Receive()));
    return text.Utf8();
}

inline HRESULT Select(IXMLDOMNode* from, std::string_view query, Com<IXMLDOMNode>& found)
{
    return from->selectSingleNode(Bstr(query), found.Receive());
}

inline Com<IXMLDOMElement> NewElement(IXMLDOMDocument* document, std::string_view name)
{
    Com<IXMLDOMElement> element;
    EXPECT_EQ(S_OK, document->createElement(Bstr(name), element.Receive())) << name;
    return element;
}
inline Com<IXMLDOMText> NewText(IXMLDOMDocument* document, std::basic_string_view<WCHAR> text)
{
    Com<IXMLDOMText> node;
    EXPECT_EQ(S_OK, document->createTextNode(Bstr(text), node.Receive()));
    return node;
}
inline HRESULT NewInstruction(
    IXMLDOMDocument* document, std::string_view target, std::string_view data, Com<IXMLDOMProcessingInstruction>& made)
{
    return document->createProcessingInstruction(Bstr(target), Bstr(data), made.Receive());
}

inline void AppendDeclaration(IXMLDOMDocument* document, std::string_view data)
{
    Com<IXMLDOMProcessingInstruction> declaration;
    ASSERT_EQ(S_OK, NewInstruction(document, "xml", data, declaration));
    ASSERT_EQ(S_OK, document->appendChild(declaration, nullptr));
}

/// A new document of a declaration, unless it is empty, and <x>content</x>.
inline Com<IXMLDOMDocument> Built(std::string_view declaration, std::basic_string_view<WCHAR> content)
{
    Com<IXMLDOMDocument> document = NewDocument();
    if (!declaration.empty())
        AppendDeclaration(document, declaration);
    const Com<IXMLDOMElement> root = NewElement(document, "x");
    EXPECT_EQ(S_OK, root->appendChild(NewText(document, content), nullptr));
    EXPECT_EQ(S_OK, document->appendChild(root, nullptr));
    return document;
}

} // namespace test
