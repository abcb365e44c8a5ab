// The device that is stored for the scan driver, as a device list for the search library.
#pragma once

#include "AgentOptions.h"
#include "CrossProductStorage.h"
#include "XmlDocument.h"

namespace scankelv
{

/// A new element "devicelist" of version 1.0.1, not yet appended. @throws XmlError
XmlElement XmlCreateDeviceListElement(const XmlDocument& document);
/// A new element "device", not yet appended. @throws XmlError
XmlElement XmlCreateDeviceElement(const XmlDocument& document);

/// Appends a "devicelist" with the current device to the option element, or nothing when there is none.
/// @throws XmlError when the document model itself fails
void XmlOptionAddDeviceListSingleSelect(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& option);

/// Fills the device element from the storage, from the first device of device.xml where the storage lacks a value, and
/// from the options. @return false, the element unchanged, for a network device without address or a local one without
/// port
/// @throws XmlError when the document model itself fails
bool XmlAddTwainStorageDevice(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& device, CrossProductStorage& storage);

} // namespace scankelv
