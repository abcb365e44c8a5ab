// The nodes of XML documents. Names and texts are UTF-8. A node is 48 bytes and lies in an arena that lives as long as
// anybody refers to one of its nodes: nothing is freed singly, so neither depth nor number costs anything at the end.
#pragma once

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
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
    Node* next;       ///< in the ring of the parent's nodes, or the element's next attribute
    const char* name; ///< element, attribute, instruction: terminated; else null
    Node* attributes; ///< of an element, the first one
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
};

/// The root element of a document, or null.
Node* RootElement(const Node& document);
void Unlink(Node& node);
void LinkLast(Node& parent, Node& node);
void LinkAttribute(Node& element, Node& attribute);
Node* FindAttribute(const Node& element, std::string_view name);

/// Whether the nearest xml:space at or above the node says "preserve".
bool PreservesSpace(const Node& node);

inline constexpr std::string_view xmlBlanks = " \t\r\n";

/// Whether a UTF-8 text is a name, with a prefix or without.
bool IsXmlName(const std::string& text);

/// The text content, trimmed at both ends unless the node preserves space; CDATA is never trimmed.
std::string TextContent(const Node& node);

/// The nodes that a query finds from `from`, in document order, `most` at the most. Of the document model's pattern
/// language: paths of element names from the document ("/a/b", "//x") or from the node ("a/b", ".//x"), an attribute at
/// their end ("@a"), and unions of them ("a | b"). Names match as they are written, prefix and all. Nothing for any
/// other query.
std::optional<std::vector<Node*>> Select(Node& from, std::string_view query, std::size_t most);

/// Owns nodes, names and texts.
class Arena
{
public:
    /// The name must live as long as the arena. All of these may throw std::bad_alloc.
    Node* Make(NodeKind kind, const char* name = nullptr, std::string_view text = {});
    void SetText(Node& node, std::string_view text);
    /// A copy of another arena's node with all it holds.
    Node* Import(const Node& node);
    /// Terminated.
    const char* Copy(std::string_view text);
    /// What has been handed out so far.
    std::size_t Bytes() const { return m_bytes; }

    /// Lives as long as this arena: a parser's dictionary, whose names the nodes bear.
    std::shared_ptr<void> names;

private:
    void* Take(std::size_t bytes, std::size_t alignment);

    std::pmr::monotonic_buffer_resource m_memory{4096};
    std::size_t m_bytes = 0;
};

} // namespace hostwindows
