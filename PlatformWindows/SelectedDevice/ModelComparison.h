// Whether a device is of the configured model, and whether it can scan, by its identifier.
#pragma once

#include <optional>
#include <string_view>

namespace scankelv
{

/// The model's name in the identifier. An empty name counts as none, as every text contains it.
std::optional<std::wstring_view> ModelIn(std::wstring_view identifier) noexcept;

/// Whether the configured text, which may list several models, contains the model's name, in the same letter case.
bool IsConfiguredModel(std::wstring_view model, std::wstring_view configured) noexcept;

/// Whether the identifier announces scanning, or names a model of a legacy family, which scans without announcing it.
bool CanScan(std::wstring_view identifier, bool isNetwork) noexcept;

} // namespace scankelv
