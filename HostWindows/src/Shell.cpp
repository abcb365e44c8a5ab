// Special folders, folder creation, and starting programs.
#include "Handles.h"
#include "LetterCase.h"
#include "Paths.h"
#include "Process.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <shellapi.h>
#include <shlobj.h>

namespace hostwindows
{
namespace
{

/// The shell's allocator: the process's own heap.
class HeapAllocator final : public IMalloc
{
public:
    HRESULT QueryInterface(REFIID, void** object) override { return *object = nullptr, E_NOINTERFACE; }
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
    DWORD error = FindPath(path).exists ? ERROR_ALREADY_EXISTS : NO_ERROR;
    for (std::size_t end = rootAt; end < path.size() && error == NO_ERROR;)
    {
        end = std::min(path.find_first_of(u"\\/", end + 1), path.size());
        const BOOL made = ::CreateDirectoryW(std::u16string(path.substr(0, end)).c_str(), nullptr);
        error = made != 0 || ::GetLastError() == ERROR_ALREADY_EXISTS ? NO_ERROR : ::GetLastError();
    }
    return error;
}

/// An item list is the path that it stands for, in UTF-8; empty for a folder without a path.
const char* PathOf(const ITEMIDLIST* list)
{
    return list == nullptr ? "" : reinterpret_cast<const char*>(list);
}

/// Windows starts what ends in ".exe". A Linux program may do without an extension.
bool IsProgram(const std::string& path)
{
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || EqualWithoutCase(Utf16FromUtf8(name.substr(dot)), u".exe");
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
    switch (error)
    {
    case NO_ERROR:
        return 33;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return 2;
    case ERROR_NO_ASSOCIATION:
        return 31;
    default:
        return 11;
    }
}

} // namespace

} // namespace hostwindows

using namespace hostwindows;

HRESULT SHGetMalloc(IMalloc** allocator)
{
    static HeapAllocator heap;
    *allocator = &heap;
    return S_OK;
}

HRESULT SHGetSpecialFolderLocation(HWND, int identifier, LPITEMIDLIST* list)
{
    std::u16string path;
    const bool known = PathOf(identifier, path);
    *list = known ? reinterpret_cast<LPITEMIDLIST>(::strdup(Utf8FromUtf16(path).c_str())) : nullptr;
    if (*list != nullptr)
        return S_OK;
    return known ? E_OUTOFMEMORY : E_INVALIDARG;
}

BOOL SHGetPathFromIDListA(const ITEMIDLIST* list, LPSTR path)
{
    const std::string_view text = PathOf(list);
    const std::size_t count = text.size() < MAX_PATH ? text.copy(path, text.size()) : 0;
    path[count] = '\0';
    return count != 0 ? TRUE : FALSE;
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
