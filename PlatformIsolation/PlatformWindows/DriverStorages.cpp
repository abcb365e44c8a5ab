#include "DriverStorages.h"

#include "Loggers.h"
#include "VendorNames.h"

#include <algorithm>
#include <atomic>

namespace scankelv
{

ResourceLocation TwainStoragePath(const wchar_t* productName)
{
    const std::wstring_view name = productName;
    const std::string narrow = NarrowFromWide(name);
    const std::wstring back = WideFromNarrow(narrow);
    // A failed conversion leaves characters out, which would give the key of another product. A surrogate pair becomes
    // one default character, or two.
    const auto pairs = std::ranges::count_if(name, [](wchar_t c) { return IS_LOW_SURROGATE(c); });
    if (back.size() + static_cast<std::size_t>(pairs) < name.size())
        return {};
    // Drivers convert the name in the same way, so that names which the code page cannot hold may share one key.
    static std::atomic_flag isLogged; // once in a run
    if (back != name && !isLogged.test_and_set())
        AgentLogger().WriteLine(
            "The code page cannot hold the product name \"%ws\", others may share its key.", productName);
    return ResourceLocation(Format<char>("Software\\%s\\%s", VENDOR_DRIVER_STORE, narrow.c_str()));
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
