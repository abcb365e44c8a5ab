// Conversion between UTF-16 and 8-bit texts.

#include "Paths.h"

#include <limits>

namespace hostwindows
{
namespace
{

constexpr char32_t replacementCharacter = 0xFFFD;

/// Hands over the characters one by one, U+FFFD for what is malformed. @return whether nothing was
template <class Take>
bool Characters(std::string_view text, Take take)
{
    bool wellFormed = true;
    for (std::size_t i = 0; i < text.size();)
    {
        const auto lead = static_cast<unsigned char>(text[i++]);
        if (lead < 0x80)
        {
            take(char32_t{lead});
            continue;
        }
        const unsigned more = lead >= 0xF0 ? 3 : (lead >= 0xE0 ? 2 : 1);
        constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        char32_t code = lead & (0x3FU >> more);
        bool good = lead >= 0xC2 && lead <= 0xF4;
        // A sequence that breaks off is one malformed character; what broke it starts the next.
        for (unsigned count = 0; good && count < more; ++count)
        {
            good = i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
            if (good)
                code = (code << 6) | (static_cast<unsigned char>(text[i++]) & 0x3FU);
        }
        good = good && code >= smallest[more] && code <= 0x10FFFF && (code < 0xD800 || code >= 0xE000);
        wellFormed = wellFormed && good;
        take(good ? code : replacementCharacter);
    }
    return wellFormed;
}

template <class Take>
bool Characters(std::u16string_view text, Take take)
{
    bool wellFormed = true;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        char32_t code = text[i];
        if (code >= 0xD800 && code < 0xE000)
        {
            const bool pair = code < 0xDC00 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
            code = pair ? 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00U) : replacementCharacter;
            wellFormed = wellFormed && pair;
        }
        take(code);
    }
    return wellFormed;
}

template <class Put>
void Encode(char32_t code, Put put, char16_t)
{
    if (code >= 0x10000)
    {
        put(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
        code = 0xDC00 + ((code - 0x10000) & 0x3FF);
    }
    put(static_cast<char16_t>(code));
}

template <class Put>
void Encode(char32_t code, Put put, char)
{
    if (code < 0x80)
    {
        put(static_cast<char>(code));
        return;
    }
    const unsigned more = code >= 0x10000 ? 3 : (code >= 0x800 ? 2 : 1);
    put(static_cast<char>(((0xFF00U >> (more + 1)) & 0xFFU) | (code >> (6 * more))));
    for (unsigned left = more; left-- > 0;)
        put(static_cast<char>(0x80 | ((code >> (6 * left)) & 0x3F)));
}

template <class To, class From>
std::basic_string<To> Converted(std::basic_string_view<From> text)
{
    std::basic_string<To> converted;
    converted.reserve(text.size());
    const auto put = [&converted](To unit) { converted += unit; };
    Characters(text, [&put](char32_t code) { Encode(code, put, To{}); });
    return converted;
}

int Refused(DWORD error)
{
    ::SetLastError(error);
    return 0;
}

/// The two calls below, which differ in their types alone. Nothing is allocated: every logged text passes here.
template <class To, class From>
int Convert(UINT codePage, bool strict, const From* text, int length, To* buffer, int room)
{
    if ((codePage != CP_ACP && codePage != CP_UTF8) || text == nullptr || length == 0 || length < -1 || room < 0)
        return Refused(ERROR_INVALID_PARAMETER);
    const std::basic_string_view<From> view(
        text, length < 0 ? std::char_traits<From>::length(text) + 1 : static_cast<std::size_t>(length));
    const auto limit = static_cast<std::size_t>(room == 0 ? std::numeric_limits<int>::max() : room);
    std::size_t count = 0;
    const auto put = [&](To unit) {
        if (room != 0 && count < limit)
            buffer[count] = unit;
        ++count;
    };
    const bool wellFormed = Characters(view, [&put](char32_t code) { Encode(code, put, To{}); });
    if (strict && !wellFormed)
        return Refused(ERROR_NO_UNICODE_TRANSLATION);
    return count > limit ? Refused(ERROR_INSUFFICIENT_BUFFER) : static_cast<int>(count);
}

} // namespace

std::u16string Utf16FromUtf8(std::string_view text)
{
    return Converted<char16_t>(text);
}

std::string Utf8FromUtf16(std::u16string_view text)
{
    return Converted<char>(text);
}

} // namespace hostwindows

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer, int room)
{
    return hostwindows::Convert(codePage, (flags & MB_ERR_INVALID_CHARS) != 0, text, length, buffer, room);
}

int WideCharToMultiByte(
    UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer, int room, LPCSTR defaultCharacter,
    LPBOOL defaultUsed)
{
    if (defaultCharacter != nullptr || defaultUsed != nullptr) // UTF-8 has a form for every character
        return hostwindows::Refused(ERROR_INVALID_PARAMETER);
    return hostwindows::Convert(codePage, (flags & WC_ERR_INVALID_CHARS) != 0, text, length, buffer, room);
}
