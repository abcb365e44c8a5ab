// Model families that scan without announcing it in their identifier.
#pragma once

#include <string_view>

namespace scankelv
{

/// The model, its ASCII letters taken as upper case, contains the name of a legacy family of network devices.
bool IsLegacyNetworkModel(std::wstring_view model) noexcept;
/// The same for the families of locally attached devices.
bool IsLegacyLocalModel(std::wstring_view model) noexcept;

} // namespace scankelv
