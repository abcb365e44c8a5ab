// Whether a device that the library found is one that the agent may take.
#pragma once

#include "AgentOptions.h"

namespace scankelv
{

/// The configured model, or in generic-driver mode the configured vendor, and able to scan. Every failure is a report
/// and false; it throws nothing.
bool XmlDeviceMatch(const AgentOptions& options, const wchar_t* deviceXml) noexcept;

} // namespace scankelv
