#include "ValueText.h"

#include "../src/LetterCase.h"
#include "../src/Paths.h"

#include <algorithm>
#include <cstring>

namespace hostreg
{
namespace
{

using hostwindows::Utf16FromUtf8;
using hostwindows::Utf8FromUtf16;

struct TypeName
{
    DWORD type;
    std::string_view name;
    bool canBeGiven;
};

// Those without a constant only occur in what a file of Windows brings along.
constexpr TypeName typeNames[] = {
    {REG_NONE, "REG_NONE", true},
    {REG_SZ, "REG_SZ", true},
    {REG_EXPAND_SZ, "REG_EXPAND_SZ", true},
    {REG_BINARY, "REG_BINARY", true},
    {REG_DWORD, "REG_DWORD", true},
    {5, "REG_DWORD_BIG_ENDIAN", false},
    {6, "REG_LINK", false},
    {REG_MULTI_SZ, "REG_MULTI_SZ", true},
    {8, "REG_RESOURCE_LIST", false},
    {9, "REG_FULL_RESOURCE_DESCRIPTOR", false},
    {10, "REG_RESOURCE_REQUIREMENTS_LIST", false},
    {REG_QWORD, "REG_QWORD", true},
};

constexpr std::string_view hexDigits = "0123456789ABCDEF";
constexpr std::string_view textSeparator = "\\0"; // between the texts of a REG_MULTI_SZ, as two characters

/// What a digit is worth; 16 or more when it is none.
std::size_t Worth(char digit)
{
    return hexDigits.find(digit >= 'a' && digit <= 'f' ? static_cast<char>(digit - 'a' + 'A') : digit);
}

std::string HexNumber(std::uint64_t number)
{
    std::string digits;
    do
        digits += "0123456789abcdef"[number & 0xF];
    while ((number >>= 4) != 0);
    return "0x" + std::string(digits.rbegin(), digits.rend());
}

void AppendText(std::string& data, std::u16string_view text)
{
    data.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t));
    data.append(sizeof(char16_t), '\0');
}

std::string DataOfNumber(std::string_view text, std::size_t size)
{
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    const std::uint64_t base = isHex ? 16 : 10;
    text.remove_prefix(isHex ? 2 : 0);
    std::uint64_t number = 0;
    bool good = !text.empty();
    for (const char digit : text)
        good = good && Worth(digit) < base && !__builtin_mul_overflow(number, base, &number) &&
               !__builtin_add_overflow(number, Worth(digit), &number);
    if (!good || (size == sizeof(std::uint32_t) && number > UINT32_MAX))
        throw Failure("Invalid syntax. Specify valid numeric value for '/d'.");
    return {reinterpret_cast<const char*>(&number), size};
}

std::string DataOfBytes(std::string_view text)
{
    std::string digits(text.size() % 2, '0');
    digits += text;
    std::string data;
    for (std::size_t i = 0; i < digits.size(); i += 2)
    {
        const std::size_t high = Worth(digits[i]);
        const std::size_t low = Worth(digits[i + 1]);
        if (high > 0xF || low > 0xF)
            throw Failure("Invalid syntax. Specify valid binary value for '/d'.");
        data += static_cast<char>((high << 4) | low);
    }
    return data;
}

std::string DataOfTexts(std::string_view text)
{
    std::string data;
    while (!text.empty())
    {
        const std::size_t end = std::min(text.find(textSeparator), text.size());
        AppendText(data, Utf16FromUtf8(text.substr(0, end)));
        text.remove_prefix(std::min(end + textSeparator.size(), text.size()));
    }
    AppendText(data, {});
    return data;
}

} // namespace

std::string NameOfType(DWORD type)
{
    const auto* known = std::ranges::find(typeNames, type, &TypeName::type);
    return known == std::end(typeNames) ? HexNumber(type) : std::string(known->name);
}

std::optional<DWORD> TypeOfName(std::string_view name)
{
    const auto* known = std::ranges::find_if(typeNames, [&](const TypeName& row) {
        return row.canBeGiven && hostwindows::EqualWithoutCase(Utf16FromUtf8(row.name), Utf16FromUtf8(name));
    });
    return known == std::end(typeNames) ? std::nullopt : std::optional(known->type);
}

std::string TextOfData(const Value& value)
{
    std::u16string text(value.data.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), value.data.data(), text.size() * sizeof(char16_t));
    if ((value.type == REG_DWORD && value.data.size() == 4) || (value.type == REG_QWORD && value.data.size() == 8))
    {
        std::uint64_t number = 0;
        std::memcpy(&number, value.data.data(), value.data.size());
        return HexNumber(number);
    }
    if (value.type == REG_SZ || value.type == REG_EXPAND_SZ)
        return Utf8FromUtf16(std::u16string_view(text).substr(0, text.find(u'\0')));
    std::string shown;
    if (value.type == REG_MULTI_SZ)
    {
        std::u16string_view rest(text);
        rest = rest.substr(0, rest.find_last_not_of(u'\0') + 1);
        for (std::size_t end = rest.find(u'\0'); end != rest.npos; end = rest.find(u'\0'))
        {
            shown.append(Utf8FromUtf16(rest.substr(0, end))).append(textSeparator);
            rest.remove_prefix(end + 1);
        }
        return shown + Utf8FromUtf16(rest);
    }
    for (const char byte : value.data)
        (shown += hexDigits[static_cast<unsigned char>(byte) >> 4]) += hexDigits[byte & 0xF];
    return shown;
}

std::string DataOfText(DWORD type, std::string_view text)
{
    switch (type)
    {
    case REG_DWORD:
        return DataOfNumber(text.empty() ? "0" : text, sizeof(std::uint32_t));
    case REG_QWORD:
        return DataOfNumber(text.empty() ? "0" : text, sizeof(std::uint64_t));
    case REG_BINARY:
        return DataOfBytes(text);
    case REG_MULTI_SZ:
        return DataOfTexts(text);
    default: {
        std::string data;
        AppendText(data, Utf16FromUtf8(text));
        return data;
    }
    }
}

} // namespace hostreg
