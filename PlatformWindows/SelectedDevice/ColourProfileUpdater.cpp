#include "ColourProfileUpdater.h"

#include "BinaryExecuteShell.h"
#include "FolderOperations.h"
#include "Loggers.h"
#include "ResourceLocation.h"
#include "VendorNames.h"

#include <algorithm>

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
    // The name is a device's: a quote in it would end the argument and begin others.
    std::wstring name = productName;
    std::ranges::replace(name, L'"', L'\'');
    wchar_t argument[argumentCapacity];
    FormatInto(std::span<wchar_t>(argument), "\"\"\"%ws\"\"\"", name);
    logger.WriteLine("triple-quoted name %ws", std::wstring_view(argument));

    const bool started =
        BinaryExecuteShellNoWait(updater.Text(), L"open", argument, ModuleFolderLocation<wchar_t>().Text());
    logger.WriteLine(VENDOR_UPDATER " %s.", started ? "finished normally" : "failed");
    return started;
}

} // namespace scankelv
