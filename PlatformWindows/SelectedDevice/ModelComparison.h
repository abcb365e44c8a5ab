// What an identifier says of the device's model: is it the configured one, and can it scan?
#pragma once

#include <optional>
#include <string_view>

namespace scankelv
{

/// The model's name in the identifier. An empty name is none: every text would contain it.
std::optional<std::wstring_view> ModelIn(std::wstring_view identifier) noexcept;

/// The configured text, which may list several models, contains the model's name; letter case counts.
bool IsConfiguredModel(std::wstring_view model, std::wstring_view configured) noexcept;

/// The identifier announces scanning, or names a model of a legacy family, which scans without announcing it.
bool CanScan(std::wstring_view identifier, bool isNetwork) noexcept;

} // namespace scankelv
