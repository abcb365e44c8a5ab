// The process's command line and environment.

#include "Handles.h"
#include "Paths.h"
#include "Process.h"

#include <algorithm>
#include <cstdlib>

namespace hostwindows
{
namespace
{

/// What the process was started with.
char** arguments = nullptr;
const char* handedLine = nullptr;

/// The variable is taken out before anything else runs, so that programs which this one starts by other means do not
/// find it. The C library hands a constructor what main gets.
[[gnu::constructor(101)]] void Start(int, char** given)
{
    arguments = given;
    handedLine = std::getenv(commandLineVariable);
    ::unsetenv(commandLineVariable);
}

std::u16string MakeCommandLine()
{
    if (handedLine != nullptr)
        return Utf16FromUtf8(handedLine);
    char16_t program[32768];
    std::u16string line =
        u'"' + std::u16string(program, ::GetModuleFileNameW(nullptr, program, std::size(program))) + u'"';
    for (char** at = arguments; *at != nullptr; ++at)
    {
        const std::string_view argument = *at;
        const bool quotes = argument.find('"') == std::string_view::npos &&
                            (argument.empty() || argument.find_first_of(" \t") != std::string_view::npos);
        const std::u16string_view around = quotes ? u"\"" : u"";
        if (at != arguments)
            line.append(u" ").append(around).append(Utf16FromUtf8(argument)).append(around);
    }
    return line;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

LPWSTR GetCommandLineW()
{
    static std::u16string line = MakeCommandLine();
    return line.data();
}

DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size)
{
    const char* value = std::getenv(Utf8FromUtf16(name).c_str());
    if (value == nullptr)
        return Refused<DWORD>(ERROR_ENVVAR_NOT_FOUND);
    const std::u16string wide = Utf16FromUtf8(value);
    if (wide.size() >= size)
        return static_cast<DWORD>(wide.size() + 1);
    std::copy_n(wide.c_str(), wide.size() + 1, buffer);
    return static_cast<DWORD>(wide.size());
}

BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value)
{
    const std::string variable = Utf8FromUtf16(name);
    const int result =
        value == nullptr ? ::unsetenv(variable.c_str()) : ::setenv(variable.c_str(), Utf8FromUtf16(value).c_str(), 1);
    return result == 0 ? TRUE : Refused(ERROR_INVALID_PARAMETER);
}
