#include "XmlTree.h"

#include <algorithm>
#include <iterator>
#include <memory_resource>
#include <new>

namespace hostwindows
{

Node* FirstChild(const Node& parent)
{
    Node* node = parent.First();
    while (node != nullptr && node->kind == NodeKind::attribute)
        node = node->Next();
    return node;
}

Node* RootElement(const Node& document)
{
    Node* node = document.First();
    while (node != nullptr && node->kind != NodeKind::element)
        node = node->Next();
    return node;
}

const Node& Topmost(const Node& node)
{
    const Node* top = &node;
    while (top->parent != nullptr)
        top = top->parent;
    return *top;
}

const Node* Following(const Node& node, const Node& top)
{
    if (const Node* const first = node.First(); first != nullptr)
        return first;
    for (const Node* at = &node; at != &top; at = at->parent)
        if (const Node* const next = at->Next(); next != nullptr)
            return next;
    return nullptr;
}

void Unlink(Node& node)
{
    Node* const parent = node.parent;
    if (parent == nullptr)
        return;
    Node* before = parent->last;
    while (before->next != &node)
        before = before->next;
    before->next = node.next;
    if (parent->last == &node)
        parent->last = before == &node ? nullptr : before;
    node.parent = nullptr;
    node.next = nullptr;
}

namespace
{

void LinkBehind(Node& parent, Node* before, Node& node)
{
    node.parent = &parent;
    node.next = before == nullptr ? &node : before->next;
    if (before != nullptr)
        before->next = &node;
}

} // namespace

void LinkLast(Node& parent, Node& node)
{
    LinkBehind(parent, parent.last, node);
    parent.last = &node;
}

void LinkAttribute(Node& element, Node& attribute)
{
    Node* before = element.last; // in front of the first
    for (Node* at = element.First(); at != nullptr && at->kind == NodeKind::attribute; at = at->Next())
        before = at;
    const bool isLast = before == nullptr || (before == element.last && before->kind == NodeKind::attribute);
    LinkBehind(element, before, attribute);
    if (isLast)
        element.last = &attribute;
}

Node* FindAttribute(const Node& element, std::string_view name)
{
    for (Node* at = element.First(); at != nullptr && at->kind == NodeKind::attribute; at = at->Next())
        if (at->IsNamed(name))
            return at;
    return nullptr;
}

bool PreservesSpace(const Node& node)
{
    for (const Node* at = &node; at != nullptr; at = at->parent)
        if (at->kind == NodeKind::element)
            if (const Node* const space = FindAttribute(*at, "xml:space"); space != nullptr)
                return space->Text() == "preserve";
    return false;
}

std::vector<std::string_view> TextContent(const Node& node)
{
    if (node.kind == NodeKind::attribute || node.kind == NodeKind::comment || node.kind == NodeKind::instruction)
        return {node.Text()};

    std::vector<std::string_view> pieces;
    // Trimming stops at a CDATA section: these are the first one's place and the one behind the last one's.
    std::size_t firstLiteral = 0;
    std::size_t literalEnd = 0;
    for (const Node* at = &node; at != nullptr; at = Following(*at, node))
    {
        if (at->kind != NodeKind::text && at->kind != NodeKind::cdata)
            continue;
        pieces.push_back(at->Text());
        if (at->kind == NodeKind::cdata)
        {
            firstLiteral = literalEnd == 0 ? pieces.size() - 1 : firstLiteral;
            literalEnd = pieces.size();
        }
    }
    if (PreservesSpace(node))
        return pieces;
    if (literalEnd == 0)
        firstLiteral = pieces.size();
    for (std::size_t i = 0; i < firstLiteral; ++i)
    {
        pieces[i].remove_prefix(std::min(pieces[i].find_first_not_of(xmlBlanks), pieces[i].size()));
        if (!pieces[i].empty())
            break;
    }
    for (std::size_t i = pieces.size(); i > literalEnd; --i)
    {
        std::string_view& piece = pieces[i - 1];
        piece = piece.substr(0, piece.find_last_not_of(xmlBlanks) + 1); // npos + 1 is 0
        if (!piece.empty())
            break;
    }
    return pieces;
}

struct Arena::Pool
{
    // Two, so that texts need no padding.
    static constexpr std::size_t firstNodes = 64 * sizeof(Node);
    static constexpr std::size_t firstCharacters = 1024;
    std::pmr::monotonic_buffer_resource nodes{firstNodes};
    std::pmr::monotonic_buffer_resource characters{firstCharacters};
    std::vector<std::shared_ptr<void>> names;
};

Arena::Arena()
{
    m_pools.push_back(std::make_unique<Pool>());
}

Arena::~Arena() = default;

Arena& Arena::Owner()
{
    Arena* arena = this;
    while (arena->m_owner != nullptr)
        arena = arena->m_owner.get();
    return *arena;
}

Node* Arena::Make(NodeKind kind, const char* name)
{
    Arena& owner = Owner();
    void* const place = owner.m_pools.front()->nodes.allocate(sizeof(Node), alignof(Node));
    owner.m_bytes += sizeof(Node);
    return new (place) Node{nullptr, nullptr, name, {nullptr}, 0, kind};
}

Node* Arena::Make(NodeKind kind, const char* name, std::string_view text)
{
    Node* const node = Make(kind, name);
    SetText(*node, text);
    return node;
}

char* Arena::Characters(std::size_t size)
{
    Arena& owner = Owner();
    owner.m_bytes += size;
    return static_cast<char*>(owner.m_pools.front()->characters.allocate(size, 1));
}

void Arena::SetText(Node& node, std::string_view text)
{
    char* const copy = Characters(text.size());
    std::copy(text.begin(), text.end(), copy);
    node.text = copy;
    node.length = static_cast<std::uint32_t>(text.size());
}

const char* Arena::CopyName(std::string_view name)
{
    char* const copy = Characters(name.size() + 1);
    *std::copy(name.begin(), name.end(), copy) = '\0';
    return copy;
}

void Arena::Keep(std::shared_ptr<void> names)
{
    Owner().m_pools.front()->names.push_back(std::move(names));
}

void Arena::Join(const std::shared_ptr<Arena>& one, const std::shared_ptr<Arena>& other)
{
    // Owners only ever point from one that gave its pools away to one that has them: no ring can come about.
    std::shared_ptr<Arena> target = one;
    std::shared_ptr<Arena> given = other;
    while (target->m_owner != nullptr)
        target = target->m_owner;
    while (given->m_owner != nullptr)
        given = given->m_owner;
    if (target == given)
        return;
    target->m_pools.insert(
        target->m_pools.end(), std::make_move_iterator(given->m_pools.begin()),
        std::make_move_iterator(given->m_pools.end()));
    given->m_pools.clear();
    target->m_bytes += given->m_bytes;
    given->m_owner = std::move(target);
}

} // namespace hostwindows
