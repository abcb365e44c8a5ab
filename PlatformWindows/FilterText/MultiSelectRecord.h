// Where the records of several devices are.
#pragma once

#include "CodePage.h"
#include "CrossProductStorage.h"

namespace scankelv
{

/// Records are numbered without gaps from 0; the first that cannot be opened ends them.
inline constexpr unsigned short recordLimit = 1000;

/// The two lines that an opening may write.
struct RecordMessages
{
    CheckedFormat<const wchar_t*> tryToOpen;
    CheckedFormat<> openFailed;
};

/// Opens one record for reading.
/// @param recordPath  registry path of all records, below the system hive; at most 4095 characters of a record's own
/// path are used
bool OpenRecord(
    CrossProductStorage& storage, const wchar_t* recordPath, unsigned short number, const RecordMessages& messages);

} // namespace scankelv
