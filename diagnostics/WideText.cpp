#include "WideText.h"

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

} // namespace scankelv
