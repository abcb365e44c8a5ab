// Special folders, folder creation, and starting programs.
#include "Shell.h"

#include "Handles.h"
#include "LetterCase.h"
#include "Paths.h"
#include "Process.h"
#include "SharedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <shellapi.h>
#include <shlobj.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hostwindows
{
namespace
{

/// The shell's allocator: the process's own heap.
class HeapAllocator final : public IMalloc
{
public:
    HRESULT QueryInterface(REFIID interfaceId, void** object) override
    {
        const bool known = interfaceId == IID_IUnknown;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 1; }  // lives as long as the process
    ULONG Release() override { return 1; } // therefore not counted
    void Free(void* memory) override { std::free(memory); }
    int DidAlloc(void* memory) override { return memory != nullptr ? 1 : -1; }
};

struct SpecialFolder
{
    int identifier;
    std::u16string_view drive; // none: below the user's profile
    std::u16string_view path;  // none: the folder has no path
};
constexpr SpecialFolder specialFolders[] = {
    {CSIDL_CONTROLS, u"", u""},
    {CSIDL_LOCAL_APPDATA, u"", u"\\AppData\\Local"},
    {CSIDL_COMMON_APPDATA, u"C:", u"\\ProgramData"},
    {CSIDL_CDBURN_AREA, u"", u"\\AppData\\Local\\Microsoft\\Windows\\Burn\\Burn"},
};

/// @return false when there is no such folder
bool PathOf(int identifier, std::u16string& path)
{
    const auto* const folder = std::ranges::find(specialFolders, identifier, &SpecialFolder::identifier);
    if (folder == std::end(specialFolders))
        return false;
    if (!folder->path.empty())
        path.append(folder->drive.empty() ? std::u16string_view(UserProfile()) : folder->drive).append(folder->path);
    return true;
}

/// Makes a folder with its missing parents. @return 0 or the error code
DWORD MakeFolders(std::u16string_view path)
{
    const std::size_t rootAt = path.size() > 1 && path[1] == u':' ? 2 : 0;
    if (path.size() <= rootAt || !IsSeparator(path[rootAt]))
        return ERROR_BAD_PATHNAME;
    if (const FoundPath found = FindPath(path); found.exists)
        return ERROR_ALREADY_EXISTS;
    for (std::size_t end = rootAt + 1; end < path.size();)
    {
        while (end < path.size() && !IsSeparator(path[end]))
            ++end;
        const FoundPath found = FindPath(path.substr(0, end));
        if (found.error != NO_ERROR)
            return found.error;
        // Another process may make the same folder in this moment.
        if (!found.exists && ::mkdir(found.path.c_str(), 0777) != 0 && errno != EEXIST)
            return ErrorFromErrno(errno);
        ++end;
    }
    return NO_ERROR;
}

/// A list of one item, which holds the path with its terminator; null without memory.
LPITEMIDLIST MakeList(std::u16string_view path)
{
    const std::size_t itemSize = sizeof(USHORT) + (path.size() + 1) * sizeof(WCHAR);
    auto* bytes = static_cast<char*>(std::calloc(1, itemSize + sizeof(USHORT)));
    if (bytes == nullptr)
        return nullptr;
    const auto size = static_cast<USHORT>(itemSize);
    std::memcpy(bytes, &size, sizeof(size));
    std::memcpy(bytes + sizeof(size), path.data(), path.size() * sizeof(WCHAR));
    return reinterpret_cast<LPITEMIDLIST>(bytes);
}

std::u16string PathOf(PCIDLIST_ABSOLUTE list)
{
    constexpr std::size_t headSize = sizeof(USHORT);
    if (list == nullptr || list->mkid.cb < headSize + sizeof(WCHAR))
        return {};
    std::u16string path((list->mkid.cb - headSize) / sizeof(WCHAR), u'\0');
    std::memcpy(path.data(), list->mkid.abID, path.size() * sizeof(WCHAR));
    path.resize(std::min(path.find(u'\0'), path.size()));
    return path;
}

/// Windows starts what ends in ".exe". A Linux program may do without an extension, and says so by its mode.
bool IsProgram(const std::string& path)
{
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return ::access(path.c_str(), X_OK) == 0;
    return EqualWithoutCase(Utf16FromUtf8(name.substr(dot)), u".exe");
}

/// @return 0 or the error code
DWORD Start(const SHELLEXECUTEINFOW& info, PROCESS_INFORMATION& started)
{
    if (ViewOf(info.lpFile).empty())
        return ERROR_INVALID_PARAMETER;
    const FoundPath file = FindExisting(info.lpFile);
    if (file.error != NO_ERROR)
        return file.error;
    if (file.isFolder || !IsProgram(file.path))
        return ERROR_NO_ASSOCIATION;

    std::u16string commandLine = u"\"" + std::u16string(info.lpFile) + u"\"";
    if (!ViewOf(info.lpParameters).empty())
        commandLine.append(u" ").append(info.lpParameters);
    const FoundPath folder = FindPath(ViewOf(info.lpDirectory));
    return StartProcess(file.path, commandLine, folder.isFolder ? folder.path : std::string(), started);
}

/// The answer in `hInstApp`, as of the days when it was a module's handle: above 32, or a reason of its own numbers.
UINT_PTR Answer(DWORD error)
{
    constexpr struct
    {
        DWORD error;
        UINT_PTR answer;
    } answers[] = {
        {NO_ERROR, 33},           {ERROR_FILE_NOT_FOUND, 2},    {ERROR_PATH_NOT_FOUND, 2},
        {ERROR_ACCESS_DENIED, 5}, {ERROR_NOT_ENOUGH_MEMORY, 8}, {ERROR_NO_ASSOCIATION, 31},
    };
    constexpr UINT_PTR badFormat = 11;
    for (const auto& row : answers)
        if (row.error == error)
            return row.answer;
    return badFormat;
}

} // namespace

HRESULT ShellVersion(DLLVERSIONINFO* version)
{
    if (version->cbSize != sizeof(*version))
        return E_INVALIDARG;
    constexpr DWORD windowsNt = 2;
    *version = {sizeof(*version), 6, 0, 0, windowsNt};
    return S_OK;
}

} // namespace hostwindows

