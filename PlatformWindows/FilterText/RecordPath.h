// Registry paths of the records of several devices.
#pragma once

#include <string>
#include <string_view>

namespace scankelv
{

/// The registry path of one record, "RECORDS\Printer007": at least three digits.
/// @param records  registry path of all records
std::wstring RecordPath(std::wstring_view records, unsigned short number);

} // namespace scankelv
