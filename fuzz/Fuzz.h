// What the fuzz targets share. An input is text with a few leading lines, so that seeds read well and mutations stay
// near them. A target may use the machine folder that HOSTWINDOWS_ROOT names, and must be given one.
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz
{

using scankelv::WideText;
using scankelv::WideView;

inline std::string_view TextOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

/// A property of the target that every input must keep; one that does not is a finding.
inline void Require(bool holds, const char* property, std::string_view detail = {})
{
    if (holds)
        return;
    std::cerr << "Does not hold: " << property << "\n" << detail << std::endl;
    std::abort();
}

/// Starts COM, and makes the machine, on the first call. @return the Linux path of its drive C:
inline const std::string& UseMachine()
{
    static const std::string drive = [] {
        const char* const machine = std::getenv("HOSTWINDOWS_ROOT");
        Require(machine != nullptr, "HOSTWINDOWS_ROOT names a machine folder of its own");
        ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        ::GetFileAttributesW(OLESTR("C:\\"));
        return std::string(machine) + "/drive_c/";
    }();
    return drive;
}

/// Files of drive C: in folders that exist.
inline void WriteMachineFile(const char* name, std::string_view bytes)
{
    std::ofstream file(UseMachine() + name, std::ios::binary);
    Require(file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush().good(), "writes files", name);
}

inline std::string ReadMachineFile(const char* name)
{
    std::ifstream file(UseMachine() + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Takes the first line off, without its line end.
inline std::string_view TakeLine(std::string_view& input)
{
    const std::string_view line = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(line.size() + 1, input.size()));
    return line;
}

/// What the document model makes of a text that it stores: without outer blanks, line ends as one character.
inline WideText AsStored(WideView text)
{
    WideText stored;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != '\r')
            stored += text[i];
        else if (text.substr(i + 1, 1) != OLESTR("\n"))
            stored += OLESTR('\n');
    constexpr const WCHAR* blanks = OLESTR(" \t\n");
    stored.erase(stored.find_last_not_of(blanks) + 1);
    return stored.erase(0, std::min(stored.find_first_not_of(blanks), stored.size()));
}

/// ASCII letters alone.
inline WideText Upper(WideView text)
{
    WideText upper(text);
    for (WCHAR& unit : upper)
        unit = unit >= 'a' && unit <= 'z' ? static_cast<WCHAR>(unit - 32) : unit;
    return upper;
}

/// UTF-16 of UTF-8. What is malformed gives units too, so that every text of 16-bit units has an input: a zero, and
/// the lone half of a surrogate pair by its three-byte form.
inline WideText Widen(std::string_view text)
{
    WideText wide;
    const auto tail = [&](std::size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) & 0x3FU : 0U;
    };
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const unsigned first = static_cast<unsigned char>(text[i]);
        const std::size_t tails = first < 0xC0 || first >= 0xF0 ? 0 : first < 0xE0 ? 1 : 2;
        wide += static_cast<WCHAR>(
            tails == 0   ? first
            : tails == 1 ? (first & 0x1F) << 6 | tail(i + 1)
                         : (first & 0xF) << 12 | tail(i + 1) << 6 | tail(i + 2));
        i += tails;
    }
    return wide;
}

} // namespace fuzz
