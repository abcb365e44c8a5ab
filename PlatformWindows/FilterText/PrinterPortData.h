// The addresses of all multi-select records as a small XML text.
#pragma once

#include "BstrText.h"

namespace scankelv
{

/// Generates the XML text.
/// @param portData    replaced on success, unchanged on failure
/// @param recordPath  registry path of the records, below the system hive
/// @return false when there is no record, or after a report when no document can be created
/// @throws XmlError when the document model itself fails
bool XmlGeneratePrinterPortData(_bstr_t& portData, const wchar_t* recordPath);

} // namespace scankelv
