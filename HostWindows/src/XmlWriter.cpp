#include "XmlWriter.h"

#include "XmlEncoding.h"
#include "XmlParser.h"
#include "XmlText.h"

#include <algorithm>
#include <limits>
#include <new>
#include <oleauto.h>

namespace hostwindows
{
namespace
{

struct Escape
{
    char character;
    std::string_view text;
};
constexpr Escape inText[] = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\r', "&#13;"}, {'\n', "\r\n"}};
constexpr Escape inAttribute[] = {{'&', "&amp;"},  {'<', "&lt;"},   {'>', "&gt;"}, {'"', "&quot;"},
                                  {'\r', "&#13;"}, {'\n', "&#10;"}, {'\t', "&#9;"}};
constexpr Escape inMarkup[] = {{'\n', "\r\n"}};

template <std::size_t count, class Sink>
void PutEscaped(std::string_view text, const Escape (&escapes)[count], Sink& sink)
{
    std::size_t written = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        for (const Escape& escape : escapes)
            if (text[i] == escape.character)
            {
                sink.Put(text.substr(written, i - written));
                sink.Put(escape.text);
                written = i + 1;
            }
    sink.Put(text.substr(written));
}

template <class Sink>
void PutStart(const Node& node, Sink& sink)
{
    switch (node.kind)
    {
    case NodeKind::document:
        break;
    case NodeKind::element:
        sink.Put("<");
        sink.Put(node.name);
        for (const Node* at = node.First(); at != nullptr && at->kind == NodeKind::attribute; at = at->Next())
        {
            sink.Put(" ");
            PutStart(*at, sink);
        }
        sink.Put(FirstChild(node) != nullptr ? ">" : "/>");
        break;
    case NodeKind::attribute:
        sink.Put(node.name);
        sink.Put("=\"");
        PutEscaped(node.Text(), inAttribute, sink);
        sink.Put("\"");
        break;
    case NodeKind::text:
        PutEscaped(node.Text(), inText, sink);
        break;
    case NodeKind::cdata:
        sink.Put("<![CDATA[");
        PutEscaped(node.Text(), inMarkup, sink);
        sink.Put("]]>");
        break;
    case NodeKind::comment:
        sink.Put("<!--");
        PutEscaped(node.Text(), inMarkup, sink);
        sink.Put("-->");
        break;
    case NodeKind::instruction:
        sink.Put("<?");
        sink.Put(node.name);
        sink.Put(" ");
        PutEscaped(node.Text(), inMarkup, sink);
        sink.Put("?>");
        break;
    }
}

// Goes along the links: a tree of any depth takes no stack.
template <class Sink>
void PutTree(const Node& top, Sink& sink)
{
    const Node* node = &top;
    for (;;)
    {
        PutStart(*node, sink);
        if (const Node* const child = FirstChild(*node); child != nullptr)
        {
            node = child;
            continue;
        }
        for (;; node = node->parent)
        {
            if (node->kind == NodeKind::element && FirstChild(*node) != nullptr)
            {
                sink.Put("</");
                sink.Put(node->name);
                sink.Put(">");
            }
            if (node == &top)
                return;
            if (node->parent->kind == NodeKind::document)
                sink.Put("\r\n");
            if (const Node* const next = node->Next(); next != nullptr)
            {
                node = next;
                break;
            }
        }
    }
}

// UTF-16 is written in two rounds, the first of which counts: so the text is made once, where it stays.
struct Utf16Counter
{
    std::size_t units = 0;
    void Put(std::string_view text) { units += Utf16Length(text); }
};
struct Utf16Sink
{
    char16_t* to;
    void Put(std::string_view text) { to = WriteUtf16(text, to); }
};
struct Utf8Sink
{
    std::string& bytes;
    void Put(std::string_view text) { bytes += text; }
};

template <class PutAll>
BSTR BstrOf(PutAll putAll)
{
    Utf16Counter counter;
    putAll(counter);
    BSTR text = counter.units <= std::numeric_limits<UINT>::max()
                    ? ::SysAllocStringLen(nullptr, static_cast<UINT>(counter.units))
                    : nullptr;
    if (text == nullptr)
        throw std::bad_alloc();
    Utf16Sink sink{text};
    putAll(sink);
    return text;
}

std::string_view DeclaredEncoding(const Node& document)
{
    Declaration declaration;
    for (const Node* at = document.First(); at != nullptr; at = at->Next())
        if (at->kind == NodeKind::instruction && at->IsNamed("xml"))
        {
            ReadDeclaration(at->Text(), declaration);
            break;
        }
    return declaration.encoding;
}

} // namespace

BSTR MakeBstr(const std::vector<std::string_view>& pieces)
{
    return BstrOf([&pieces](auto& sink) {
        for (const std::string_view piece : pieces)
            sink.Put(piece);
    });
}

BSTR Serialise(const Node& node)
{
    return BstrOf([&node](auto& sink) { PutTree(node, sink); });
}

bool Encode(const Node& document, std::string& bytes)
{
    bytes.clear();
    if (document.First() == nullptr)
        return true;
    const std::string encoding(DeclaredEncoding(document));
    const Encoding kind = EncodingNamed(encoding);
    if (kind == Encoding::utf16)
    {
        Utf16Counter counter;
        PutTree(document, counter);
        bytes.resize((counter.units + 1) * sizeof(char16_t));
        auto* const units = reinterpret_cast<char16_t*>(bytes.data());
        *units = 0xFEFF;
        Utf16Sink sink{units + 1};
        PutTree(document, sink);
        return true;
    }
    Utf8Sink sink{bytes};
    PutTree(document, sink);
    if (kind == Encoding::utf8)
        return true;
    const std::string text = std::move(bytes);
    return Convert(text, "UTF-8", encoding, bytes);
}

} // namespace hostwindows
