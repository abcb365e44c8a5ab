// The part of the document model's pattern language that is spoken here: paths of element names, separated by "/" or
// "//", from the document ("/a/b", "//x") or from a node ("a/b", "./a", ".//x"), an attribute at their end ("@a",
// "a/@b"), "*" for any name, and unions of them ("a | b"). Names match as they are written, prefix and all; namespaces
// play no part.
#pragma once

#include "XmlTree.h"

#include <optional>
#include <string>
#include <vector>

namespace hostwindows
{

class Pattern
{
public:
    /// Nothing for any other query.
    static std::optional<Pattern> Parse(std::string query);

    /// Nodes found from `from`, in document order, `most` at the most.
    std::vector<const Node*> Find(const Node& from, std::size_t most) const;

private:
    struct Step
    {
        std::size_t nameAt; // in the query
        std::size_t nameLength;
        bool below; // any number of levels below the step before it
        bool attribute;
    };
    struct Path
    {
        bool fromTop;
        std::vector<Step> steps;
    };

    bool ParsePath(std::size_t begin, std::size_t end);
    bool Matches(const Path& path, const Node& node, const Node& from) const;
    const Node*
    ParentOfMatched(const Path& path, std::size_t first, std::size_t end, const Node* node, const Node& from) const;

    std::string m_query;
    std::vector<Path> m_paths;
};

} // namespace hostwindows
