#include "XmlTree.h"

#include <algorithm>
#include <cstring>
#include <libxml/tree.h>
#include <new>
#include <utility>

namespace hostwindows
{
namespace
{

/// Names of elements, of an attribute at the end: "@a".
struct Path
{
    bool fromTop = false; ///< from the document, not from the node
    bool below = false;   ///< the first name is that of a node any number of levels below
    std::vector<std::string_view> names;
};

std::string_view Trimmed(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(xmlBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(xmlBlanks) + 1); // npos + 1 is 0
}

bool IsAttribute(std::string_view name)
{
    return name.starts_with('@');
}

std::optional<Path> PathOf(std::string_view query)
{
    const auto take = [&query](std::string_view text) {
        const bool found = query.starts_with(text);
        query.remove_prefix(found ? text.size() : 0);
        return found;
    };
    Path path;
    const bool fromNode = take(".");
    path.below = take("//");
    path.fromTop = (path.below || take("/")) && !fromNode;
    if (fromNode && !path.below)
        return std::nullopt;
    do
    {
        const std::string_view name = query.substr(0, query.find('/'));
        const bool attribute = IsAttribute(name);
        if (!IsXmlName(std::string(name.substr(attribute ? 1 : 0))) || (attribute && name.size() != query.size()))
            return std::nullopt;
        path.names.push_back(name);
        query.remove_prefix(name.size());
    } while (take("/"));
    return path;
}

/// Every element of a document is asked, so that its name is not measured first.
inline bool IsNamed(const Node& node, std::string_view name)
{
    name.remove_prefix(IsAttribute(name) ? 1 : 0);
    return name.front() == *node.name && std::strncmp(name.data(), node.name, name.size()) == 0 &&
           node.name[name.size()] == '\0';
}

/// Whether the path leads from `start` to the node.
bool Leads(const Path& path, const Node& start, const Node* node)
{
    for (auto name = path.names.rbegin(); name != path.names.rend(); ++name, node = node->parent)
        if (node == nullptr || node == &start ||
            node->kind != (IsAttribute(*name) ? NodeKind::attribute : NodeKind::element) || !IsNamed(*node, *name))
            return false;
    while (path.below && node != nullptr && node != &start)
        node = node->parent;
    return node == &start;
}

/// The node behind `node` in document order within what `top` holds, `depth` levels below it and `deepest` at the most;
/// null at the end.
const Node* Following(const Node* node, const Node& top, std::size_t& depth, std::size_t deepest = SIZE_MAX)
{
    if (const Node* const first = depth < deepest ? node->First() : nullptr; first != nullptr)
    {
        ++depth;
        return first;
    }
    for (; node != &top; node = node->parent, --depth)
        if (const Node* const next = node->Next(); next != nullptr)
            return next;
    return nullptr;
}

} // namespace

Node* RootElement(const Node& document)
{
    Node* node = document.First();
    while (node != nullptr && node->kind != NodeKind::element)
        node = node->Next();
    return node;
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
}

void LinkLast(Node& parent, Node& node)
{
    node.parent = &parent;
    node.next = parent.last == nullptr ? &node : std::exchange(parent.last->next, &node);
    parent.last = &node;
}

void LinkAttribute(Node& element, Node& attribute)
{
    attribute.parent = &element;
    Node** end = &element.attributes;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = &attribute;
}

Node* FindAttribute(const Node& element, std::string_view name)
{
    Node* at = element.attributes;
    while (at != nullptr && at->name != name)
        at = at->next;
    return at;
}

bool PreservesSpace(const Node& node)
{
    for (const Node* at = &node; at != nullptr; at = at->parent)
        if (const Node* const space = FindAttribute(*at, "xml:space"); space != nullptr)
            return space->Text() == "preserve";
    return false;
}

bool IsXmlName(const std::string& text)
{
    return ::xmlValidateQName(reinterpret_cast<const xmlChar*>(text.c_str()), 0) == 0;
}

std::string TextContent(const Node& node)
{
    if (!node.HoldsNodes() && node.kind != NodeKind::text && node.kind != NodeKind::cdata)
        return std::string(node.Text());
    std::string text;
    // Trimming stops at a CDATA section.
    std::size_t literalBegin = std::string::npos;
    std::size_t literalEnd = 0;
    std::size_t depth = 0;
    for (const Node* at = &node; at != nullptr; at = Following(at, node, depth))
    {
        const bool literal = at->kind == NodeKind::cdata;
        if (!literal && at->kind != NodeKind::text)
            continue;
        literalBegin = literal ? std::min(literalBegin, text.size()) : literalBegin;
        text += at->Text();
        literalEnd = literal ? text.size() : literalEnd;
    }
    if (!PreservesSpace(node))
    {
        text.resize(std::max(literalEnd, text.find_last_not_of(xmlBlanks) + 1)); // npos + 1 is 0
        text.erase(0, std::min({literalBegin, text.find_first_not_of(xmlBlanks), text.size()}));
    }
    return text;
}

std::optional<std::vector<Node*>> Select(Node& from, std::string_view query, std::size_t most)
{
    Node* top = &from;
    while (top->parent != nullptr)
        top = top->parent;
    std::vector<Path> paths;
    for (std::size_t begin = 0, end = 0; end != std::string_view::npos; begin = end + 1)
    {
        end = query.find('|', begin);
        std::optional<Path> path = PathOf(Trimmed(query.substr(begin, end - begin)));
        if (!path)
            return std::nullopt;
        paths.push_back(std::move(*path));
    }
    // One walk over all that any path may reach.
    const Node& reach = std::ranges::any_of(paths, &Path::fromTop) ? *top : from;
    const std::size_t deepest = paths.size() > 1 || paths[0].below ? SIZE_MAX : paths[0].names.size();
    const auto leads = [&](const Node* to) {
        return std::ranges::any_of(
            paths, [&](const Path& path) { return Leads(path, path.fromTop ? *top : from, to); });
    };
    std::vector<Node*> found;
    std::size_t depth = 0;
    for (const Node* node = &reach; node != nullptr && found.size() < most;
         node = Following(node, reach, depth, deepest))
    {
        if (node->kind == NodeKind::element && leads(node))
            found.push_back(const_cast<Node*>(node));
        for (Node* at = node->attributes; at != nullptr; at = at->next)
            if (leads(at))
                found.push_back(at);
    }
    return found;
}

void* Arena::Take(std::size_t bytes, std::size_t alignment)
{
    m_bytes += bytes;
    return m_memory.allocate(bytes, alignment);
}

Node* Arena::Make(NodeKind kind, const char* name, std::string_view text)
{
    Node* const node =
        new (Take(sizeof(Node), alignof(Node))) Node{nullptr, nullptr, name, nullptr, {nullptr}, 0, kind};
    if (!node->HoldsNodes())
        SetText(*node, text);
    return node;
}

void Arena::SetText(Node& node, std::string_view text)
{
    node.text = Copy(text);
    node.length = static_cast<std::uint32_t>(text.size());
}

const char* Arena::Copy(std::string_view text)
{
    char* const copy = static_cast<char*>(Take(text.size() + 1, 1));
    *std::copy(text.begin(), text.end(), copy) = '\0';
    return copy;
}

Node* Arena::Import(const Node& node)
{
    Node* const copy = Make(node.kind, node.name == nullptr ? nullptr : Copy(node.name));
    if (!node.HoldsNodes())
        SetText(*copy, node.Text());
    for (const Node* at = node.attributes; at != nullptr; at = at->next)
        LinkAttribute(*copy, *Import(*at));
    for (const Node* at = node.First(); at != nullptr; at = at->Next())
        LinkLast(*copy, *Import(*at));
    return copy;
}

} // namespace hostwindows
