// The device that the scan driver last stored, as the search library is told of it.
#pragma once

#include "AgentOptions.h"
#include "CrossProductStorage.h"
#include "XmlDocument.h"

namespace scankelv
{

/// A new "devicelist" of version 1.0.1, attached to nothing.
XmlElement XmlCreateDeviceListElement(const XmlDocument& document);
/// A new "device", attached to nothing.
XmlElement XmlCreateDeviceElement(const XmlDocument& document);

/// Appends a "devicelist" with the current device to the option element, or nothing when there is none.
/// @throws XmlError when the document model itself fails
void XmlOptionAddDeviceListSingleSelect(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& option);

/// Fills the device element from the storage, from the first device of device.xml where the storage lacks a value, and
/// from the options. @return false, the element untouched, for a device without the address or port it is reached by
/// @throws XmlError when the document model itself fails
bool XmlAddTwainStorageDevice(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& device, CrossProductStorage& storage);

} // namespace scankelv
