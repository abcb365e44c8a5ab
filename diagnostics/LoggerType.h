// The logger: formats a text and writes it, with its prefix, to the sinks of its renderer.
#pragma once

#include "LastErrorKeeper.h"
#include "LoggerTypeAbstract.h"
#include "LogSinks.h"

#include <memory>
#include <new>

namespace scankelv
{

/// A logger's configuration step: sets the sink mask and what the prefix shows. The settings path is empty for a
/// logger that is configured in code.
using LoggerConfigurationFunction = bool (*)(
    const char* settingsPath, const char* module, DWORD& mask, bool& showTime, bool& showModule, bool& showThread);

struct LineSettings
{
    char module[128]{}; ///< a longer name is cut
    bool showModule = false;
    bool showTime = false;
    bool showThread = false;
};

/// The formatting half of a logger. A text shorter than 1023 bytes is formatted without allocation.
template <class Logger>
class TextCollector : public LoggerTypeAbstract
{
public:
    void WriteLine(const char* format, FormatArguments arguments) noexcept override
    {
        Collect(true, format, arguments);
    }
    void WriteText(const char* format, FormatArguments arguments) noexcept override
    {
        Collect(false, format, arguments);
    }

private:
    void Collect(bool isLine, const char* format, FormatArguments arguments) noexcept;

    char m_text[1024]{};
};

template <class Renderer>
class LoggerType final : public TextCollector<LoggerType<Renderer>>
{
public:
    /// Configures itself and writes its description to the debugger console, whatever its sinks are.
    LoggerType(
        const char* module, LoggerConfigurationFunction configure, const char* logFile = "", const char* settings = "");

    /// @param buffer  holds the text in its first `length` characters; line ends are converted in place if the result
    /// fits
    void Render(bool isLine, std::span<char> buffer, std::size_t length) noexcept;

private:
    void Describe(const char* logFile, const char* settings) const;
    std::string_view MakePrefix();

    LineSettings m_settings;
    char m_prefix[256]{};
    DWORD m_configuredMask = 0;
    Renderer m_renderer;
    DWORD m_effectiveMask = 0;
};

extern template class LoggerType<TextRenderCombo>;
extern template class LoggerType<TextRenderDebugConsole>;

} // namespace scankelv
