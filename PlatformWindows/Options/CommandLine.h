// The commands on a command line: "/NAME", then perhaps an argument.
#pragma once

#include <optional>
#include <string_view>

namespace scankelv
{

/// One command as it is on the line; both texts point into it.
struct Command
{
    std::wstring_view name;
    std::optional<std::wstring_view> argument; ///< none: the name ends the line
};

/// Takes the commands off a raw command line, one by one. Only "/", blank and double quote mean anything.
class CommandScanner
{
public:
    /// @param line  must outlive the scanner and its commands
    explicit CommandScanner(std::wstring_view line) : m_rest(line) {}

    std::optional<Command> Next();

private:
    std::wstring_view TakeUntil(wchar_t end);

    std::wstring_view m_rest;
};

} // namespace scankelv
