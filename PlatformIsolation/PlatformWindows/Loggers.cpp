#include "Loggers.h"

#include "LoggerType.h"
#include "ProfileFile.h"
#include "ResourceLocation.h"

namespace scankelv
{
namespace
{

/// The thread's last error stays what it was: a first use may come between an operation and its check.
LoggerType<TextRenderCombo> DebugIniLogger(const char* module)
{
    const LastErrorKeeper keeper;
    return {module, &ConfigureFromDebugIni, LogFileLocation().Text(), DebugIniLocation().Text()};
}

} // namespace

LoggerTypeAbstract& AgentLogger()
{
    static LoggerType logger = DebugIniLogger("Agent");
    return logger;
}

LoggerTypeAbstract& FindwellLibraryLogger()
{
    static LoggerType logger = DebugIniLogger("KELVFindwellLibrary");
    return logger;
}

LoggerTypeAbstract& ClientLogger()
{
    static LoggerType logger = DebugIniLogger("KELVClient");
    return logger;
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
    if (mask == 0) // no sink, no prefix: each key that is absent costs two reads of the file
        return true;
    for (const auto& prefixSwitch : switches)
    {
        DWORD number = 0;
        settings.GetULong("Format", prefixSwitch.key, &number);
        prefixSwitch.shown = number != 0;
    }
    return true;
}

} // namespace scankelv
