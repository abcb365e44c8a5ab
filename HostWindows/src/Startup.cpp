// The start of a windowless program, which defines wWinMain instead of main.

#include <cstdlib>
#include <exception>
#include <windows.h>

namespace
{

constexpr int showDefault = 10;

/// What follows the program's name on a command line.
LPWSTR ArgumentsIn(LPWSTR line)
{
    bool quoted = false;
    for (; *line != 0 && (quoted || (*line != u' ' && *line != u'\t')); ++line)
        quoted = quoted != (*line == u'"');
    while (*line == u' ' || *line == u'\t')
        ++line;
    return line;
}

} // namespace

int main()
{
    LPWSTR line = nullptr;
    try
    {
        line = ::GetCommandLineW();
    }
    catch (const std::exception&)
    {
        ::OutputDebugStringA("hostwindows: the program cannot be started, its command line cannot be read\n");
        return EXIT_FAILURE;
    }
    return ::wWinMain(::GetModuleHandleW(nullptr), nullptr, ArgumentsIn(line), showDefault);
}