using namespace hostwindows;

HRESULT SHGetMalloc(IMalloc** allocator)
{
    static HeapAllocator heap;
    *allocator = &heap;
    return S_OK;
}

HRESULT SHGetSpecialFolderLocation(HWND, int identifier, PIDLIST_ABSOLUTE* list)
{
    std::u16string path;
    const bool known = PathOf(identifier, path);
    *list = known ? MakeList(path) : nullptr;
    if (*list != nullptr)
        return S_OK;
    return known ? E_OUTOFMEMORY : E_INVALIDARG;
}

BOOL SHGetPathFromIDListA(PCIDLIST_ABSOLUTE list, LPSTR path)
{
    const std::string text = Utf8FromUtf16(PathOf(list));
    const bool given = !text.empty() && text.size() < MAX_PATH;
    std::strcpy(path, given ? text.c_str() : "");
    return given ? TRUE : FALSE;
}

HRESULT SHGetFolderPathW(HWND, int identifier, HANDLE, DWORD, LPWSTR path)
{
    *path = 0;
    std::u16string text;
    if (!PathOf(identifier & ~CSIDL_FLAG_CREATE, text))
        return E_INVALIDARG;
    if (!FindPath(text).isFolder)
    {
        const bool make = (identifier & CSIDL_FLAG_CREATE) != 0;
        if (const DWORD error = make ? MakeFolders(text) : ERROR_FILE_NOT_FOUND; error != NO_ERROR)
            return HRESULT_FROM_WIN32(error);
    }
    if (text.size() >= MAX_PATH)
        return E_FAIL;
    text.copy(path, text.size());
    path[text.size()] = 0;
    return S_OK;
}

int SHCreateDirectoryExW(HWND, LPCWSTR path, const SECURITY_ATTRIBUTES*)
{
    return static_cast<int>(MakeFolders(ViewOf(path)));
}

BOOL ShellExecuteExW(SHELLEXECUTEINFOW* info)
{
    PROCESS_INFORMATION started{};
    const DWORD error = Start(*info, started);
    info->hInstApp = reinterpret_cast<HINSTANCE>(Answer(error));
    info->hProcess = nullptr;
    if ((info->fMask & SEE_MASK_NOCLOSEPROCESS) != 0)
        info->hProcess = started.hProcess;
    else if (started.hProcess != nullptr)
        ::CloseHandle(started.hProcess);
    return error == NO_ERROR ? TRUE : Refused(error);
}
