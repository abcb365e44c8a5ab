// What the shell's library exports by name.
#pragma once

#include <shlwapi.h>
#include <windows.h>

namespace hostwindows
{

/// "DllGetVersion" of the shell.
HRESULT ShellVersion(DLLVERSIONINFO* version);

} // namespace hostwindows
