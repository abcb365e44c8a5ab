// Locations that only the shell or the system knows.
#pragma once

#include "ResourceLocation.h"

#include <shlobj.h>

namespace scankelv
{

/// The folder of a special-folder identifier (CSIDL_...); empty after a report to the "ODS" logger.
ResourceLocation GetLocationByFolderID(int folderId);
/// The path of an item identifier list, of which it takes ownership; empty after a report.
ResourceLocation GetLocationByPIDL(LPITEMIDLIST list);
/// The temporary folder, trailing backslash included; empty after a report.
ResourceLocation LocationOfTemporaryRootFolder();

/// Major version in the high, minor in the low 16 bits, from the library's export "DllGetVersion"; 0 when the library
/// or the export does not exist. @param library  file name, terminated
DWORD GetDllVersion(const wchar_t* library);
bool ShellVersionAtLeast5();

ResourceLocation UserDataRootLocation();   ///< the user's local application data folder
ResourceLocation CommonDataRootLocation(); ///< the machine-wide application data folder

} // namespace scankelv
