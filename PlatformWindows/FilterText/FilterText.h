// The filter text: what the dialog is to look for and how it is to behave.
#pragma once

#include "AgentOptions.h"
#include "MultiDeviceInfo.h"

namespace scankelv
{

/// @param filterText        replaced on success, left alone on failure
/// @param device, deviceInfoParsed  the default device of the records, in multi-select and device list mode only
/// @return false after a report when no document can be had
/// @throws XmlError when the document model itself fails
bool XmlGenerateFilterText(
    const AgentOptions& options, tagDialogMode mode, _bstr_t& filterText, parsedMultiDeviceInfo& device,
    bool& deviceInfoParsed);

} // namespace scankelv
