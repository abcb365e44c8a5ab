// The loggers that Debug.ini configures. Each is created on its first use, which keeps the thread's last error code.
#pragma once

#include "LoggerTypeAbstract.h"

namespace scankelv
{

LoggerTypeAbstract& AgentLogger();           ///< module "Agent"
LoggerTypeAbstract& FindwellLibraryLogger(); ///< module "KELVFindwellLibrary"
LoggerTypeAbstract& ClientLogger();          ///< module "KELVClient"

/// The configuration step of these loggers: sink mask from section "Modules", the three prefix switches from "Format",
/// which stay off when the mask is 0.
/// @return false, and everything off, when the settings path is null or empty, or memory runs out; a missing file
/// counts as one without keys
bool ConfigureFromDebugIni(
    const char* settingsPath, const char* module, DWORD& mask, bool& showTime, bool& showModule, bool& showThread);

} // namespace scankelv
