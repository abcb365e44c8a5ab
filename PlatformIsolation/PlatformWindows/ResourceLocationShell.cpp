#include "ResourceLocationShell.h"

#include "CheckedExpression.h"
#include "Owners.h"

#include <shlwapi.h>
#include <wrl/client.h>

namespace scankelv
{
namespace
{

constexpr std::size_t PRACTICAL_SIZE_LIMIT = 0x10000000; // characters

struct ItemListRelease
{
    void operator()(LPITEMIDLIST list) const
    {
        Microsoft::WRL::ComPtr<IMalloc> allocator;
        if (SUCCEEDED(::SHGetMalloc(&allocator)))
            allocator->Free(list);
    }
};
using OwnedItemList = std::unique_ptr<ITEMIDLIST, ItemListRelease>;

ResourceLocation DataRootLocation(int folderId)
{
    return ShellVersionAtLeast5() ? GetLocationByFolderID(folderId) : LocationOfTemporaryRootFolder();
}

} // namespace

ResourceLocation GetLocationByFolderID(int folderId)
{
    LPITEMIDLIST list = nullptr;
    const HRESULT specialFolderLocationHResult = ::SHGetSpecialFolderLocation(nullptr, folderId, &list);
    if (!Checked(
            DebugConsoleLogger, CheckErrorCode, static_cast<DWORD>(specialFolderLocationHResult),
            "specialFolderLocationHResult", 0))
        return {};
    return GetLocationByPIDL(list);
}

ResourceLocation GetLocationByPIDL(LPITEMIDLIST list)
{
    const OwnedItemList owned(list);
    for (std::size_t holder_size = 2048;; holder_size *= 2)
    {
        ResourceLocation path_holder;
        const bool created = path_holder.Create(holder_size);
        if (!Checked(DebugConsoleLogger, "path_holder.Create", created, "created", 0))
            return {};
        const BOOL gotPath = ::SHGetPathFromIDListA(owned.get(), path_holder.Elements());
        if (!Checked(DebugConsoleLogger, "SHGetPathFromIDListA", static_cast<DWORD>(gotPath), "gotPath", 0))
            return {};
        path_holder.Elements()[holder_size - 1] = '\0';
        if (path_holder.View().size() + 2 < holder_size)
        {
            wchar_t path[MAX_PATH]{};
            ::SHGetPathFromIDListW(owned.get(), path);
            return InCodePage(std::move(path_holder), path);
        }
        if (!Checked(
                DebugConsoleLogger, CheckBoolean, holder_size < PRACTICAL_SIZE_LIMIT,
                "holder_size < PRACTICAL_SIZE_LIMIT", 0))
            return {};
    }
}

ResourceLocation LocationOfTemporaryRootFolder()
{
    for (DWORD holder_size = 512;; holder_size *= 2)
    {
        ResourceLocation path_holder;
        if (!Checked(
                DebugConsoleLogger, CheckBoolean, path_holder.Create(holder_size), "path_holder.Create( holder_size )",
                0))
            return {};
        const DWORD tchar_required = ::GetTempPathA(holder_size, path_holder.Elements());
        if (!Checked(DebugConsoleLogger, CheckLastError, tchar_required, "( tchar_required !=0 )", 0))
            return {};
        if (tchar_required + 1 < holder_size)
        {
            wchar_t path[MAX_PATH + 1]{};
            ::GetTempPathW(static_cast<DWORD>(std::size(path)), path);
            return InCodePage(std::move(path_holder), path);
        }
    }
}

DWORD GetDllVersion(const wchar_t* library)
{
    const OwnedModule loaded(::LoadLibraryW(library));
    if (loaded == nullptr)
        return 0;
    // Through void (*)(): compilers warn about a direct cast between two function types.
    const auto getVersion = reinterpret_cast<DLLGETVERSIONPROC>(
        reinterpret_cast<void (*)()>(::GetProcAddress(loaded.get(), "DllGetVersion")));
    if (getVersion == nullptr)
        return 0;
    DLLVERSIONINFO version{};
    version.cbSize = sizeof(version);
    if (FAILED(getVersion(&version)))
        return 0;
    return (version.dwMajorVersion << 16) | (version.dwMinorVersion & 0xFFFF);
}

bool ShellVersionAtLeast5()
{
    constexpr DWORD version5 = 0x50000;
    return GetDllVersion(L"Shell32.dll") >= version5;
}

ResourceLocation UserDataRootLocation()
{
    return DataRootLocation(CSIDL_LOCAL_APPDATA);
}

ResourceLocation CommonDataRootLocation()
{
    return DataRootLocation(CSIDL_COMMON_APPDATA);
}

} // namespace scankelv
