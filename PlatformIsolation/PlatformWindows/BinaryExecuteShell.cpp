#include "BinaryExecuteShell.h"

#include "CheckedExpression.h"
#include "Owners.h"

#include <shellapi.h>

namespace scankelv
{

bool BinaryExecuteShellNoWait(
    const wchar_t* file, const wchar_t* verb, const wchar_t* parameters, const wchar_t* workingDirectory)
{
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC;
    info.lpVerb = verb;
    info.lpFile = file;
    info.lpParameters = parameters;
    info.lpDirectory = workingDirectory;
    info.nShow = SW_HIDE;

    DebugConsoleLogger().WriteLine(
        "about to [%ws] <%ws> with argument \"%ws\" in working directory \"%ws\"...", verb, file, parameters,
        workingDirectory);
    const BOOL result = ::ShellExecuteExW(&info);
    const OwnedHandle process = Own(info.hProcess);
    if (!Checked(DebugConsoleLogger, CheckLastError, static_cast<DWORD>(result), "result", 1))
        return false;
    DebugConsoleLogger().WriteLine("start <%ws> successful, not waiting for finish", file);
    return true;
}

} // namespace scankelv
