// Model families that scan without announcing it in their identifier.
#pragma once

#include <string_view>

namespace scankelv
{

/// Whether the model contains the name of a legacy family of network devices, in any letter case (ASCII).
bool IsLegacyNetworkModel(std::wstring_view model) noexcept;
/// The same for the families of locally attached devices.
bool IsLegacyLocalModel(std::wstring_view model) noexcept;

} // namespace scankelv
