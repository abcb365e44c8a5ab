// The interface of a logger, as all layers use it.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// A logger of one module. Any thread may write: the entries of one process do not mix. Writing never fails towards the
/// caller, never throws and keeps the thread's last error.
class LoggerTypeAbstract
{
public:
    /// Writes one entry: the prefix, the text with each line feed as CR LF, and a line end. An empty text writes
    /// nothing.
    virtual void WriteLine(const char* format, FormatArguments arguments) noexcept = 0;
    /// Writes the text alone, with the same line ends: no prefix, no line end of its own.
    virtual void WriteText(const char* format, FormatArguments arguments) noexcept = 0;
    virtual ~LoggerTypeAbstract() = default;
    /// Whether anything is written at all.
    bool IsEnabled() const { return m_enabled; }

    LoggerTypeAbstract(const LoggerTypeAbstract&) = delete;
    LoggerTypeAbstract& operator=(const LoggerTypeAbstract&) = delete;

    template <class... Args>
    void WriteLine(TextFormat<Args...> format, const Args&... arguments) noexcept
    {
        if (!m_enabled)
            return;
        const std::array<FormatArgument, sizeof...(Args)> bundled{FormatArgument(arguments)...};
        WriteLine(format.text, FormatArguments(bundled));
    }
    template <class... Args>
    void WriteText(TextFormat<Args...> format, const Args&... arguments) noexcept
    {
        if (!m_enabled)
            return;
        const std::array<FormatArgument, sizeof...(Args)> bundled{FormatArgument(arguments)...};
        WriteText(format.text, FormatArguments(bundled));
    }

protected:
    LoggerTypeAbstract() = default;

    bool m_enabled = true; ///< false: no sink; texts are not even formatted
};

/// The "ODS" logger: writes to the debugger console only and receives the reports of the platform layer. Created on
/// the first call, which keeps the thread's last error code.
LoggerTypeAbstract& DebugConsoleLogger();

} // namespace scankelv
