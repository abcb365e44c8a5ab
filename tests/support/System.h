// What the two systems do each in their own way.
#pragma once

#include "TestSupport.h"

#include <functional>

namespace test
{

/// Runs all tests on a machine of their own. @return the exit code of `tests`
int OnOwnMachine(const std::function<int()>& tests);

Wide MakeTemporaryFolder();
void RemoveTemporaryFolder(const Wide& path);

/// The debugger console of this process, from here on.
void StartDebugConsoleCapture();
std::string DebugConsoleText();
void StopDebugConsoleCapture();
std::vector<std::string> DebugConsoleCalls();
int CapturedTones();

} // namespace test
