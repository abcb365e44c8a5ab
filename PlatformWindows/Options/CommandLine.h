// The commands on a command line: "/NAME" and an optional argument.
#pragma once

#include <optional>
#include <string_view>

namespace scankelv
{

/// One command; both texts point into the command line.
struct Command
{
    std::wstring_view name;
    std::optional<std::wstring_view> argument; ///< none when the name ends the line
};

/// Reads the commands of a raw command line one by one. Only "/", blank and double quote have a meaning.
class CommandScanner
{
public:
    /// @param line  must outlive the scanner and its commands
    explicit CommandScanner(std::wstring_view line) : m_rest(line) {}

    /// @return the next command, or nothing at the end of the line
    std::optional<Command> Next();

private:
    std::wstring_view TakeUntil(wchar_t end);

    std::wstring_view m_rest;
};

} // namespace scankelv
