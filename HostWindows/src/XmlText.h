// Texts of XML documents between UTF-16, as the document model gives and takes them, and UTF-8, as they are kept.
#pragma once

#include <cstddef>
#include <string_view>

namespace hostwindows
{

/// UTF-16 units of a well-formed UTF-8 text.
inline std::size_t Utf16Length(std::string_view utf8)
{
    std::size_t units = 0;
    for (const char c : utf8)
    {
        const auto byte = static_cast<unsigned char>(c);
        units += (byte & 0xC0U) != 0x80U; // every character's first byte
        units += byte >= 0xF0U;           // a pair's second unit
    }
    return units;
}

/// Writes a well-formed UTF-8 text as UTF-16. @return the place behind it
inline char16_t* WriteUtf16(std::string_view utf8, char16_t* to)
{
    for (std::size_t i = 0; i < utf8.size();)
    {
        const auto lead = static_cast<unsigned char>(utf8[i++]);
        if (lead < 0x80)
        {
            *to++ = lead;
            continue;
        }
        unsigned more = lead >= 0xF0 ? 3 : (lead >= 0xE0 ? 2 : 1);
        char32_t code = lead & (0x3FU >> more);
        for (; more > 0; --more)
            code = (code << 6) | (static_cast<unsigned char>(utf8[i++]) & 0x3FU);
        if (code >= 0x10000)
        {
            *to++ = static_cast<char16_t>(0xD7C0 + (code >> 10));
            code = 0xDC00 + (code & 0x3FF);
        }
        *to++ = static_cast<char16_t>(code);
    }
    return to;
}

} // namespace hostwindows
