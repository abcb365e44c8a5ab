#include "ColourProfileUpdater.h"

#include "BinaryExecuteShell.h"
#include "FolderOperations.h"
#include "Loggers.h"
#include "ResourceLocation.h"
#include "VendorNames.h"

namespace scankelv
{
namespace
{

/// Characters of the updater's argument, quotes and terminator counted.
constexpr std::size_t argumentCapacity = 1023;

} // namespace

bool StartColourProfileUpdater(const wchar_t* productName)
{
    LoggerTypeAbstract& logger = AgentLogger();
    const ResourceLocationWide updater = LocationOfModuleFile(VENDOR_UPDATER L".exe");
    if (!PathExists(updater.Text(), false))
    {
        logger.WriteLine(VENDOR_UPDATER " not found at expected location \"%ws\".", updater.Text());
        return false;
    }
    wchar_t argument[argumentCapacity];
    FormatInto(std::span<wchar_t>(argument), "\"\"\"%ws\"\"\"", productName);
    logger.WriteLine("triple-quoted name %ws", std::wstring_view(argument));

    const bool started =
        BinaryExecuteShellNoWait(updater.Text(), L"open", argument, ModuleFolderLocation<wchar_t>().Text());
    logger.WriteLine(VENDOR_UPDATER " %s.", started ? "finished normally" : "failed");
    return started;
}

} // namespace scankelv
