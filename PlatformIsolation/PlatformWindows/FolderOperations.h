// Folders made when absent, and the question whether a path exists.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Whether the path can be opened without any access right; with the folder flag a folder counts too. Writes one line
/// to the "ODS" logger. CharType: char or wchar_t.
template <class CharType>
bool PathExists(const CharType* path, bool folder);

/// Creates one level of folder. @return true when it exists afterwards; false after a report to the "ODS" logger.
bool FolderCreateIfAbsent(const char* path);

} // namespace scankelv
