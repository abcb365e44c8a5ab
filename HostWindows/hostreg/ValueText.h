// The data of a value as the text that people read and write.
#pragma once

#include "../src/RegistryStore.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <windows.h>

namespace hostreg
{

/// Its text goes to standard error; the program ends with exit code 1.
struct Failure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

using Value = hostwindows::StoredValue;

/// "REG_SZ"; an unknown type as a number, "0x777".
std::string NameOfType(DWORD type);
/// The types that a value can be given, by name without letter case.
std::optional<DWORD> TypeOfName(std::string_view name);

std::string TextOfData(const Value& value);
/// Throws Failure when the text is no data of the type.
std::string DataOfText(DWORD type, std::string_view text);

} // namespace hostreg
