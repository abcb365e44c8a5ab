// One text as what it does differently from another, its base: short where the two are nearly alike.
//
// A text is made of titles, and below each its lines behind two blanks. In differences, the first of the two blanks (or
// what stands before a title) says what becomes of a line of the base: "-" it goes, "+" one comes; without a sign it
// stays, and tells where in the base the next ones are. "-..." is all between two lines that go. The rest stays.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace test
{

using Lines = std::vector<std::string>;

inline const char* const gap = "-...";

inline std::string Signed(char sign, const std::string& line)
{
    return sign + line.substr(line.starts_with(' ') ? 1 : 0);
}

inline std::string Unsigned(const std::string& line)
{
    if (line[0] != '-' && line[0] != '+')
        return line;
    return (line[1] == ' ' ? " " : "") + line.substr(1);
}

/// What the differences make of the base.
inline Lines Applied(const Lines& base, const Lines& differences)
{
    Lines text;
    auto at = base.begin();
    bool inGap = false;
    for (const std::string& line : differences)
    {
        const auto found = line.starts_with('+') || line == gap ? at : std::find(at, base.end(), Unsigned(line));
        if (line == gap)
            inGap = true;
        else if (line.starts_with('+'))
            text.push_back(Unsigned(line));
        else if (found == base.end())
            text.push_back("not in the base: " + line);
        else
        {
            text.insert(text.end(), inGap ? found : at, found);
            if (!line.starts_with('-'))
                text.push_back(line);
            at = found + 1;
            inGap = false;
        }
    }
    text.insert(text.end(), at, base.end());
    return text;
}

/// The fewest lines that make the text of the base.
inline Lines DifferencesOf(const Lines& base, const Lines& text)
{
    // How many lines the two have in common from a place in each on.
    std::vector<std::vector<int>> common(base.size() + 1, std::vector<int>(text.size() + 1));
    for (std::size_t i = base.size(); i-- > 0;)
        for (std::size_t j = text.size(); j-- > 0;)
            common[i][j] = base[i] == text[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);

    Lines result;
    std::size_t said = 0; // the result has led this far in the base
    const auto isTitle = [](const std::string& line) { return !line.starts_with(' '); };
    const auto isNext = [&](std::size_t place) {
        const auto line = base.begin() + static_cast<std::ptrdiff_t>(place);
        return std::find(base.begin() + static_cast<std::ptrdiff_t>(said), line, *line) == line;
    };
    const auto stay = [&](std::size_t place) {
        result.push_back(base[place]);
        said = place + 1;
    };
    const auto lead = [&](std::size_t to) {
        for (std::size_t title = to; title-- > said;)
            if (isTitle(base[title]))
                stay(title);
        while (!isNext(to))
        {
            std::size_t before = to - 1;
            while (!isNext(before))
                --before;
            stay(before);
        }
    };
    std::size_t i = 0, j = 0;
    while (i < base.size() || j < text.size())
    {
        const std::size_t goes = i;
        std::size_t comes = j;
        while ((i < base.size() || j < text.size()) && (i == base.size() || j == text.size() || base[i] != text[j]))
        {
            const bool mayGo = i < base.size() && (j == text.size() || common[i + 1][j] >= common[i][j + 1]);
            const bool mayCome = j < text.size() && (i == base.size() || common[i][j + 1] >= common[i + 1][j]);
            // What comes below a title stands before the next one, though that one goes.
            const bool atTitle = mayGo && isTitle(base[i]);
            if (mayCome && (!mayGo || (atTitle && !isTitle(text[j]))))
                ++j;
            else if (atTitle && i > goes)
                break;
            else
                ++i;
        }
        if (goes < i)
        {
            lead(goes);
            result.push_back(Signed('-', base[goes]));
            said = goes + 1;
            std::size_t last = i - 1;
            while (last > said && !isNext(last))
                --last;
            if (last > said + 1)
            {
                result.emplace_back(gap);
                said = last;
            }
            for (; said < i; ++said)
                result.push_back(Signed('-', base[said]));
        }
        else if (comes < j && said < i)
        {
            lead(i - 1);
            stay(i - 1);
        }
        for (; comes < j; ++comes)
            result.push_back(Signed('+', text[comes]));
        for (; i < base.size() && j < text.size() && base[i] == text[j]; ++i)
            ++j;
    }
    return result;
}

} // namespace test
