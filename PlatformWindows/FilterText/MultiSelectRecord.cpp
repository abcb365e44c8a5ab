#include "MultiSelectRecord.h"

#include "DriverStorages.h"
#include "Loggers.h"

namespace scankelv
{

bool OpenRecord(
    CrossProductStorage& storage, const WCHAR* recordPath, unsigned short number, const RecordMessages& messages)
{
    WCHAR path[4096];
    FormatInto<WCHAR>(path, "%ws\\Printer%03hu", recordPath, number);
    const WCHAR* const text = path;
    AgentLogger().WriteLine(messages.tryToOpen, text);
    const bool opened = MultiSelectStorageOpenRead(storage, text);
    if (!opened)
        AgentLogger().WriteLine(messages.openFailed);
    return opened;
}

} // namespace scankelv
