// The filter text: which devices the dialog searches, and how it behaves.
#pragma once

#include "AgentOptions.h"
#include "MultiDeviceInfo.h"

namespace scankelv
{

/// Generates the filter text, an XML document, from the options and the stored devices.
/// @param filterText        replaced on success, unchanged on failure
/// @param device, deviceInfoParsed  the default device of the records, in multi-select and device list mode only
/// @return false after a report when no document can be created
/// @throws XmlError when the document model itself fails
bool XmlGenerateFilterText(
    const AgentOptions& options, tagDialogMode mode, _bstr_t& filterText, parsedMultiDeviceInfo& device,
    bool& deviceInfoParsed);

} // namespace scankelv
