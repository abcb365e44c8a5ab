#include "XmlParser.h"

#include "Paths.h"

#include <algorithm>
#include <climits>
#include <iconv.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/SAX2.h>
#include <new>
#include <oleauto.h>
#include <strings.h>
#include <utility>

namespace hostwindows
{
namespace
{

using namespace std::string_view_literals;

constexpr std::string_view utf16Mark = "\xFF\xFE";
constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";

const char* Narrow(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

bool IsBlank(char c)
{
    return xmlBlanks.find(c) != std::string_view::npos;
}

// Makes nodes of what the parser reports. Names are as they are written, prefix and all, and lie in the parser's
// dictionary. It calls from C, so no exception leaves a member.
class TreeBuilder
{
public:
    TreeBuilder(Arena& arena, Node& document, std::size_t mostBytes)
        : m_arena(arena),
          m_current(&document),
          m_mostBytes(mostBytes)
    {
    }

    /// Reads all of the text.
    bool Build(std::string_view text, int encodingOption);

private:
    static void SetEvents(xmlSAXHandler& events);

    // An event of the document: not of its DTD, and none after a refusal. An entity's content is parsed by a context
    // of its own that shares the builder.
    template <class Event>
    static void On(void* context, Event event)
    {
        auto& parser = *static_cast<xmlParserCtxt*>(context);
        auto* const self = static_cast<TreeBuilder*>(parser._private);
        if (parser.inSubset != 0)
            return;
        if (!self->m_refused)
        {
            try
            {
                event(*self);
            }
            catch (const std::bad_alloc&)
            {
                self->m_refused = true;
            }
            const int names = xmlDictSize(parser.dict);
            const std::size_t used = self->m_arena.Bytes() + self->m_text.size() +
                                     nameOverhead * static_cast<std::size_t>(names < 0 ? 0 : names);
            self->m_refused = self->m_refused || used > self->m_mostBytes;
        }
        if (self->m_refused)
        {
            xmlStopParser(&parser);
            xmlStopParser(self->m_parser);
        }
    }

    // An entity that lies elsewhere is empty: its place is never looked at.
    static void
    OnEntityDeclaration(void* context, const xmlChar* name, int type, const xmlChar*, const xmlChar*, xmlChar* content)
    {
        xmlChar nothing[] = {0};
        if (type == XML_EXTERNAL_GENERAL_PARSED_ENTITY)
            type = XML_INTERNAL_GENERAL_ENTITY;
        if (type == XML_EXTERNAL_PARAMETER_ENTITY)
            type = XML_INTERNAL_PARAMETER_ENTITY;
        xmlSAX2EntityDecl(context, name, type, nullptr, nullptr, content == nullptr ? nothing : content);
    }

    Node* Add(NodeKind kind, const char* name, std::string_view text)
    {
        FlushText();
        Node* const node = m_arena.Make(kind, name, text);
        LinkLast(*m_current, *node);
        return node;
    }

    void FlushText()
    {
        if (!m_text.empty() && (m_text.find_first_not_of(xmlBlanks) != std::string::npos || PreservesSpace(*m_current)))
            LinkLast(*m_current, *m_arena.Make(NodeKind::text, nullptr, m_text));
        m_text.clear();
    }

    static constexpr std::size_t nameOverhead = 64; // of a name in the dictionary

    Arena& m_arena;
    Node* m_current;
    std::size_t m_mostBytes;
    xmlParserCtxt* m_parser = nullptr;
    std::string m_text; // between two nodes
    bool m_refused = false;
};

void TreeBuilder::SetEvents(xmlSAXHandler& events)
{
    xmlSAXVersion(&events, 1); // names with their prefixes
    events.startElement = [](void* context, const xmlChar* name, const xmlChar** attributes) {
        On(context, [=](TreeBuilder& self) {
            self.m_current = self.Add(NodeKind::element, Narrow(name), {});
            for (const xmlChar** at = attributes; at != nullptr && *at != nullptr; at += 2)
                LinkAttribute(*self.m_current, *self.m_arena.Make(NodeKind::attribute, Narrow(at[0]), Narrow(at[1])));
        });
    };
    events.endElement = [](void* context, const xmlChar*) {
        On(context, [](TreeBuilder& self) {
            self.FlushText();
            self.m_current = self.m_current->parent;
        });
    };
    events.characters = [](void* context, const xmlChar* text, int length) {
        On(context, [=](TreeBuilder& self) { self.m_text.append(Narrow(text), static_cast<std::size_t>(length)); });
    };
    events.ignorableWhitespace = events.characters;
    events.cdataBlock = [](void* context, const xmlChar* text, int length) {
        const std::string_view literal(Narrow(text), static_cast<std::size_t>(length));
        On(context, [=](TreeBuilder& self) { self.Add(NodeKind::cdata, nullptr, literal); });
    };
    events.comment = [](void* context, const xmlChar* text) {
        On(context, [=](TreeBuilder& self) { self.Add(NodeKind::comment, nullptr, Narrow(text)); });
    };
    events.processingInstruction = [](void* context, const xmlChar* target, const xmlChar* data) {
        const char* const text = data == nullptr ? "" : Narrow(data);
        On(context, [=](TreeBuilder& self) { self.Add(NodeKind::instruction, Narrow(target), text); });
    };
    events.entityDecl = OnEntityDeclaration;
    events.reference = [](void*, const xmlChar*) {};
    events.externalSubset = [](void*, const xmlChar*, const xmlChar*, const xmlChar*) {};
}

bool TreeBuilder::Build(std::string_view text, int encodingOption)
{
    const std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)> parser(
        xmlCreateMemoryParserCtxt(text.data(), static_cast<int>(text.size())), &xmlFreeParserCtxt);
    if (parser == nullptr)
        throw std::bad_alloc();
    m_parser = parser.get();
    m_parser->_private = this;
    SetEvents(*m_parser->sax);
    xmlCtxtUseOptions(
        m_parser, XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | encodingOption);
    xmlDictReference(m_parser->dict); // the names outlive the parser
    m_arena.names.reset(m_parser->dict, [](xmlDict* names) { xmlDictFree(names); });

    const bool parsed = xmlParseDocument(m_parser) == 0;
    if (m_parser->myDoc != nullptr) // what a DTD declared
        xmlFreeDoc(std::exchange(m_parser->myDoc, nullptr));
    return parsed && m_parser->wellFormed == 1 && !m_refused;
}

bool Is(const std::string& encoding, const char* name)
{
    return ::strcasecmp(encoding.c_str(), name) == 0;
}

/// Nothing when a character has no counterpart there, or the encoding is unknown.
std::optional<std::string> InEncoding(std::string_view text, const std::string& encoding)
{
    const ::iconv_t converter = ::iconv_open(encoding.c_str(), "UTF-8");
    if (reinterpret_cast<std::intptr_t>(converter) == -1)
        return std::nullopt;
    const std::unique_ptr<void, decltype(&::iconv_close)> owner(converter, &::iconv_close);
    constexpr std::size_t longestCharacter = 4;
    std::string converted(longestCharacter * text.size() + 2 * longestCharacter, '\0');
    char* in = const_cast<char*>(text.data()); // iconv's old signature: it is not written to
    char* out = converted.data();
    std::size_t left = text.size();
    std::size_t room = converted.size();
    // A number above zero counts characters that were replaced.
    if (::iconv(converter, &in, &left, &out, &room) != 0 || ::iconv(converter, nullptr, nullptr, &out, &room) != 0)
        return std::nullopt;
    converted.resize(converted.size() - room);
    return converted;
}

/// What stands in the declaration that a text begins with; empty when it begins with none.
std::string DeclarationOf(std::string_view text)
{
    constexpr std::string_view opening = "<?xml";
    if (!text.starts_with(opening) || text.size() == opening.size() || !IsBlank(text[opening.size()]))
        return {};
    text.remove_prefix(opening.size());
    text = text.substr(0, text.find("?>"));
    std::string data(text.substr(std::min(text.find_first_not_of(xmlBlanks), text.size())));
    std::ranges::replace_if(data, IsBlank, ' '); // a line end is not kept as it was written
    return data;
}

/// The encoding that a declaration names, or an empty name.
std::string EncodingOf(std::string_view declaration)
{
    constexpr std::string_view word = "encoding";
    std::size_t at = declaration.find(word);
    at = at == std::string_view::npos ? at : declaration.find_first_of("\"'", at);
    const std::size_t end = at == std::string_view::npos ? at : declaration.find(declaration[at], at + 1);
    return std::string(end == std::string_view::npos ? "" : declaration.substr(at + 1, end - at - 1));
}

/// @param given  bytes of the text as it was handed in; @param encodingOption  XML_PARSE_IGNORE_ENC for UTF-8 whatever
/// the declaration says, or 0. A name that only the parser knows for an encoding could not be written again: refused.
bool Parse(std::string_view text, std::size_t given, int encodingOption, Arena& arena, Node& document)
{
    static const bool ready = (xmlInitParser(), true); // once, whatever threads come first
    constexpr std::size_t alwaysGranted = std::size_t{1024} * 1024;
    constexpr std::size_t timesTheText = 8;
    if (!ready || text.empty() || text.size() > INT_MAX || text.find('\0') != std::string_view::npos)
        return false;
    const std::string declaration = DeclarationOf(text);
    const std::string encoding = EncodingOf(declaration);
    if (!encoding.empty() && !Is(encoding, "UTF-8") && !Is(encoding, "UTF-16") && !InEncoding("", encoding))
        return false;
    if (!declaration.empty())
        LinkLast(document, *arena.Make(NodeKind::instruction, "xml", declaration));
    return TreeBuilder(arena, document, std::max(alwaysGranted, timesTheText * given)).Build(text, encodingOption);
}

struct Escape
{
    char character;
    std::string_view text;
};
constexpr Escape inText[] = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\r', "&#13;"}, {'\n', "\r\n"}};
constexpr Escape inAttribute[] = {{'&', "&amp;"},  {'<', "&lt;"},   {'>', "&gt;"}, {'"', "&quot;"},
                                  {'\r', "&#13;"}, {'\n', "&#10;"}, {'\t', "&#9;"}};
constexpr Escape inMarkup[] = {{'\n', "\r\n"}};

template <std::size_t count>
void Put(std::string_view text, const Escape (&escapes)[count], std::string& to)
{
    std::size_t written = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] > '>') // most letters lie behind all that are escaped
            continue;
        for (const Escape& escape : escapes)
            if (text[i] == escape.character)
            {
                to.append(text, written, i - written).append(escape.text);
                written = i + 1;
            }
    }
    to.append(text, written);
}

