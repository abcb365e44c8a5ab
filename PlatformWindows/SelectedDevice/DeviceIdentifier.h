// Device identifiers in the IEEE 1284 style, with fields "KEY:value,value;". They are read in place.
#pragma once

#include <string_view>

namespace scankelv
{

// Keys and values compare without regard to the case of ASCII letters. A field matches every key that its own key
// begins with ("MODEL" also matches "MODE"); blanks before a key are not skipped. Each function takes time linear in
// the identifier's length, allocates nothing and accepts any text.

/// Whether the first "MODE" field has a value that begins with "SCN".
bool DeviceIdHasScanMode(std::wstring_view identifier) noexcept;

/// Whether the first field "MFG" (any of its values) or "MANUFACTURER" (its first value) begins with the vendor text.
/// The empty vendor text matches every such field that has a value.
bool DeviceIdManufacturerIs(std::wstring_view identifier, std::wstring_view vendor) noexcept;

/// Finds the first value of the first field "MDL" or "MODEL"; the value may be empty.
/// @param model  receives a part of `identifier`; unchanged on failure
/// @return false when there is no such field, or nothing after its colon
bool DeviceIdModel(std::wstring_view identifier, std::wstring_view& model) noexcept;

} // namespace scankelv
