// The devices of all multi-select records as a device list for the search library, and the default one among them.
#pragma once

#include "AgentOptions.h"
#include "CrossProductStorage.h"
#include "MultiDeviceInfo.h"
#include "XmlDocument.h"

namespace scankelv
{

/// Appends a "devicelist" with one device for each record to the option element, or nothing when there is none.
/// @param recordPath        registry path of the records, below the system hive
/// @param device            the first record marked as the default, else the first record; unchanged without records
/// @param deviceInfoParsed  whether there was a record
/// @throws XmlError when the document model itself fails
void XmlOptionAddDeviceListMultiSelect(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& option, const wchar_t* recordPath,
    parsedMultiDeviceInfo& device, bool& deviceInfoParsed);

/// Reads one record and fills the device element from it.
/// @throws XmlError when the document model itself fails
void XmlAddMultiSelectDevice(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& element, CrossProductStorage& storage,
    parsedMultiDeviceInfo& device);

} // namespace scankelv
