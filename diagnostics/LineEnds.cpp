#include "LineEnds.h"

namespace scankelv
{

std::size_t LengthWithLineEnds(std::string_view text)
{
    std::size_t length = text.size();
    for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1))
        length += at == 0 || text[at - 1] != '\r' ? 1U : 0U;
    return length;
}

void ConvertLineEnds(std::string_view text, char* target)
{
    // From the end backwards, so that the text can grow in place.
    char* to = target + LengthWithLineEnds(text);
    for (std::size_t i = text.size(); i-- != 0;)
    {
        const char c = text[i];
        *--to = c;
        if (c == '\n' && (i == 0 || text[i - 1] != '\r'))
            *--to = '\r';
    }
}

} // namespace scankelv
