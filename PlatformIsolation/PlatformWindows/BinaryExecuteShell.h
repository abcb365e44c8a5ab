// Starting a program through the shell.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Starts `file` without a visible window and does not wait for it. Texts are terminated; parameters and working
/// directory may be empty. @return false after a report to the "ODS" logger when the shell refused.
bool BinaryExecuteShellNoWait(
    const wchar_t* file, const wchar_t* verb, const wchar_t* parameters, const wchar_t* workingDirectory);

} // namespace scankelv
