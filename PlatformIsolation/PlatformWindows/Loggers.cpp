#include "Loggers.h"

#include "LoggerType.h"
#include "ProfileFile.h"
#include "ResourceLocation.h"

namespace scankelv
{
namespace
{

/// A logger with the log file and the settings that all of these loggers share.
class DebugIniLogger
{
public:
    /// Keeps the thread's last error, as the first use may come between an operation and its check.
    explicit DebugIniLogger(const char* module, const LastErrorKeeper& /*keeper*/ = {})
        : m_logger(module, &ConfigureFromDebugIni, LogFileLocation().Text(), DebugIniLocation().Text())
    {
    }
    LoggerTypeAbstract& Get() { return m_logger; }

private:
    LoggerType<TextRenderCombo> m_logger;
};

} // namespace

LoggerTypeAbstract& AgentLogger()
{
    static DebugIniLogger logger("Agent");
    return logger.Get();
}

LoggerTypeAbstract& FindwellLibraryLogger()
{
    static DebugIniLogger logger("KELVFindwellLibrary");
    return logger.Get();
}

LoggerTypeAbstract& ClientLogger()
{
    static DebugIniLogger logger("KELVClient");
    return logger.Get();
}

bool ConfigureFromDebugIni(
    const char* settingsPath, const char* module, DWORD& mask, bool& showTime, bool& showModule, bool& showThread)
{
    mask = 0;
    const struct
    {
        const char* key;
        bool& shown;
    } switches[] = {{"ShowTime", showTime}, {"ShowModule", showModule}, {"ShowThread", showThread}};
    for (const auto& prefixSwitch : switches)
        prefixSwitch.shown = false;

    if (settingsPath == nullptr)
        return false;
    ProfileFileNarrow settings{ResourceLocation(settingsPath)};
    if (!settings.IsValid())
        return false;
    settings.GetULong("Modules", module, &mask);
    for (const auto& prefixSwitch : switches)
    {
        DWORD number = 0;
        settings.GetULong("Format", prefixSwitch.key, &number);
        prefixSwitch.shown = number != 0;
    }
    return true;
}

} // namespace scankelv
