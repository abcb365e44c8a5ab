// Checking whether a path exists, and creating folders.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Whether the path can be opened when no access right is requested. Writes the answer to the "ODS" logger. CharType:
/// char or wchar_t. @param folder  a folder counts too
template <class CharType>
bool PathExists(const CharType* path, bool folder);

/// Creates one level of folder. @return true when it exists afterwards; false after a report to the "ODS" logger.
bool FolderCreateIfAbsent(const char* path);

} // namespace scankelv