void PutMarkup(std::string_view before, const Node& node, std::string_view after, std::string& to)
{
    to += before;
    Put(node.Text(), inMarkup, to);
    to += after;
}

void Put(const Node& node, std::string& to)
{
    switch (node.kind)
    {
    case NodeKind::document:
        for (const Node* at = node.First(); at != nullptr; at = at->Next())
        {
            Put(*at, to);
            to += "\r\n";
        }
        break;
    case NodeKind::element:
        to.append("<").append(node.name);
        for (const Node* at = node.attributes; at != nullptr; at = at->next)
        {
            to += ' ';
            Put(*at, to);
        }
        to += node.last != nullptr ? ">" : "/>";
        for (const Node* at = node.First(); at != nullptr; at = at->Next())
            Put(*at, to);
        if (node.last != nullptr)
            to.append("</").append(node.name).append(">");
        break;
    case NodeKind::attribute:
        to.append(node.name).append("=\"");
        Put(node.Text(), inAttribute, to);
        to += '"';
        break;
    case NodeKind::text:
        Put(node.Text(), inText, to);
        break;
    case NodeKind::cdata:
        return PutMarkup("<![CDATA[", node, "]]>", to);
    case NodeKind::comment:
        return PutMarkup("<!--", node, "-->", to);
    case NodeKind::instruction:
        to.append("<?").append(node.name);
        return PutMarkup(" ", node, "?>", to);
    }
}

} // namespace

