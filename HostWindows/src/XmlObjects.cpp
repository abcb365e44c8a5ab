#include "XmlObjects.h"

#include "Paths.h"
#include "SharedFile.h"
#include "XmlParser.h"

#include <atomic>
#include <exception>
#include <limits>
#include <msxml.h>
#include <string>

namespace hostwindows
{
namespace
{

constexpr HRESULT xmlBadDeclaration = HResultOf(0xC00CE56C);

// Runs a member's body, which throws only when memory runs out or a text grows beyond all bounds.
template <class Body>
HRESULT Guarded(Body body) noexcept
{
    try
    {
        return body();
    }
    catch (const std::exception&)
    {
        return E_OUTOFMEMORY;
    }
}

// Empties the place of a result, which must be there, and runs the body that fills it.
template <class Result, class Body>
HRESULT Give(Result* result, Body body) noexcept
{
    if (result == nullptr)
        return E_INVALIDARG;
    *result = Result{};
    return Guarded(body);
}

template <class Result>
HRESULT GiveValue(Result* place, Result value) noexcept
{
    return Give(place, [=] { return *place = value, S_OK; });
}

std::u16string_view WideOf(BSTR text)
{
    return {text, ::SysStringLen(text)};
}

// A text from outside ends at a zero; a lone surrogate is replaced. Null gives the empty text.
std::string TextFrom(BSTR text)
{
    const std::u16string_view all = WideOf(text);
    return Utf8FromUtf16(all.substr(0, all.find(u'\0')));
}

// Windows' interfaces have no virtual destructor; these objects have one.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Objects count their references and go with the last one.
template <class Interface, const IID&... ids>
class ComObject : public Interface
{
public:
    ComObject() = default;
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;
    virtual ~ComObject() = default;

