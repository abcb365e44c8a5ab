// Conversion between UTF-16 and 8-bit texts.

#include "Handles.h"
#include "Paths.h"

#include <limits>

namespace hostwindows
{
namespace
{

constexpr char32_t malformed = 0x110000;

/// Takes the first character off a text. A sequence that breaks off is one malformed character; what broke it starts
/// the next.
char32_t Take(std::string_view& text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80)
        return lead;
    constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    const unsigned more = lead >= 0xF0 ? 3 : (lead >= 0xE0 ? 2 : 1);
    char32_t code = lead & (0x3FU >> more);
    bool good = lead >= 0xC2 && lead <= 0xF4;
    for (unsigned count = 0; good && count < more; ++count)
    {
        good = !text.empty() && (static_cast<unsigned char>(text.front()) & 0xC0) == 0x80;
        if (good)
        {
            code = (code << 6) | (static_cast<unsigned char>(text.front()) & 0x3FU);
            text.remove_prefix(1);
        }
    }
    return good && code >= smallest[more] && code <= 0x10FFFF && (code < 0xD800 || code >= 0xE000) ? code : malformed;
}

char32_t Take(std::u16string_view& text)
{
    const char32_t unit = text.front();
    text.remove_prefix(1);
    if (unit < 0xD800 || unit >= 0xE000)
        return unit;
    if (unit >= 0xDC00 || text.empty() || (text.front() & 0xFC00) != 0xDC00)
        return malformed;
    const char32_t code = 0x10000 + ((unit - 0xD800) << 10) + (text.front() - 0xDC00U);
    text.remove_prefix(1);
    return code;
}

template <class Put>
void Encode(char32_t code, Put put, char16_t)
{
    if (code >= 0x10000)
    {
        put(static_cast<char16_t>(0xD7C0 + (code >> 10)));
        code = 0xDC00 + (code & 0x3FF);
    }
    put(static_cast<char16_t>(code));
}

template <class Put>
void Encode(char32_t code, Put put, char)
{
    if (code < 0x80)
        return put(static_cast<char>(code));
    const unsigned more = code >= 0x10000 ? 3 : (code >= 0x800 ? 2 : 1);
    put(static_cast<char>(((0xFF00U >> (more + 1)) & 0xFFU) | (code >> (6 * more))));
    for (unsigned left = more; left-- > 0;)
        put(static_cast<char>(0x80 | ((code >> (6 * left)) & 0x3F)));
}

/// Writes what fits. @return the units needed
template <class To, class From>
std::size_t Write(std::basic_string_view<From> text, To* to, std::size_t room, char32_t forMalformed = U'\xFFFD')
{
    std::size_t count = 0;
    const auto put = [&](To unit) {
        if (count < room)
            to[count] = unit;
        ++count;
    };
    // Mostly all of it is ASCII, and many units are looked at and written at once.
    constexpr std::size_t block = 16;
    for (; text.size() - count >= block && (room == 0 || count + block <= room); count += block)
    {
        unsigned bits = 0;
        for (std::size_t i = 0; i < block; ++i)
            bits |= static_cast<char16_t>(text[count + i]);
        if (bits >= 0x80)
            break;
        for (std::size_t i = 0; room != 0 && i < block; ++i)
            to[count + i] = static_cast<To>(text[count + i]);
    }
    for (; count < text.size() && static_cast<char16_t>(text[count]) < 0x80; ++count)
        if (count < room)
            to[count] = static_cast<To>(text[count]);
    text.remove_prefix(count);
    while (!text.empty())
    {
        const char32_t code = Take(text);
        Encode(code == malformed ? forMalformed : code, put, To{});
    }
    return count;
}

template <class To, class From>
std::basic_string<To> Converted(std::basic_string_view<From> text, char32_t forMalformed)
{
    std::basic_string<To> converted(text.size(), 0); // mostly that many
    const std::size_t count = Write(text, converted.data(), converted.size(), forMalformed);
    converted.resize(count);
    if (count > text.size())
        Write(text, converted.data(), count, forMalformed);
    return converted;
}

/// The two calls below, which differ in their types alone. Nothing is allocated: every logged text passes here.
template <class To, class From>
int Convert(const From* text, int length, To* buffer, int room)
{
    if (text == nullptr || length == 0)
        return Refused<int>(ERROR_INVALID_PARAMETER);
    const std::basic_string_view<From> view(
        text, length < 0 ? std::char_traits<From>::length(text) + 1 : static_cast<std::size_t>(length));
    const std::size_t count = Write(view, buffer, static_cast<std::size_t>(room));
    const auto limit = static_cast<std::size_t>(room == 0 ? std::numeric_limits<int>::max() : room);
    return count > limit ? Refused<int>(ERROR_INSUFFICIENT_BUFFER) : static_cast<int>(count);
}

} // namespace

std::u16string Utf16FromUtf8(std::string_view text)
{
    return Converted<char16_t>(text, U'\xFFFD');
}

std::string Utf8FromUtf16(std::u16string_view text, char32_t forLoneSurrogate)
{
    return Converted<char>(text, forLoneSurrogate);
}

} // namespace hostwindows

int MultiByteToWideChar(UINT, DWORD, LPCSTR text, int length, LPWSTR buffer, int room)
{
    return hostwindows::Convert(text, length, buffer, room);
}

int WideCharToMultiByte(UINT, DWORD, LPCWSTR text, int length, LPSTR buffer, int room, LPCSTR, LPBOOL)
{
    return hostwindows::Convert(text, length, buffer, room);
}
