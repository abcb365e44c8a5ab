// Model families that scan without announcing it in their identifier.
#pragma once

#include "WideText.h"

namespace scankelv
{

/// The model, its ASCII letters taken as upper case, contains the name of a legacy family of network devices.
bool IsLegacyNetworkModel(WideView model) noexcept;
/// The same for the families of locally attached devices.
bool IsLegacyLocalModel(WideView model) noexcept;

} // namespace scankelv
