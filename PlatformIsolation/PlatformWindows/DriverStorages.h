// Locations of the scan driver's storages, and how each is opened. A failed open is reported to the "Agent" logger.
#pragma once

#include "CrossProductStorage.h"
#include "ResourceLocation.h"

namespace scankelv
{

/// "Software\", the vendor's key and the product name, in the system's 8-bit code page; empty when memory runs out.
ResourceLocation TwainStoragePath(const wchar_t* productName);

bool TwainStorageOpenRead(CrossProductStorage& storage, const wchar_t* productName); ///< user hive, then system hive
bool TwainStorageOpenReadUser(CrossProductStorage& storage, const wchar_t* productName); ///< user hive only
bool TwainStorageOpenWrite(
    CrossProductStorage& storage, const wchar_t* productName); ///< user hive, created when absent

/// Opens one record of several devices, in the system hive. @param recordPath  the record's own path
bool MultiSelectStorageOpenRead(CrossProductStorage& storage, const wchar_t* recordPath);

/// Config.ini of the WIA storage as a wide path; creates its folders. Empty when it cannot be located.
ResourceLocationWide WiaConfigLocationWide();

} // namespace scankelv
