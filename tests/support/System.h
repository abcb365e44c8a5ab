// What the two systems do each in their own way, beside the classes that are declared in TestSupport.h.
#pragma once

#include "TestSupport.h"

namespace test
{

/// Runs all tests on a machine of their own. @return the exit code of `tests`
int OnOwnMachine(const std::function<int()>& tests);

/// How RunProgram starts a program, and what that one writes to the debugger console until it ends.
extern const DWORD startFlags;
std::string ConsoleUntilTheEnd(const PROCESS_INFORMATION& process);

/// One that did not end in time.
inline void Abandon(const PROCESS_INFORMATION& process)
{
    ADD_FAILURE() << "the program did not end in time";
    ::TerminateProcess(process.hProcess, 99);
}

} // namespace test
