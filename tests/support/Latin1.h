// A code page for tests that call no system: Latin-1, with '?' for each other character.
#pragma once

#include "TextFormat.h"

namespace test
{

inline constexpr scankelv::TextConversion latin1{
    [](std::wstring_view piece, scankelv::TextConversion::PieceBytes& bytes) {
        std::ranges::transform(piece, bytes.begin(), [](wchar_t c) { return char(char32_t(c) <= 0xFF ? c : '?'); });
        return piece.size();
    },
    [](std::string_view text) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
        return std::wstring(bytes, bytes + text.size());
    }};

} // namespace test
