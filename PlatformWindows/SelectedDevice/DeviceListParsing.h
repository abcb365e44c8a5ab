// Reading the library's answer into one record.
#pragma once

#include "XmlParsedDeviceList.h"

namespace scankelv
{

/// Reads a device list text: for each element name the first element in document order.
/// @param deviceListXml  terminated; neither released nor kept
/// @return false after a report when the text is not well-formed or lacks a required element; the record is then
/// partly filled and must not be stored
/// @throws XmlError when the document model itself fails
bool ParseDeviceList(const wchar_t* deviceListXml, XmlParsedDeviceList& device);

} // namespace scankelv