    HRESULT QueryInterface(REFIID interfaceId, void** object) override
    {
        if (interfaceId == IID_IUnknown || ((interfaceId == ids) || ...))
        {
            *object = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<ULONG> m_references{1};
};

// What every node object has, whatever its interface; the arena lives as long as any of them.
struct NodeReference
{
    std::shared_ptr<Arena> arena;
    Node* node;
};
/// Answered by a pointer to it that is lent: a dynamic cast takes ten times as long, once for each node appended.
constexpr IID IID_NodeReference{0x3C6E51D8, 0x9A07, 0x4F42, {0xB8, 0x1D, 0x6E, 0x52, 0x90, 0xC3, 0x47, 0xAF}};

IXMLDOMNode* MakeNodeObject(const std::shared_ptr<Arena>& arena, Node& node);

class NodeList final : public ComObject<IXMLDOMNodeList, IID_IXMLDOMNodeList>
{
public:
    NodeList(std::shared_ptr<Arena> arena, std::vector<Node*> nodes)
        : m_arena(std::move(arena)),
          m_nodes(std::move(nodes))
    {
    }

    HRESULT get_item(LONG index, IXMLDOMNode** item) override
    {
        return Give(item, [&] {
            if (index < 0 || static_cast<std::size_t>(index) >= m_nodes.size())
                return S_FALSE;
            *item = MakeNodeObject(m_arena, *m_nodes[static_cast<std::size_t>(index)]);
            return S_OK;
        });
    }

    HRESULT get_length(LONG* length) override { return GiveValue(length, static_cast<LONG>(m_nodes.size())); }

private:
    std::shared_ptr<Arena> m_arena;
    std::vector<Node*> m_nodes;
};

bool MayHold(const Node& parent, const Node& child)
{
    const bool isText = child.kind == NodeKind::text || child.kind == NodeKind::cdata;
    const Node* const root = parent.kind == NodeKind::document ? RootElement(parent) : nullptr;
    if (!parent.HoldsNodes() || child.kind == NodeKind::document || child.kind == NodeKind::attribute ||
        (isText && parent.kind == NodeKind::document) ||
        (child.kind == NodeKind::element && root != nullptr && root != &child))
        return false;
    // A node without children holds nobody's ancestor: a tree that grows downwards is not climbed for each node.
    if (child.First() == nullptr)
        return &parent != &child;
    const Node* at = &parent;
    while (at != nullptr && at != &child)
        at = at->parent;
    return at == nullptr;
}

template <class Interface, const IID&... id>
class NodeObject : public ComObject<Interface, IID_IXMLDOMNode, id...>, public NodeReference
{
public:
    NodeObject(std::shared_ptr<Arena> owner, Node& which) : NodeReference{std::move(owner), &which} {}

    HRESULT QueryInterface(REFIID interfaceId, void** object) override
    {
        if (interfaceId == IID_NodeReference)
            return *object = static_cast<NodeReference*>(this), S_OK;
        return ComObject<Interface, IID_IXMLDOMNode, id...>::QueryInterface(interfaceId, object);
    }

    HRESULT appendChild(IXMLDOMNode* newChild, IXMLDOMNode** outNewChild) override
    {
        if (outNewChild != nullptr)
            *outNewChild = nullptr;
        void* reference = nullptr;
        if (newChild == nullptr || newChild->QueryInterface(IID_NodeReference, &reference) != S_OK)
            return E_INVALIDARG;
        auto* const child = static_cast<NodeReference*>(reference);
        if (!MayHold(*node, *child->node))
            return E_FAIL;
        return Guarded([&] {
            Node* const moved = child->arena == arena ? child->node : arena->Import(*child->node);
            Unlink(*child->node);
            child->arena = arena;
            child->node = moved;
            LinkLast(*node, *child->node);
            if (outNewChild != nullptr)
            {
                newChild->AddRef();
                *outNewChild = newChild;
            }
            return S_OK;
        });
    }

    HRESULT get_text(BSTR* text) override
    {
        return Give(text, [&] { return *text = MakeBstr(TextContent(*node)), S_OK; });
    }

    HRESULT get_xml(BSTR* xmlString) override
    {
        return Give(xmlString, [&] { return *xmlString = MakeBstr(Serialise(*node)), S_OK; });
    }

    HRESULT selectNodes(BSTR queryString, IXMLDOMNodeList** resultList) override
    {
        return Find(queryString, resultList, std::numeric_limits<LONG>::max(), [&](std::vector<Node*> found) {
            *resultList = new NodeList(arena, std::move(found));
            return S_OK;
        });
    }

    HRESULT selectSingleNode(BSTR queryString, IXMLDOMNode** resultNode) override
    {
        return Find(queryString, resultNode, 1, [&](const std::vector<Node*>& found) {
            if (found.empty())
                return S_FALSE;
            *resultNode = MakeNodeObject(arena, *found.front());
            return S_OK;
        });
    }

private:
    template <class Result, class Use>
    HRESULT Find(BSTR query, Result** result, std::size_t most, Use use)
    {
        return Give(result, [&]() -> HRESULT {
            if (query == nullptr)
                return E_INVALIDARG;
            auto found = Select(*node, TextFrom(query), most);
            return found ? use(std::move(*found)) : E_FAIL;
        });
    }
};

class ElementObject final : public NodeObject<IXMLDOMElement, IID_IXMLDOMElement>
{
public:
    using NodeObject::NodeObject;

    HRESULT setAttribute(BSTR name, VARIANT value) override
    {
        if (name == nullptr || (value.vt != VT_BSTR && value.vt != VT_I4 && value.vt != VT_EMPTY))
            return E_INVALIDARG;
        return Guarded([&] {
            const std::string attributeName = TextFrom(name);
            if (!IsXmlName(attributeName))
                return E_FAIL;
            std::string text;
            if (value.vt != VT_EMPTY)
                text = value.vt == VT_I4 ? std::to_string(value.lVal) : TextFrom(value.bstrVal);
            if (Node* const present = FindAttribute(*node, attributeName); present != nullptr)
                arena->SetText(*present, text);
            else
                LinkAttribute(*node, *arena->Make(NodeKind::attribute, arena->Copy(attributeName), text));
            return S_OK;
        });
    }
};

IXMLDOMNode* MakeNodeObject(const std::shared_ptr<Arena>& arena, Node& node)
{
    if (node.kind == NodeKind::element)
        return new ElementObject(arena, node);
    return new NodeObject<IXMLDOMNode>(arena, node);
}

class ParseError final : public ComObject<IXMLDOMParseError>
{
public:
    explicit ParseError(HRESULT code) : m_code(code) {}
    HRESULT get_errorCode(LONG* code) override
    {
        const HRESULT result = GiveValue(code, LONG{m_code});
        return result == S_OK && m_code == S_OK ? S_FALSE : result;
    }

private:
    HRESULT m_code;
};

class DocumentObject final : public NodeObject<IXMLDOMDocument, IID_IXMLDOMDocument>
{
public:
    explicit DocumentObject(const std::shared_ptr<Arena>& first) : NodeObject(first, *first->Make(NodeKind::document))
    {
    }

    HRESULT get_documentElement(IXMLDOMElement** element) override
    {
        return Give(element, [&] {
            Node* const root = RootElement(*node);
            *element = root == nullptr ? nullptr : new ElementObject(arena, *root);
            return root == nullptr ? S_FALSE : S_OK;
        });
    }

    HRESULT createElement(BSTR tagName, IXMLDOMElement** element) override
    {
        return Give(element, [&] {
            const std::string name = TextFrom(tagName);
            if (tagName == nullptr || !IsXmlName(name))
                return tagName == nullptr ? E_INVALIDARG : E_FAIL;
            *element = new ElementObject(arena, *arena->Make(NodeKind::element, arena->Copy(name)));
            return S_OK;
        });
    }

    HRESULT createTextNode(BSTR data, IXMLDOMText** text) override
    {
        return Give(text, [&] {
            std::string content = TextFrom(data);
            std::size_t length = 0;
            for (std::size_t i = 0; i < content.size(); ++i) // a line end is one character, however it was given
                if (content[i] != '\r' || content[i + 1] != '\n')
                    content[length++] = content[i] == '\r' ? '\n' : content[i];
            content.resize(length);
            *text = new NodeObject<IXMLDOMText>(arena, *arena->Make(NodeKind::text, nullptr, content));
            return S_OK;
        });
    }

    HRESULT createProcessingInstruction(BSTR target, BSTR data, IXMLDOMProcessingInstruction** instruction) override
    {
        return Give(instruction, [&] {
            const std::string name = TextFrom(target);
            const std::string content = TextFrom(data);
            if (!IsXmlName(name) || content.find("?>") != std::string::npos)
                return E_FAIL;
            if (name == "xml" && !content.starts_with("version"))
                return xmlBadDeclaration;
            *instruction = new NodeObject<IXMLDOMProcessingInstruction>(
                arena, *arena->Make(NodeKind::instruction, arena->Copy(name), content));
            return S_OK;
        });
    }

    HRESULT load(VARIANT xmlSource, VARIANT_BOOL* isSuccessful) override
    {
        return Load(isSuccessful, [&](Arena& fresh, Node& document) {
            if (xmlSource.vt != VT_BSTR)
                return false;
            const FoundPath found = FindPath(WideOf(xmlSource.bstrVal));
            std::string bytes;
            return found.error == NO_ERROR && !found.folderNeeded && ReadWholeFile(found.path, bytes) == NO_ERROR &&
                   ParseBytes(bytes, fresh, document);
        });
    }

    HRESULT loadXML(BSTR xml, VARIANT_BOOL* isSuccessful) override
    {
        return Load(
            isSuccessful, [&](Arena& fresh, Node& document) { return ParseText(WideOf(xml), fresh, document); });
    }

    HRESULT save(VARIANT destination) override
    {
        if (destination.vt != VT_BSTR)
            return S_FALSE;
        const std::u16string_view path = WideOf(destination.bstrVal);
        if (path.empty())
            return E_INVALIDARG;
        return Guarded([&] {
            const FoundPath found = FindPath(path);
            if (found.error != NO_ERROR)
                return HRESULT_FROM_WIN32(found.error);
            if (found.isFolder || found.folderNeeded)
                return E_ACCESSDENIED;
            const std::optional<std::string> bytes = Encode(*node);
            return bytes ? HRESULT_FROM_WIN32(ReplaceWholeFile(found.path, *bytes)) : E_FAIL;
        });
    }

    HRESULT get_parseError(IXMLDOMParseError** error) override
    {
        return Give(error, [&] { return *error = new ParseError(m_parseError), S_OK; });
    }

    HRESULT get_async(VARIANT_BOOL* isAsync) override { return GiveValue(isAsync, m_async); }
    HRESULT put_async(VARIANT_BOOL isAsync) override
    {
        m_async = isAsync; // a load ends before it returns in any case
        return S_OK;
    }
    HRESULT get_preserveWhiteSpace(VARIANT_BOOL* isPreserving) override
    {
        return GiveValue(isPreserving, VARIANT_FALSE);
    }

private:
    // The document becomes what `read` makes of it, or empty. Objects of old nodes keep the old arena.
    template <class Read>
    HRESULT Load(VARIANT_BOOL* isSuccessful, Read read)
    {
        return Give(isSuccessful, [&] {
            const auto hold = [this](std::shared_ptr<Arena> owner, Node* document) {
                arena = std::move(owner);
                node = document;
            };
            m_parseError = E_FAIL;
            const auto empty = std::make_shared<Arena>();
            hold(empty, empty->Make(NodeKind::document));
            const auto fresh = std::make_shared<Arena>();
            Node* const document = fresh->Make(NodeKind::document);
            if (!read(*fresh, *document))
                return S_FALSE;
            hold(fresh, document);
            m_parseError = S_OK;
            *isSuccessful = VARIANT_TRUE;
            return S_OK;
        });
    }

    VARIANT_BOOL m_async = VARIANT_TRUE;
    HRESULT m_parseError = S_OK;
};

} // namespace

HRESULT CreateXmlDocument(REFIID interfaceId, void** object)
{
    return Guarded([&] {
        auto* const document = new DocumentObject(std::make_shared<Arena>());
        const HRESULT result = document->QueryInterface(interfaceId, object);
        document->Release();
        return result;
    });
}

} // namespace hostwindows
