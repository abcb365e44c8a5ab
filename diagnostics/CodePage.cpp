#include "CodePage.h"

namespace scankelv
{
namespace
{

std::size_t ToCodePage(std::wstring_view piece, TextConversion::PieceBytes& bytes)
{
    return static_cast<std::size_t>(::WideCharToMultiByte(
        CP_ACP, 0, piece.data(), static_cast<int>(piece.size()), bytes.data(), static_cast<int>(bytes.size()), nullptr,
        nullptr));
}

} // namespace

constinit const TextConversion systemCodePage{&ToCodePage, &WideFromNarrow};

std::string NarrowFromWide(std::wstring_view text)
{
    std::string narrow;
    narrow.reserve(text.size());
    NarrowPieces(systemCodePage, text, [&narrow](std::string_view piece) { narrow += piece; });
    return narrow;
}

std::wstring WideFromNarrow(std::string_view text)
{
    const int bytes = static_cast<int>(text.size());
    std::wstring wide(text.size(), wchar_t()); // no code page makes more characters than bytes
    const int length = bytes == 0 ? 0 : ::MultiByteToWideChar(CP_ACP, 0, text.data(), bytes, wide.data(), bytes);
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

} // namespace scankelv
