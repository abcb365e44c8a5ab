#include "CommandLine.h"

#include <algorithm>

namespace scankelv
{

std::optional<Command> CommandScanner::Next()
{
    const std::size_t slash = m_rest.find(L'/');
    if (slash == std::wstring_view::npos)
        return std::nullopt;
    Command command;
    m_rest.remove_prefix(slash + 1);
    command.name = TakeUntil(L' ');
    if (m_rest.empty())
        return command;
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(L' '), m_rest.size()));
    if (m_rest.starts_with(L'"'))
    {
        m_rest.remove_prefix(1);
        command.argument = TakeUntil(L'"');
    }
    else if (m_rest.starts_with(L'/'))
        command.argument = std::wstring_view();
    else
        command.argument = TakeUntil(L' ');
    return command;
}

// The character `end` itself remains in the rest.
std::wstring_view CommandScanner::TakeUntil(wchar_t end)
{
    const std::wstring_view taken = m_rest.substr(0, m_rest.find(end));
    m_rest.remove_prefix(taken.size());
    return taken;
}

} // namespace scankelv
