// Device identifiers in the IEEE 1284 style: fields "KEY:value,value;", read where they lie.
#pragma once

#include <string_view>

namespace scankelv
{

// Keys and values compare without regard to the case of ASCII letters. A field is recognised by any key that its own
// key begins with ("MODEL" is also a "MODE"); blanks before a key are not skipped. Each reader takes time linear in
// the identifier, allocates nothing and copes with any text.

/// The first "MODE" field lists a value that begins with "SCN".
bool DeviceIdHasScanMode(std::wstring_view identifier) noexcept;

/// The first field "MFG" (any of its values) or "MANUFACTURER" (its first value) begins with the vendor text. The empty
/// vendor text matches every such field that has a value.
bool DeviceIdManufacturerIs(std::wstring_view identifier, std::wstring_view vendor) noexcept;

/// The first value of the first field "MDL" or "MODEL", which may be empty.
/// @param model  a part of `identifier`; untouched when there is none
/// @return false when no such field, or nothing after its colon, is there
bool DeviceIdModel(std::wstring_view identifier, std::wstring_view& model) noexcept;

} // namespace scankelv
