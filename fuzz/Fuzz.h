// What the fuzz targets share. An input is text with a few leading lines, so that seeds read well and mutations stay
// near them.
#pragma once

#include "WideText.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <objbase.h>
#include <string>
#include <string_view>

namespace fuzz
{

using namespace scankelv;

/// The target: tries one input.
void Try(std::string_view input);

/// A property of the target that every input must keep; one that does not is a finding.
inline void Require(bool holds, const char* property, std::string_view detail = {})
{
    if (holds)
        return;
    std::cerr << "Does not hold: " << property << "\n" << detail << std::endl;
    std::abort();
}

/// The Linux path of a file in drive C: of the target's own machine.
inline std::string OnDrive(const char* name)
{
    return std::string(std::getenv("HOSTWINDOWS_ROOT")) + "/drive_c/" + name;
}

inline void WriteFile(const std::string& path, std::string_view bytes)
{
    Require((std::ofstream(path, std::ios::binary) << bytes).flush().good(), "files can be written", path);
}

inline std::string BytesOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Takes so much off the front, or what there is.
inline std::string_view Take(std::string_view& input, std::size_t count)
{
    const std::string_view taken = input.substr(0, count);
    input.remove_prefix(taken.size());
    return taken;
}

/// Takes the first line off, without its line end.
inline std::string_view TakeLine(std::string_view& input)
{
    const std::string_view line = Take(input, input.find('\n'));
    Take(input, 1);
    return line;
}

/// Without blanks and line ends, of which the document model keeps few as they are.
inline WideText Squeezed(WideView text)
{
    WideText squeezed(text);
    std::erase_if(squeezed, [](WCHAR unit) { return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n'; });
    return squeezed;
}

/// ASCII letters alone.
inline WideText Capitals(WideText text)
{
    for (WCHAR& unit : text)
        unit ^= unit >= 'a' && unit <= 'z' ? 0x20 : 0;
    return text;
}

/// UTF-16 of UTF-8. What is malformed gives units too, so that every text of 16-bit units has an input: a zero, and
/// the lone half of a surrogate pair by its three-byte form.
inline WideText Widen(std::string_view text)
{
    WideText wide;
    for (const char c : text)
        if (const auto byte = static_cast<unsigned char>(c); (byte & 0xC0) == 0x80 && !wide.empty())
            wide.back() = static_cast<WCHAR>(wide.back() << 6 | (byte & 0x3F));
        else
            wide += static_cast<WCHAR>(byte < 0xC0 ? byte : byte < 0xE0 ? byte & 0x1F : byte & 0xF);
    return wide;
}

} // namespace fuzz

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Require(
        std::getenv("HOSTWINDOWS_ROOT") != nullptr, "HOSTWINDOWS_ROOT names a folder for the target's machine");
    [[maybe_unused]] static const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    [[maybe_unused]] static const DWORD drive = ::GetFileAttributesW(OLESTR("C:\\")); // makes it
    fuzz::Try({reinterpret_cast<const char*>(data), size});
    return 0;
}
