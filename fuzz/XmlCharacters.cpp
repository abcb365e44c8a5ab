// What XML carries of a text: the text itself, or U+FFFD in the place of what no document may hold.
#include "XmlCharacters.h"

#include "Fuzz.h"

void fuzz::Try(std::string_view input)
{
    const std::wstring text = Widen(input), carried = scankelv::XmlCarried(text);
    Require(carried.size() == text.size(), "the length stays");
    const auto half = [&](std::size_t i) { return i < text.size() ? text[i] & 0xFC00 : 0; }; // of a surrogate pair
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const bool isAllowed = half(i) == 0xD800   ? half(i + 1) == 0xDC00
                               : half(i) == 0xDC00 ? half(i - 1) == 0xD800
                               : text[i] < 0x20    ? text[i] == 9 || text[i] == 10 || text[i] == 13
                                                   : text[i] < 0xFFFE;
        Require(carried[i] == (isAllowed ? text[i] : 0xFFFD), "what is not allowed is replaced, and only that");
    }
    Require(scankelv::XmlCanCarry(text) == (carried == text), "what can be carried stays");
}
