// transcript.txt: what each run leaves behind, a section for each kind of it. Behind its title a section may name the
// run that leaves nearly the same there; "..." then stands for the lines of that one between the two lines around it,
// or for all of them.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace test
{

using Lines = std::vector<std::string>;

struct Section
{
    std::string run;
    Lines lines; ///< the title, then each line behind two blanks
};
using Sections = std::vector<Section>;

inline const std::string same = "  ...";

inline std::string Joined(const Lines& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

inline auto Found(const Sections& sections, const std::string& run, const std::string& title)
{
    return std::ranges::find_if(
        sections, [&](const Section& section) { return section.run == run && section.lines[0] == title; });
}

/// The lines without those that follow each other in the base too, where that is shorter.
inline Lines Elided(Lines base, Lines lines)
{
    base.emplace_back(); // the end, as a line that both have
    lines.emplace_back();
    Lines elided;
    auto at = base.begin();
    for (auto line = lines.begin(); line != lines.end(); ++line)
    {
        elided.push_back(*line);
        const auto from = std::find(at, base.end(), *line);
        auto [last, here] = std::mismatch(from, base.end(), line, lines.end());
        // Back to one that is found from its text.
        while (last - from > 3 && std::find(from + 1, last, last[-1]) != last - 1)
            --last, --here;
        if (last - from > 3)
        {
            elided.push_back(same);
            at = last - 1;
            line = here - 2;
        }
    }
    elided.pop_back();
    return elided;
}

/// What Elided was made from.
inline Lines Whole(Lines base, Lines elided)
{
    if (elided.size() == 1)
        return base;
    base.emplace_back();
    elided.emplace_back();
    Lines lines;
    auto at = base.begin();
    for (auto line = elided.begin(); line != elided.end(); ++line)
        if (*line != same)
            lines.push_back(*line);
        else if (const auto from = std::find(at, base.end(), line[-1]); from != base.end())
        {
            at = std::find(from + 1, base.end(), line[1]);
            lines.insert(lines.end(), from + 1, at);
        }
    lines.pop_back();
    return lines;
}

/// The lines from the first different one to the last.
inline std::string Differences(const Lines& before, const Lines& now)
{
    const auto [from, fromNow] = std::ranges::mismatch(before, now);
    const auto [to, toNow] =
        std::mismatch(before.rbegin(), std::reverse_iterator(from), now.rbegin(), std::reverse_iterator(fromNow));
    std::string text =
        now.empty() ? before[0] + "\n" : now[0] + " line " + std::to_string(from - before.begin()) + "\n";
    for (auto line = from; line != to.base(); ++line)
        text += "-" + *line + "\n";
    for (auto line = fromNow; line != toNow.base(); ++line)
        text += "+" + *line + "\n";
    return text;
}

inline Sections ReadSections(const std::string& transcript)
{
    Sections sections;
    std::string run;
    std::istringstream text(transcript);
    for (std::string line; std::getline(text, line);)
        if (line.starts_with("==== "))
            run = line.substr(5);
        else if (line.starts_with("  "))
            sections.back().lines.push_back(line);
        else if (!line.empty())
            sections.push_back({run, {line}});
    for (Section& section : sections)
    {
        std::string& title = section.lines[0];
        const std::size_t as = title.find(" as \"");
        if (as == std::string::npos)
            continue;
        const std::string name = title.substr(as + 5, title.size() - as - 6);
        title.resize(as);
        if (const auto base = Found(sections, name, title); base != sections.end())
            section.lines = Whole(base->lines, section.lines);
    }
    return sections;
}

/// Each section as that of an earlier run, where that is shortest.
inline std::string Written(const Sections& sections)
{
    std::string transcript;
    std::string run;
    for (auto section = sections.begin(); section != sections.end(); ++section)
    {
        if (section->run != run)
            transcript += (run.empty() ? "==== " : "\n==== ") + section->run + "\n";
        run = section->run;
        Lines shortest = section->lines;
        for (auto base = sections.begin(); base != section; ++base)
            if (base->lines[0] == section->lines[0])
            {
                Lines elided =
                    base->lines == section->lines ? Lines{section->lines[0]} : Elided(base->lines, section->lines);
                if (elided.size() < shortest.size())
                {
                    elided[0] += " as \"" + base->run + '"';
                    shortest = std::move(elided);
                }
            }
        transcript += Joined(shortest);
    }
    return transcript;
}

} // namespace test
