#include "XmlPattern.h"

#include "XmlNames.h"

#include <algorithm>
#include <limits>

namespace hostwindows
{

std::optional<Pattern> Pattern::Parse(std::string query)
{
    Pattern pattern;
    pattern.m_query = std::move(query);
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1)
    {
        end = pattern.m_query.find('|', begin);
        if (!pattern.ParsePath(begin, std::min(end, pattern.m_query.size())))
            return std::nullopt;
    }
    return pattern;
}

bool Pattern::ParsePath(std::size_t begin, std::size_t end)
{
    const std::string_view query = m_query;
    const auto isBlank = [query](std::size_t at) { return xmlBlanks.find(query[at]) != std::string_view::npos; };
    while (begin < end && isBlank(begin))
        ++begin;
    while (begin < end && isBlank(end - 1))
        --end;

    const auto take = [&begin, end, query](std::string_view text) {
        const bool found = query.substr(begin, end - begin).starts_with(text);
        begin += found ? text.size() : 0;
        return found;
    };
    const bool fromNode = query.substr(begin, end - begin).starts_with("./");
    begin += fromNode ? 1 : 0;
    bool below = take("//");
    const bool fromRoot = below || take("/");
    Path path{fromRoot && !fromNode, {}};
    for (bool more = true; more;)
    {
        const bool attribute = take("@");
        const std::size_t nameEnd = std::min(query.find('/', begin), end);
        const std::string_view name = query.substr(begin, nameEnd - begin);
        if (name != "*" && !IsXmlName(std::string(name)))
            return false;
        path.steps.push_back({begin, name.size(), below, attribute});
        begin = nameEnd;
        below = take("//");
        more = below || take("/");
        if (attribute && more)
            return false;
    }
    m_paths.push_back(std::move(path));
    return true;
}

// Matches steps [first, end) with the node and the ones right above it, all of them below `from`.
const Node*
Pattern::ParentOfMatched(const Path& path, std::size_t first, std::size_t end, const Node* node, const Node& from) const
{
    for (std::size_t i = end; i > first; --i, node = node->parent)
    {
        const Step& step = path.steps[i - 1];
        const std::string_view name = std::string_view(m_query).substr(step.nameAt, step.nameLength);
        if (node == nullptr || node == &from ||
            node->kind != (step.attribute ? NodeKind::attribute : NodeKind::element) ||
            !(name == "*" || node->IsNamed(name)))
            return nullptr;
    }
    return node;
}

// From the last step up. Steps that hang together are tried as one, each such run at the nearest place above the last
// one: if that leads to nothing, no place higher up does.
bool Pattern::Matches(const Path& path, const Node& node, const Node& from) const
{
    const Node* at = &node;
    bool here = true;
    for (std::size_t end = path.steps.size(); end > 0;)
    {
        std::size_t first = end - 1;
        while (first > 0 && !path.steps[first].below)
            --first;
        const bool anchored = first == 0 && !path.steps[0].below;
        const Node* parent = nullptr;
        for (; at != nullptr && at != &from; at = at->parent)
        {
            parent = ParentOfMatched(path, first, end, at, from);
            if (anchored && parent != &from)
                parent = nullptr;
            if (parent != nullptr || here)
                break;
        }
        if (parent == nullptr)
            return false;
        at = parent;
        here = false;
        end = first;
    }
    return true;
}

std::vector<const Node*> Pattern::Find(const Node& from, std::size_t most) const
{
    const Node& top = Topmost(from);
    const auto starts = [&](const Path& path) -> const Node& { return path.fromTop ? top : from; };

    // One walk over all that any path may reach, no deeper than the longest path where none asks for any depth.
    const Node* reach = nullptr;
    std::size_t deepest = 0;
    for (const Path& path : m_paths)
    {
        const bool anyDepth =
            std::any_of(path.steps.begin(), path.steps.end(), [](const Step& s) { return s.below; }) ||
            (reach != nullptr && reach != &starts(path));
        deepest = anyDepth ? std::numeric_limits<std::size_t>::max() : std::max(deepest, path.steps.size());
        reach = reach == nullptr || path.fromTop ? &starts(path) : reach;
    }

    std::vector<const Node*> found;
    std::size_t depth = 1;
    for (const Node* node = reach->First(); node != nullptr && found.size() < most;)
    {
        if (std::any_of(
                m_paths.begin(), m_paths.end(), [&](const Path& path) { return Matches(path, *node, starts(path)); }))
            found.push_back(node);
        const Node* next = depth < deepest ? node->First() : nullptr;
        depth += next != nullptr ? 1 : 0;
        while (next == nullptr && node != reach)
        {
            next = node->Next();
            if (next == nullptr)
            {
                node = node->parent;
                --depth;
            }
        }
        node = next;
    }
    return found;
}

} // namespace hostwindows
