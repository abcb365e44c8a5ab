#include "WideText.h"

#include <cstring>

namespace scankelv
{

std::string NarrowFromWide(WideView text)
{
    std::string narrow;
    narrow.reserve(text.size());
    NarrowPieces(text, [&narrow](std::string_view piece) { narrow += piece; });
    return narrow;
}

WideText WideFromNarrow(std::string_view text)
{
    const int bytes = static_cast<int>(text.size());
    const int length = bytes == 0 ? 0 : ::MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, nullptr, 0);
    WideText wide(static_cast<std::size_t>(length), WCHAR());
    if (length != 0)
        ::MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), length);
    return wide;
}

std::size_t FindFast(WideView text, WCHAR character, std::size_t from)
{
    static_assert(sizeof(WCHAR) == 2);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size() * sizeof(WCHAR);
    for (std::size_t at = from * sizeof(WCHAR); at < size; ++at)
    {
        const void* const found = std::memchr(bytes + at, character & 0xFF, size - at);
        if (found == nullptr)
            break;
        at = static_cast<std::size_t>(static_cast<const unsigned char*>(found) - bytes);
        if (text[at / sizeof(WCHAR)] == character) // and not the byte of another one, or the other byte of one
            return at / sizeof(WCHAR);
    }
    return WideView::npos;
}

} // namespace scankelv
