#include "MultiSelectRecord.h"

#include "DriverStorages.h"
#include "Loggers.h"

namespace scankelv
{

bool OpenRecord(
    CrossProductStorage& storage, const WCHAR* recordPath, unsigned short number, const RecordMessages& messages)
{
    WCHAR path[4096];
    const std::size_t length = FormatInto<WCHAR>(path, "%ws\\Printer%03hu", recordPath, number);
    const WCHAR* const text = path;
    AgentLogger().WriteLine(messages.tryToOpen, text);
    // A cut path would name another key, the same for every number.
    const bool opened = length < std::size(path) && MultiSelectStorageOpenRead(storage, text);
    if (!opened)
        AgentLogger().WriteLine(messages.openFailed);
    return opened;
}

} // namespace scankelv