bool ParseText(std::u16string_view text, Arena& arena, Node& document)
{
    text.remove_prefix(text.starts_with(u'\xFEFF') ? 1 : 0);
    const std::string bytes = Utf8FromUtf16(text, U'\1'); // which no XML text may hold
    return Parse(bytes, text.size() * sizeof(char16_t), XML_PARSE_IGNORE_ENC, arena, document);
}

bool ParseBytes(std::string_view bytes, Arena& arena, Node& document)
{
    if (bytes.starts_with(utf16Mark))
        return bytes.size() % sizeof(char16_t) == 0 &&
               ParseText(
                   {reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / sizeof(char16_t)}, arena, document);
    // Behind a mark too, the declaration decides.
    return Parse(bytes.substr(bytes.starts_with(utf8Mark) ? utf8Mark.size() : 0), bytes.size(), 0, arena, document);
}

BSTR MakeBstr(std::string_view text)
{
    const int length = static_cast<int>(text.size());
    const int units = length <= 0 ? 0 : ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    BSTR made = text.size() <= INT_MAX ? ::SysAllocStringLen(nullptr, static_cast<UINT>(units)) : nullptr;
    if (made == nullptr)
        throw std::bad_alloc();
    if (units != 0)
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, made, units);
    return made;
}

std::string Serialise(const Node& node)
{
    std::string text;
    constexpr std::size_t usual = 4096;
    text.reserve(usual);
    Put(node, text);
    return text;
}

std::optional<std::string> Encode(const Node& document)
{
    const Node* declaration = document.First();
    while (declaration != nullptr && (declaration->kind != NodeKind::instruction || declaration->name != "xml"sv))
        declaration = declaration->Next();
    const std::string encoding = EncodingOf(declaration == nullptr ? std::string_view() : declaration->Text());
    std::string text = Serialise(document);
    if (encoding.empty() || Is(encoding, "UTF-8"))
        return text;
    if (!Is(encoding, "UTF-16"))
        return InEncoding(text, encoding);
    const std::u16string units = Utf16FromUtf8(text);
    text.assign(utf16Mark).append(reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t));
    return text;
}

} // namespace hostwindows
