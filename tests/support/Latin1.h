// A code page for tests that call no system: Latin-1, with '?' for each other character.
#pragma once

#include "TextFormat.h"

namespace test
{

inline constexpr scankelv::TextConversion latin1{
    [](std::wstring_view piece, scankelv::TextConversion::PieceBytes& bytes) {
        const auto byteOf = [](wchar_t c) { return static_cast<char32_t>(c) <= 0xFF ? static_cast<char>(c) : '?'; };
        std::ranges::transform(piece, bytes.begin(), byteOf);
        return piece.size();
    },
    [](std::string_view text) {
        std::wstring wide(text.size(), wchar_t());
        std::ranges::transform(text, wide.begin(), [](char c) { return static_cast<unsigned char>(c); });
        return wide;
    }};

} // namespace test
