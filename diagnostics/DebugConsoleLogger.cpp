#include "LoggerType.h"

namespace scankelv
{
namespace
{

bool ConfigureDebugConsoleDefault(
    const char* /*settingsPath*/, const char* /*module*/, DWORD& mask, bool& showTime, bool& showModule,
    bool& showThread)
{
    mask = debugConsoleSink;
    showTime = false;
    showModule = true;
    showThread = true;
    return true;
}

} // namespace

LoggerTypeAbstract& DebugConsoleLogger()
{
    const LastErrorKeeper keeper;
    static LoggerType<TextRenderDebugConsole> logger("ODS", &ConfigureDebugConsoleDefault);
    return logger;
}

} // namespace scankelv
