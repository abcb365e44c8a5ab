// Storing the selected device where the scan driver reads it.
#pragma once

#include "AgentOptions.h"
#include "XmlParsedDeviceList.h"

namespace scankelv
{

/// Starts the colour-profile updater, then writes device.xml, the registry values and, in generic-driver mode, section
/// "IO" of Config.ini. A single value that cannot be written does not stop the others.
/// @return false when the TWAIN storage cannot be opened (then nothing is written), or Config.ini cannot be located
bool StoreDeviceListAndUpdateIcc(const AgentOptions& options, const XmlParsedDeviceList& device);

} // namespace scankelv
