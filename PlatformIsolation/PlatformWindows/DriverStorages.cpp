#include "DriverStorages.h"

#include "Loggers.h"
#include "VendorNames.h"

#include <atomic>

namespace scankelv
{

/// Names that the code page cannot hold share one key: drivers read it so.
void LogLossOnce(const wchar_t* productName)
{
    static std::atomic_flag said;
    if (WideFromNarrow(NarrowFromWide(productName)) != productName && !said.test_and_set())
        AgentLogger().WriteLine(
            "The code page cannot hold the product name \"%ws\", others may share its key.", productName);
}

ResourceLocation TwainStoragePath(const wchar_t* productName)
{
    LogLossOnce(productName);
    const auto print = [productName](std::span<char> buffer) {
        return FormatInto(buffer, "Software\\%s\\%ws", VENDOR_DRIVER_STORE, productName);
    };
    ResourceLocation path;
    if (const std::size_t length = print({}); path.Create(length + 1))
        print({path.Elements(), path.Count()});
    return path;
}

bool TwainStorageOpenRead(CrossProductStorage& storage, const wchar_t* productName)
{
    const ResourceLocation path = TwainStoragePath(productName);
    if (storage.Open(UserHive, path.Text(), AccessRead))
        return true;
    AgentLogger().WriteLine("fail to open user storage for read in HKCU, trying system storage in HKLM");
    if (storage.Open(SystemHive, path.Text(), AccessRead))
        return true;
    AgentLogger().WriteLine("fail to open system storage for read in HKLM");
    return false;
}

bool TwainStorageOpenReadUser(CrossProductStorage& storage, const wchar_t* productName)
{
    if (storage.Open(UserHive, TwainStoragePath(productName).Text(), AccessRead))
        return true;
    AgentLogger().WriteLine("fail to open user storage for read in HKCU");
    return false;
}

bool TwainStorageOpenWrite(CrossProductStorage& storage, const wchar_t* productName)
{
    if (storage.Open(UserHive, TwainStoragePath(productName).Text(), AccessWrite))
        return true;
    AgentLogger().WriteLine("fail to open user storage for write in HKCU");
    return false;
}

bool MultiSelectStorageOpenRead(CrossProductStorage& storage, const wchar_t* recordPath)
{
    AgentLogger().WriteLine("trying system storage in HKLM");
    if (!storage.Open(SystemHive, recordPath, AccessRead))
    {
        AgentLogger().WriteLine("fail to open MultiSelect storage for read in HKLM!");
        return false;
    }
    AgentLogger().WriteLine("success to open MultiSelect storage for read in HKLM");
    return true;
}

ResourceLocationWide WiaConfigLocationWide()
{
    return ResourceLocationWide(WideFromNarrow(WiaConfigLocation().View()));
}

} // namespace scankelv
