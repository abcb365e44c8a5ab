// The library's answer, read into one record.
#pragma once

#include "XmlParsedDeviceList.h"

namespace scankelv
{

/// Reads a device list text: for each element name the first element in document order. Neither frees nor keeps it.
/// @return false after a report when the text is not well-formed or lacks a required element; the record is then
/// partly filled and must not be stored
/// @throws XmlError when the document model itself fails
bool ParseDeviceList(const wchar_t* deviceListXml, XmlParsedDeviceList& device);

} // namespace scankelv
