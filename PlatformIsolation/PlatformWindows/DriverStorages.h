// Where the scan driver's storages are, and how each of them is opened. Messages go to the "Agent" logger.
#pragma once

#include "CrossProductStorage.h"
#include "ResourceLocation.h"

namespace scankelv
{

/// "Software\QLScan\" and the product name, in the system's 8-bit code page; empty when memory runs out.
ResourceLocation TwainStoragePath(const wchar_t* productName);

bool TwainStorageOpenRead(CrossProductStorage& storage, const wchar_t* productName); ///< user hive, then system hive
bool TwainStorageOpenReadUser(CrossProductStorage& storage, const wchar_t* productName); ///< user hive only
bool TwainStorageOpenWrite(
    CrossProductStorage& storage, const wchar_t* productName); ///< user hive, created when absent

/// One record of several devices, in the system hive.
bool MultiSelectStorageOpenRead(CrossProductStorage& storage, const wchar_t* recordPath);

/// Config.ini of the WIA storage as a wide path; creates its folders. Empty when it cannot be located.
ResourceLocationWide WiaConfigLocationWide();

} // namespace scankelv
