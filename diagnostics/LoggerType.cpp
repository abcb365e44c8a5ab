#include "LoggerType.h"

#include "LineEnds.h"
#include "TimeStamp.h"

#include <mutex>

namespace scankelv
{
namespace
{

/// One entry at a time, of whatever logger and thread: several loggers write to the same file.
std::mutex writing;

std::unique_ptr<char[]> TextBuffer(std::size_t size)
{
    return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

} // namespace

template <class Logger>
void TextCollector<Logger>::Collect(bool isLine, const char* format, FormatArguments arguments) noexcept
{
    auto& logger = static_cast<Logger&>(*this);
    if (!this->m_enabled || format == nullptr)
        return;
    const LastErrorKeeper keeper;
    const std::lock_guard lock(writing);
    const std::size_t length = FormatErased(std::span<char>(m_text), format, arguments, systemCodePage);
    if (length == 0)
        return;
    if (length < sizeof(m_text) - 1)
    {
        logger.Render(isLine, m_text, length);
        return;
    }
    const std::unique_ptr<char[]> longText = TextBuffer(length + 1);
    if (longText == nullptr)
        return;
    const std::span<char> space(longText.get(), length + 1);
    FormatErased(space, format, arguments, systemCodePage);
    logger.Render(isLine, space, length);
}

template <class Renderer>
LoggerType<Renderer>::LoggerType(
    const char* module, LoggerConfigurationFunction configure, const char* logFile, const char* settings)
    : m_renderer(logFile)
{
    FormatInto(std::span<char>(m_settings.module), "%s", module);
    configure(settings, module, m_configuredMask, m_settings.showTime, m_settings.showModule, m_settings.showThread);
    m_configuredMask &= allSinks;
    m_effectiveMask = m_configuredMask & Renderer::supportedSinks;
    m_renderer.Enable(m_effectiveMask);
    this->m_enabled = m_effectiveMask != 0;
    Describe(logFile, settings);
}

template <class Renderer>
void LoggerType<Renderer>::Describe(const char* logFile, const char* settings) const
{
    DebugConsoleWrite(Renderer::opening);
    DebugConsoleWrite(m_settings.module);
    for (const SinkPhrase& phrase : Renderer::phrases)
    {
        if ((m_configuredMask & phrase.sink) == 0)
            continue;
        DebugConsoleWrite(phrase.text);
        if (phrase.quotesLogFile)
        {
            DebugConsoleWrite(logFile);
            DebugConsoleWrite("\"");
        }
    }
    if (m_configuredMask == 0)
        DebugConsoleWrite(" does not log");
    DebugConsoleWrite(Renderer::settingsPhrase);
    DebugConsoleWrite(settings);
    DebugConsoleWrite("\r\n");
}

template <class Renderer>
std::string_view LoggerType<Renderer>::MakePrefix()
{
    // The prefix has space for the longest time stamp, module name and thread number, separators included.
    std::size_t length = 0;
    const auto append = [&](std::string_view text) {
        length += text.copy(m_prefix + length, sizeof(m_prefix) - length);
    };
    const auto blank = [&] { return length == 0 ? "" : " "; };
    if (m_settings.showTime)
    {
        char stamp[256];
        const std::size_t stampLength = FormatTimeStamp(stamp);
        append("[");
        append({stamp, stampLength});
        append("]");
    }
    if (m_settings.showModule)
    {
        append(blank());
        append(m_settings.module);
    }
    if (m_settings.showThread)
        length += FormatInto(std::span<char>(m_prefix).subspan(length), "%s{%lX}", blank(), ::GetCurrentThreadId());
    if (length != 0)
        append(": ");
    return {m_prefix, length};
}

template <class Renderer>
void LoggerType<Renderer>::Render(bool isLine, std::span<char> buffer, std::size_t length) noexcept
{
    std::string_view text(buffer.data(), length);
    std::unique_ptr<char[]> grownText;
    if (const std::size_t grown = LengthWithLineEnds(text); grown != length)
    {
        char* target = buffer.data();
        if (grown >= buffer.size())
        {
            grownText = TextBuffer(grown);
            if (grownText == nullptr)
                return;
            target = grownText.get();
        }
        ConvertLineEnds(text, target);
        text = {target, grown};
    }
    if (isLine)
        m_renderer.Write(MakePrefix());
    m_renderer.Write(text);
    if (isLine)
        m_renderer.Write("\r\n");
    m_renderer.EndEntry();
}

template class LoggerType<TextRenderCombo>;
template class LoggerType<TextRenderDebugConsole>;

} // namespace scankelv
