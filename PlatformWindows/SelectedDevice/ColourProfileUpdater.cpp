#include "ColourProfileUpdater.h"

#include "BinaryExecuteShell.h"
#include "FolderOperations.h"
#include "Loggers.h"
#include "ResourceLocation.h"

namespace scankelv
{
namespace
{

/// Characters of the updater's argument, the terminator counted.
constexpr std::size_t argumentCapacity = 1023;

} // namespace

bool StartColourProfileUpdater(const WCHAR* productName)
{
    LoggerTypeAbstract& logger = AgentLogger();
    const ResourceLocationWide updater = LocationOfModuleFile(OLESTR("Hueward.exe"));
    if (!PathExists(updater.Text(), false))
    {
        logger.WriteLine("Hueward not found at expected location \"%ws\".", updater.Text());
        return false;
    }
    WCHAR argument[argumentCapacity];
    FormatInto(std::span<WCHAR>(argument), "\"\"\"%ws\"\"\"", productName);
    logger.WriteLine("triple-quoted name %ws", WideView(argument));

    const bool started =
        BinaryExecuteShellNoWait(updater.Text(), OLESTR("open"), argument, ModuleFolderLocation<WCHAR>().Text());
    logger.WriteLine("Hueward %s.", started ? "finished normally" : "failed");
    return started;
}

} // namespace scankelv
