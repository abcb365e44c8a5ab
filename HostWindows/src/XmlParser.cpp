#include "XmlParser.h"

#include "XmlEncoding.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/SAX2.h>
#include <new>
#include <utility>

namespace hostwindows
{
namespace
{

const char* Narrow(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

/// A name in the dictionary; null there means that memory ran out.
const char* Kept(const xmlChar* name)
{
    if (name == nullptr)
        throw std::bad_alloc();
    return Narrow(name);
}

bool IsBlank(char c)
{
    return xmlBlanks.find(c) != std::string_view::npos;
}

// The text as the parser asks for it, piece by piece, in UTF-8.
class Source
{
public:
    explicit Source(std::u16string_view units) : m_units(units) {}
    explicit Source(std::string_view bytes) : m_bytes(bytes) {}

    /// A zero or a lone surrogate was met: the text ended there for the parser.
    bool Failed() const { return m_failed; }

    static int Read(void* source, char* to, int room)
    {
        auto* const self = static_cast<Source*>(source);
        const std::size_t count = self->m_units.empty() ? self->CopyBytes(to, static_cast<std::size_t>(room))
                                                        : self->CopyUnits(to, to + room);
        return self->m_failed ? -1 : static_cast<int>(count);
    }

private:
    std::size_t CopyBytes(char* to, std::size_t room)
    {
        const std::size_t count = std::min(room, m_bytes.size());
        if (count == 0)
            return 0;
        m_failed = m_failed || std::memchr(m_bytes.data(), 0, count) != nullptr;
        std::copy_n(m_bytes.data(), count, to);
        m_bytes.remove_prefix(count);
        return count;
    }

    std::size_t CopyUnits(char* start, const char* end)
    {
        constexpr std::ptrdiff_t longestCharacter = 4;
        char* to = start;
        std::size_t i = 0;
        for (; i < m_units.size() && end - to >= longestCharacter; ++i)
        {
            char32_t code = m_units[i];
            const auto tail = [&code](unsigned shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
            if (code < 0x80)
            {
                *to++ = static_cast<char>(code);
                m_failed = m_failed || code == 0;
            }
            else if (code < 0x800)
            {
                *to++ = static_cast<char>(0xC0 | (code >> 6));
                *to++ = tail(0);
            }
            else if (code < 0xD800 || code >= 0xE000)
            {
                *to++ = static_cast<char>(0xE0 | (code >> 12));
                *to++ = tail(6);
                *to++ = tail(0);
            }
            else if (code < 0xDC00 && i + 1 < m_units.size() && (m_units[i + 1] & 0xFC00) == 0xDC00)
            {
                code = 0x10000 + ((code - 0xD800) << 10) + (m_units[++i] - 0xDC00U);
                *to++ = static_cast<char>(0xF0 | (code >> 18));
                *to++ = tail(12);
                *to++ = tail(6);
                *to++ = tail(0);
            }
            else
                m_failed = true;
        }
        m_units.remove_prefix(i);
        return static_cast<std::size_t>(to - start);
    }

    std::u16string_view m_units;
    std::string_view m_bytes;
    bool m_failed = false;
};

// Makes nodes of what the parser reports. The parser calls from C, so no exception leaves a member.
class TreeBuilder
{
public:
    TreeBuilder(Arena& arena, Node& document, std::size_t mostBytes)
        : m_arena(arena),
          m_current(&document),
          m_mostBytes(mostBytes)
    {
    }

    /// Reads all of the source.
    bool Build(Source& source);

private:
    static xmlParserCtxt& Context(void* context) { return *static_cast<xmlParserCtxt*>(context); }

    // An event of the document: not of its DTD, and none after a refusal. An entity's content is parsed by a context
    // of its own that shares the builder.
    template <class Event>
    static void On(void* context, Event event)
    {
        xmlParserCtxt& parser = Context(context);
        auto* const self = static_cast<TreeBuilder*>(parser._private);
        if (parser.inSubset != 0)
            return;
        if (!self->m_refused)
        {
            try
            {
                event(*self, parser);
            }
            catch (const std::bad_alloc&)
            {
                self->m_refused = true;
            }
            const std::size_t used = self->m_arena.Bytes() + self->m_text.size() +
                                     nameOverhead * static_cast<std::size_t>(std::max(xmlDictSize(parser.dict), 0));
            self->m_refused = self->m_refused || used > self->m_mostBytes;
        }
        if (self->m_refused)
        {
            xmlStopParser(&parser);
            xmlStopParser(self->m_parser);
        }
    }

    static void OnCharacters(void* context, const xmlChar* text, int length)
    {
        On(context, [=](TreeBuilder& self, xmlParserCtxt&) {
            self.m_text.append(Narrow(text), static_cast<std::size_t>(length));
        });
    }

    static void OnCData(void* context, const xmlChar* text, int length)
    {
        On(context, [=](TreeBuilder& self, xmlParserCtxt&) {
            self.Add(NodeKind::cdata, nullptr, {Narrow(text), static_cast<std::size_t>(length)});
        });
    }

    static void OnComment(void* context, const xmlChar* text)
    {
        On(context, [=](TreeBuilder& self, xmlParserCtxt&) { self.Add(NodeKind::comment, nullptr, Narrow(text)); });
    }

    static void OnInstruction(void* context, const xmlChar* target, const xmlChar* data)
    {
        On(context, [=](TreeBuilder& self, xmlParserCtxt& parser) {
            self.Add(
                NodeKind::instruction, Kept(xmlDictLookup(parser.dict, target, -1)),
                data == nullptr ? std::string_view() : Narrow(data));
        });
    }

    static void OnStart(
        void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar*, int namespaceCount,
        const xmlChar** namespaces, int attributeCount, int, const xmlChar** attributes)
    {
        On(context, [=](TreeBuilder& self, xmlParserCtxt& parser) {
            self.FlushText();
            if (++self.m_depth > deepestNesting)
            {
                self.m_refused = true;
                return;
            }
            Node* const element = self.m_arena.Make(NodeKind::element, AsWritten(parser, prefix, name));
            LinkLast(*self.m_current, *element);
            self.m_current = element;
            self.m_preserves[self.m_depth] = self.m_preserves[self.m_depth - 1];
            for (std::ptrdiff_t i = 0; i < namespaceCount; ++i)
            {
                const xmlChar* const declared = namespaces[2 * i];
                const xmlChar* const uri = namespaces[2 * i + 1];
                constexpr const char* xmlns = "xmlns";
                const auto* const word = reinterpret_cast<const xmlChar*>(xmlns);
                self.AddAttribute(
                    declared == nullptr ? Kept(xmlDictLookup(parser.dict, word, -1))
                                        : AsWritten(parser, word, declared),
                    uri == nullptr ? std::string_view() : Narrow(uri));
            }
            // Name, prefix, namespace, the value's start and end.
            for (const xmlChar** at = attributes; at != attributes + 5 * std::ptrdiff_t{attributeCount}; at += 5)
                self.AddAttribute(
                    AsWritten(parser, at[1], at[0]), {Narrow(at[3]), static_cast<std::size_t>(at[4] - at[3])});
        });
    }

    static void OnEnd(void* context, const xmlChar*, const xmlChar*, const xmlChar*)
    {
        On(context, [](TreeBuilder& self, xmlParserCtxt&) {
            self.FlushText();
            self.m_current = self.m_current->parent;
            --self.m_depth;
        });
    }

    // An entity that lies elsewhere is empty: its place is never looked at.
    static void OnEntityDeclaration(
        void* context, const xmlChar* name, int type, const xmlChar* publicId, const xmlChar* systemId,
        xmlChar* content)
    {
        xmlChar nothing[] = {0};
        if (type == XML_EXTERNAL_GENERAL_PARSED_ENTITY)
            xmlSAX2EntityDecl(context, name, XML_INTERNAL_GENERAL_ENTITY, nullptr, nullptr, nothing);
        else if (type == XML_EXTERNAL_PARAMETER_ENTITY)
            xmlSAX2EntityDecl(context, name, XML_INTERNAL_PARAMETER_ENTITY, nullptr, nullptr, nothing);
        else
            xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
    }

    static const char* AsWritten(xmlParserCtxt& parser, const xmlChar* prefix, const xmlChar* name)
    {
        return Kept(prefix == nullptr ? name : xmlDictQLookup(parser.dict, prefix, name));
    }

    void AddAttribute(const char* name, std::string_view value)
    {
        LinkLast(*m_current, *m_arena.Make(NodeKind::attribute, name, value));
        if (std::strcmp(name, "xml:space") == 0)
            m_preserves[m_depth] = value == "preserve";
    }

    void Add(NodeKind kind, const char* name, std::string_view text)
    {
        FlushText();
        LinkLast(*m_current, *m_arena.Make(kind, name, text));
    }

    void FlushText()
    {
        if (m_text.empty())
            return;
        if (m_preserves[m_depth] || m_text.find_first_not_of(xmlBlanks) != std::string::npos)
            LinkLast(*m_current, *m_arena.Make(NodeKind::text, nullptr, m_text));
        m_text.clear();
    }

    static constexpr std::size_t nameOverhead = 64; // of a name in the dictionary

    Arena& m_arena;
    Node* m_current;
    std::size_t m_mostBytes;
    xmlParserCtxt* m_parser = nullptr;
    std::string m_text; // between two nodes
    std::array<bool, deepestNesting + 1> m_preserves{};
    unsigned m_depth = 0;
    bool m_refused = false;
};

bool TreeBuilder::Build(Source& source)
{
    xmlSAXHandler events{};
    if (xmlSAXVersion(&events, 2) != 0)
        return false;
    events.startElementNs = OnStart;
    events.endElementNs = OnEnd;
    events.characters = OnCharacters;
    events.ignorableWhitespace = OnCharacters;
    events.cdataBlock = OnCData;
    events.comment = OnComment;
    events.processingInstruction = OnInstruction;
    events.entityDecl = OnEntityDeclaration;
    events.reference = [](void*, const xmlChar*) {};
    events.externalSubset = [](void*, const xmlChar*, const xmlChar*, const xmlChar*) {};
    events.serror = [](void*, xmlError*) {};

    const std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)> parser(
        xmlCreateIOParserCtxt(&events, nullptr, Source::Read, nullptr, &source, XML_CHAR_ENCODING_UTF8),
        &xmlFreeParserCtxt);
    if (parser == nullptr)
        throw std::bad_alloc();
    m_parser = parser.get();
    m_parser->_private = this;
    xmlCtxtUseOptions(
        m_parser, XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_IGNORE_ENC);
    // The names outlive the parser.
    xmlDictReference(m_parser->dict);
    m_arena.Keep(std::shared_ptr<void>(m_parser->dict, [](void* names) { xmlDictFree(static_cast<xmlDict*>(names)); }));

    const bool parsed = xmlParseDocument(m_parser) == 0;
    if (m_parser->myDoc != nullptr) // what a DTD declared
        xmlFreeDoc(std::exchange(m_parser->myDoc, nullptr));
    return parsed && m_parser->wellFormed == 1 && m_parser->nsWellFormed == 1 && !m_refused && !source.Failed();
}

// The declaration's contents when the text begins with one.
template <class Character>
std::string DeclarationOf(std::basic_string_view<Character> text)
{
    constexpr std::string_view opening = "<?xml";
    constexpr std::size_t longest = 1024;
    std::string start;
    for (const Character c : text.substr(0, longest))
    {
        if (c == '>')
            break;
        const char narrow = c < 0x80 && c > 0 ? static_cast<char>(c) : '?';
        start += IsBlank(narrow) ? ' ' : narrow; // a line end is not kept as it was written
    }
    if (!start.starts_with(opening) || start.size() <= opening.size() || !IsBlank(start[opening.size()]) ||
        !start.ends_with('?'))
        return {};
    const std::size_t at = start.find_first_not_of(xmlBlanks, opening.size());
    start.pop_back();
    return start.substr(std::min(at, start.size()));
}

bool Parse(Source source, std::string_view declaration, std::size_t mostBytes, Arena& arena, Node& document)
{
    static const bool ready = (xmlInitParser(), true); // once, whatever threads come first
    if (!declaration.empty())
        LinkLast(document, *arena.Make(NodeKind::instruction, "xml", declaration));
    return ready && TreeBuilder(arena, document, mostBytes).Build(source);
}

constexpr std::size_t alwaysGranted = std::size_t{1024} * 1024;
constexpr std::size_t timesTheText = 9;

} // namespace

bool ReadDeclaration(std::string_view data, Declaration& declaration)
{
    constexpr std::string_view names[] = {"version", "encoding", "standalone"};
    declaration = {};
    const auto skipBlanks = [&data] { data.remove_prefix(std::min(data.find_first_not_of(xmlBlanks), data.size())); };
    for (std::size_t i = 0; i < std::size(names); ++i)
    {
        skipBlanks();
        if (!data.starts_with(names[i]))
        {
            if (i == 0)
                return false;
            continue;
        }
        data.remove_prefix(names[i].size());
        skipBlanks();
        if (!data.starts_with('='))
            return false;
        data.remove_prefix(1);
        skipBlanks();
        const std::size_t end =
            data.empty() || (data[0] != '"' && data[0] != '\'') ? std::string_view::npos : data.find(data[0], 1);
        if (end == std::string_view::npos)
            return false;
        if (i == 1)
            declaration.encoding = data.substr(1, end - 1);
        data.remove_prefix(end + 1);
    }
    skipBlanks();
    return data.empty();
}

bool ParseText(std::u16string_view text, Arena& arena, Node& document)
{
    constexpr char16_t mark = 0xFEFF;
    if (text.starts_with(mark))
        text.remove_prefix(1);
    const std::string data = DeclarationOf(text);
    Declaration declaration;
    if (ReadDeclaration(data, declaration) && EncodingNamed(declaration.encoding) == Encoding::unknown)
        return false;
    const std::size_t mostBytes = std::max(alwaysGranted, timesTheText * text.size() * sizeof(char16_t));
    return Parse(Source(text), data, mostBytes, arena, document);
}

bool ParseBytes(std::string bytes, Arena& arena, Node& document)
{
    constexpr std::string_view littleEndian = "\xFF\xFE";
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    if (bytes.starts_with(littleEndian))
    {
        if (bytes.size() % sizeof(char16_t) != 0)
            return false;
        return ParseText(
            {reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / sizeof(char16_t)}, arena, document);
    }
    const bool marked = bytes.starts_with(utf8Mark);
    std::string_view text = bytes;
    text.remove_prefix(marked ? utf8Mark.size() : 0);
    const std::string data = DeclarationOf(text);
    Declaration declaration;
    ReadDeclaration(data, declaration);
    const Encoding encoding = EncodingNamed(declaration.encoding);
    if (encoding == Encoding::utf16 || encoding == Encoding::unknown)
        return false;
    const std::size_t size = bytes.size();
    if (encoding == Encoding::other && !marked)
    {
        std::string converted;
        if (!Convert(text, std::string(declaration.encoding), "UTF-8", converted))
            return false;
        bytes = std::move(converted);
        text = bytes;
    }
    const std::size_t mostBytes =
        std::max(alwaysGranted, std::max((timesTheText + 1) * size, bytes.size()) - bytes.size());
    return Parse(Source(text), data, mostBytes, arena, document);
}

} // namespace hostwindows
