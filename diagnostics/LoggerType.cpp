#include "LoggerType.h"

#include "TimeStamp.h"

namespace scankelv
{
namespace
{

std::unique_ptr<char[]> TextBuffer(std::size_t size)
{
    return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

} // namespace

std::size_t LengthWithLineEnds(std::string_view text)
{
    std::size_t length = text.size();
    for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1))
        length += at == 0 || text[at - 1] != '\r' ? 1U : 0U;
    return length;
}

void ConvertLineEnds(std::string_view text, char* target)
{
    // From the back, so that the text can grow in place.
    char* to = target + LengthWithLineEnds(text);
    for (std::size_t i = text.size(); i-- != 0;)
    {
        const char c = text[i];
        *--to = c;
        if (c == '\n' && (i == 0 || text[i - 1] != '\r'))
            *--to = '\r';
    }
}

template <class Logger>
void TextCollector<Logger>::Collect(bool isLine, const char* format, FormatArguments arguments) noexcept
{
    auto& logger = static_cast<Logger&>(*this);
    if (!this->m_enabled || format == nullptr)
        return;
    const LastErrorKeeper keeper;
    const std::size_t length = FormatErased(std::span<char>(m_text), format, arguments);
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
    const std::span<char> room(longText.get(), length + 1);
    FormatErased(room, format, arguments);
    logger.Render(isLine, room, length);
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
    // The time stamp, the module name and the thread number at their longest fit with all that stands between them.
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
void LoggerType<Renderer>::Render(bool isLine, std::span<char> room, std::size_t length) noexcept
{
    std::string_view text(room.data(), length);
    std::unique_ptr<char[]> grownText;
    if (const std::size_t grown = LengthWithLineEnds(text); grown != length)
    {
        char* target = room.data();
        if (grown >= room.size())
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
