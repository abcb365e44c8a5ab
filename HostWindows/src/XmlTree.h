// The nodes of XML documents. Names and texts are UTF-8. A node is 40 bytes and lies in an arena that lives as long as
// anybody refers to one of its nodes: nothing is freed singly, so neither depth nor number costs anything at the end.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace hostwindows
{

enum class NodeKind : std::uint8_t
{
    document,
    element,
    attribute,
    text,
    cdata,
    comment,
    instruction,
};

struct Node
{
    Node* parent;
    Node* next;       ///< in the ring of the parent's nodes, attributes first: behind the last one comes the first
    const char* name; ///< element, attribute, instruction: terminated; else null
    union
    {
        Node* last;       ///< element, document: null when empty
        const char* text; ///< any other: `length` bytes
    };
    std::uint32_t length;
    NodeKind kind;

    bool HoldsNodes() const { return kind == NodeKind::element || kind == NodeKind::document; }
    Node* First() const { return HoldsNodes() && last != nullptr ? last->next : nullptr; }
    Node* Next() const { return parent == nullptr || parent->last == this ? nullptr : next; }
    std::string_view Text() const { return {text, length}; }
    bool IsNamed(std::string_view asked) const { return asked == name; }
};

/// The first node behind the attributes.
Node* FirstChild(const Node& parent);
/// The root element of a document, or null.
Node* RootElement(const Node& document);
/// The document, or the topmost node of a part that is not in one.
const Node& Topmost(const Node& node);
/// The node behind `node` in document order, attributes included, within what `top` holds; null at its end.
const Node* Following(const Node& node, const Node& top);

/// Takes the node out of its parent, if it has one.
void Unlink(Node& node);
void LinkLast(Node& parent, Node& node);
/// Behind the attributes that the element has.
void LinkAttribute(Node& element, Node& attribute);
Node* FindAttribute(const Node& element, std::string_view name);

/// Whether the nearest xml:space at or above the node says "preserve".
bool PreservesSpace(const Node& node);

inline constexpr std::string_view xmlBlanks = " \t\r\n";

/// The text content in pieces, trimmed at both ends unless the node preserves space; CDATA is never trimmed.
std::vector<std::string_view> TextContent(const Node& node);

/// Owns nodes, names and texts.
class Arena
{
public:
    Arena();
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    /// The name must live as long as the arena. All of these may throw std::bad_alloc.
    Node* Make(NodeKind kind, const char* name = nullptr);
    Node* Make(NodeKind kind, const char* name, std::string_view text);
    void SetText(Node& node, std::string_view text);
    const char* CopyName(std::string_view name);

    /// Keeps a parser's dictionary, whose names the nodes bear.
    void Keep(std::shared_ptr<void> names);
    /// What has been handed out so far.
    std::size_t Bytes() const { return m_bytes; }

    /// From here on both live as one, as nodes of one are going to be linked with nodes of the other.
    static void Join(const std::shared_ptr<Arena>& one, const std::shared_ptr<Arena>& other);

private:
    struct Pool;
    Arena& Owner();
    char* Characters(std::size_t size);

    std::vector<std::unique_ptr<Pool>> m_pools; // new nodes come from the first; none when another owns them
    std::shared_ptr<Arena> m_owner;
    std::size_t m_bytes = 0;
};

} // namespace hostwindows
