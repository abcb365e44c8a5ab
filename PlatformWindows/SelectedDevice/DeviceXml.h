// device.xml: the selected device as a file under the machine-wide application data folder, open to every user.
#pragma once

#include "ResourceLocation.h"
#include "XmlParsedDeviceList.h"

namespace scankelv
{

/// Replaces device.xml by one that holds this device. Always true: the result carries no information.
/// @throws XmlError when the file cannot be saved
bool ExportDeviceXml(const XmlParsedDeviceList& device);

/// The path of device.xml. Each call creates the folder and opens it to every user. Empty when the shell cannot name
/// the common application data folder.
ResourceLocationWide DeviceXmlLocation();

} // namespace scankelv
