// Starting a program through the shell.
#pragma once

#include "WideText.h"

namespace scankelv
{

/// Starts `file` without a visible window and does not wait for it. Texts are terminated; parameters and working
/// directory may be empty. @return false after a report to the "ODS" logger when the shell refused.
bool BinaryExecuteShellNoWait(
    const WCHAR* file, const WCHAR* verb, const WCHAR* parameters, const WCHAR* workingDirectory);

} // namespace scankelv
