// Whether a device that the library found is one that the agent may take.
#pragma once

#include "AgentOptions.h"

namespace scankelv
{

/// Whether the device can scan and is of the configured model (a local one may have the configured USB ids instead) or,
/// in generic-driver mode, of the configured vendor.
/// @param deviceXml  a device list with this one device, terminated
/// @return false after a report when this cannot be determined; throws nothing
bool XmlDeviceMatch(const AgentOptions& options, const wchar_t* deviceXml) noexcept;

} // namespace scankelv
