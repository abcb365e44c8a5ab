// Opening the records of several devices.
#pragma once

#include "CodePage.h"
#include "CrossProductStorage.h"

namespace scankelv
{

/// Records are numbered without gaps from 0; the first that cannot be opened ends the list.
inline constexpr unsigned short recordLimit = 1000;

/// The log lines of one attempt to open a record.
struct RecordMessages
{
    CheckedFormat<const wchar_t*> tryToOpen;
    CheckedFormat<> openFailed;
};

/// Opens one record for reading. A record whose own path is longer than 4095 characters is not opened.
/// @param recordPath  registry path of all records, below the system hive
bool OpenRecord(
    CrossProductStorage& storage, const wchar_t* recordPath, unsigned short number, const RecordMessages& messages);

} // namespace scankelv
