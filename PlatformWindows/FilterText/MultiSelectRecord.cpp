#include "MultiSelectRecord.h"

#include "DriverStorages.h"
#include "Loggers.h"
#include "RecordPath.h"

#include <algorithm>

namespace scankelv
{

bool OpenRecord(
    CrossProductStorage& storage, const wchar_t* recordPath, unsigned short number, const RecordMessages& messages)
{
    constexpr std::size_t longestPath = 4095;
    std::wstring path = RecordPath(recordPath, number);
    // A cut path would name another key, the same one for every number: it is logged but not opened.
    const bool whole = path.size() <= longestPath;
    path.resize(std::min(path.size(), longestPath));
    AgentLogger().WriteLine(messages.tryToOpen, path.c_str());
    const bool opened = whole && MultiSelectStorageOpenRead(storage, path.c_str());
    if (!opened)
        AgentLogger().WriteLine(messages.openFailed);
    return opened;
}

} // namespace scankelv
