// The process's command line and environment.

#include "Descriptor.h"
#include "Paths.h"
#include "Process.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

namespace hostwindows
{
namespace
{

/// Taken out before anything else runs, so that programs which this one starts by other means do not find it.
[[gnu::constructor(101)]] void TakeOutVariable()
{
    ::unsetenv(commandLineVariable);
}

/// The zero-terminated texts of a file below /proc/self.
/// @throws std::system_error when they cannot be read: a line without its commands would ask for something else
std::vector<std::string> TextsOf(const char* file)
{
    std::vector<std::string> texts;
    Descriptor opened;
    opened.Open(std::string("/proc/self/") + file, O_RDONLY);
    char piece[4096];
    bool open = false;
    for (::ssize_t count = 0; (count = ::read(opened.Number(), piece, sizeof(piece))) != 0;)
    {
        if (count < 0)
            throw std::system_error(errno, std::system_category(), file);
        for (const char c : std::string_view(piece, static_cast<std::size_t>(count)))
        {
            if (!open)
                texts.emplace_back();
            open = c != '\0';
            if (open)
                texts.back() += c;
        }
    }
    return texts;
}

std::string MakeCommandLine()
{
    // The environment as it was at the start: every copy of this library in the process gives the same line.
    const std::string assigned = std::string(commandLineVariable) + "=";
    for (const std::string& entry : TextsOf("environ"))
        if (entry.starts_with(assigned))
            return entry.substr(assigned.size());

    char16_t program[32768];
    ::GetModuleFileNameW(nullptr, program, std::size(program));
    std::string line = '"' + Utf8FromUtf16(program) + '"';
    const std::vector<std::string> arguments = TextsOf("cmdline");
    for (std::size_t i = 1; i < arguments.size(); ++i)
    {
        const std::string& argument = arguments[i];
        const bool quotes = argument.find('"') == std::string::npos &&
                            (argument.empty() || argument.find_first_of(" \t") != std::string::npos);
        line += quotes ? " \"" + argument + '"' : ' ' + argument;
    }
    return line;
}

std::string& Line()
{
    static std::string line = MakeCommandLine();
    return line;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

LPSTR GetCommandLineA()
{
    return Line().data();
}

LPWSTR GetCommandLineW()
{
    static std::u16string line = Utf16FromUtf8(Line());
    return line.data();
}

DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size)
{
    const char* value = std::getenv(Utf8FromUtf16(name).c_str());
    if (value == nullptr)
    {
        ::SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
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
    if (result == 0)
        return TRUE;
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}
