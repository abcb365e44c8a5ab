// What the fuzz targets share. A target reads its input as text, so that seeds read well.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzz
{

void Try(std::string_view input); ///< the target: tries one input

/// A property that holds for every input; one for which it does not is a finding.
inline void Require(bool holds, const char* property)
{
    if (!holds)
        std::fprintf(stderr, "Does not hold: %s\n", property), std::abort();
}

/// UTF-16 units of UTF-8, also of malformed bytes, so that every text of 16-bit units has an input.
inline std::wstring Widen(std::string_view text)
{
    std::wstring wide;
    for (const char c : text)
        if (const int byte = static_cast<unsigned char>(c); (byte & 0xC0) == 0x80 && !wide.empty())
            wide.back() = static_cast<wchar_t>((wide.back() << 6 | (byte & 0x3F)) & 0xFFFF);
        else
            wide += static_cast<wchar_t>(byte < 0xC0 ? byte : byte & (byte < 0xE0 ? 0x1F : 0xF));
    return wide;
}

} // namespace fuzz

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return fuzz::Try({reinterpret_cast<const char*>(data), size}), 0;
}
