// Libraries and modules.

#include "ElfFile.h"
#include "Handles.h"
#include "LetterCase.h"
#include "Paths.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <mutex>
#include <shlwapi.h>
#include <sys/auxv.h>

namespace hostwindows
{
namespace
{

/// What LoadLibrary loaded, as often as it did: modules and what dlopen calls them. The shell has no file, and null
/// there.
struct Loads
{
    std::mutex mutex;
    std::multimap<HMODULE, void*> opened;

    HMODULE Add(HMODULE module, void* handle)
    {
        const std::lock_guard lock(mutex);
        return opened.emplace(module, handle)->first;
    }
};
Loads& TheLoads()
{
    static auto* const loads = new Loads; // not destroyed: libraries may go in the process's last moments
    return *loads;
}

/// What the shell exports as "DllGetVersion".
HRESULT ShellVersion(DLLVERSIONINFO* version)
{
    if (version->cbSize != sizeof(*version))
        return E_INVALIDARG;
    constexpr DWORD windowsNt = 2;
    *version = {sizeof(*version), 6, 0, 0, windowsNt};
    return S_OK;
}

/// The module that an address lies in; null when it lies in none.
HMODULE ModuleAt(const void* address)
{
    ::Dl_info info;
    return ::dladdr(address, &info) != 0 ? static_cast<HMODULE>(info.dli_fbase) : nullptr;
}

HMODULE ProgramModule()
{
    static const HMODULE program = ModuleAt(reinterpret_cast<const void*>(::getauxval(AT_PHDR)));
    return program;
}

/// The Linux path of the program's file, as it was called when it started.
const std::string& ProgramFile()
{
    static const std::string file = [] {
        std::string path(PATH_MAX, '\0');
        const ::ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
        path.resize(static_cast<std::size_t>(std::max<::ssize_t>(length, 0)));
        return path;
    }();
    return file;
}

/// The Linux path of a module's file; empty when it is no module.
std::string FileOf(HMODULE module)
{
    if (module == nullptr || module == ProgramModule())
        return ProgramFile();
    ::Dl_info info;
    return ::dladdr(module, &info) != 0 && info.dli_fbase == module ? info.dli_fname : std::string();
}

/// The Linux path of a library: as it is named, or a bare name in the program's folder, then in the current one.
std::string FindLibrary(std::u16string name)
{
    const std::size_t nameAt = name.find_last_of(u"\\/:") + 1;
    if (nameAt == name.size())
        return {};
    if (name.find(u'.', nameAt) == std::u16string::npos)
        name += u".dll";
    std::u16string program = WindowsPath(FileOf(nullptr));
    program.resize(program.rfind(u'\\') + 1);
    for (const std::u16string& folder : {program, std::u16string()})
    {
        FoundPath found = FindExisting((nameAt == 0 ? folder + name : name).c_str());
        if (found.error == NO_ERROR && !found.isFolder)
            return std::move(found.path);
    }
    return {};
}

/// The loader trusts a file's headers, and reading behind the end of one that was cut would kill the process.
HMODULE Load(const std::string& path)
{
    Descriptor file;
    file.Open(path, O_RDONLY);
    void* const opened = SectionsOf(file).empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr)
    {
        // A message that begins with another file's name is about a library that this one needs.
        const char* message = ::dlerror();
        const bool own = message == nullptr || std::string_view(message).starts_with(path);
        return Refused<HMODULE>(own ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
    }
    return TheLoads().Add(ModuleAt(static_cast<::link_map*>(opened)->l_ld), opened);
}

template <class Char>
DWORD CopyPath(const std::basic_string<Char>& path, Char* buffer, DWORD size)
{
    if (path.empty())
        return Refused<DWORD>(ERROR_MOD_NOT_FOUND);
    const bool fits = path.size() < size;
    ::SetLastError(fits ? NO_ERROR : ERROR_INSUFFICIENT_BUFFER);
    if (size == 0)
        return 0;
    const std::size_t count = std::min<std::size_t>(path.size(), size - 1);
    path.copy(buffer, count);
    buffer[count] = 0;
    return fits ? static_cast<DWORD>(count) : size;
}

std::u16string WindowsPathOf(HMODULE module)
{
    const std::string file = FileOf(module);
    return file.empty() ? std::u16string() : WindowsPath(file);
}

} // namespace

bool ReadAt(const Descriptor& file, std::uint64_t offset, void* bytes, std::size_t size)
{
    return ::pread(file.Number(), bytes, size, static_cast<::off_t>(offset)) == static_cast<::ssize_t>(size);
}

std::vector<ElfW(Shdr)> SectionsOf(const Descriptor& file)
{
    ElfW(Ehdr) header;
    if (!ReadAt(file, 0, &header, sizeof(header)) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_shentsize != sizeof(ElfW(Shdr)))
        return {};
    std::vector<ElfW(Shdr)> sections(header.e_shnum);
    if (!ReadAt(file, header.e_shoff, sections.data(), sections.size() * sizeof(ElfW(Shdr))))
        sections.clear();
    return sections;
}

} // namespace hostwindows

using namespace hostwindows;

HMODULE LoadLibraryW(LPCWSTR name)
{
    static char shell; // its address serves as its handle
    if (EqualWithoutCase(ViewOf(name), u"Shell32.dll"))
        return TheLoads().Add(reinterpret_cast<HMODULE>(&shell), nullptr);
    const std::string path = FindLibrary(std::u16string(ViewOf(name)));
    return path.empty() ? Refused<HMODULE>(ERROR_MOD_NOT_FOUND) : Load(path);
}

HMODULE LoadLibraryA(LPCSTR name)
{
    return LoadLibraryW(name == nullptr ? nullptr : Utf16FromUtf8(name).c_str());
}

BOOL FreeLibrary(HMODULE module)
{
    if (module == nullptr)
        return Refused(ERROR_INVALID_HANDLE);
    std::unique_lock lock(TheLoads().mutex);
    const auto load = TheLoads().opened.find(module);
    if (load == TheLoads().opened.end())
        return Refused(ERROR_MOD_NOT_FOUND);
    void* const handle = load->second;
    TheLoads().opened.erase(load);
    lock.unlock();
    if (handle != nullptr)
        ::dlclose(handle); // runs the library's own code
    return TRUE;
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name)
{
    const std::lock_guard lock(TheLoads().mutex);
    const auto load = TheLoads().opened.find(module);
    void* found = nullptr;
    if (load != TheLoads().opened.end() && load->second != nullptr)
        found = ::dlsym(load->second, name);
    else if (load != TheLoads().opened.end() && name == std::string_view("DllGetVersion"))
        found = reinterpret_cast<void*>(&ShellVersion);
    return found != nullptr ? reinterpret_cast<FARPROC>(found) : Refused<FARPROC>(ERROR_PROC_NOT_FOUND);
}

HMODULE GetModuleHandleW(LPCWSTR name)
{
    return name == nullptr ? ProgramModule() : Refused<HMODULE>(ERROR_MOD_NOT_FOUND);
}

BOOL GetModuleHandleExW(DWORD, LPCWSTR address, HMODULE* module)
{
    *module = ModuleAt(address);
    return *module != nullptr ? TRUE : Refused(ERROR_MOD_NOT_FOUND);
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size)
{
    return CopyPath(Utf8FromUtf16(WindowsPathOf(module)), path, size);
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD size)
{
    return CopyPath(WindowsPathOf(module), path, size);
}

UINT SetErrorMode(UINT mode)
{
    static std::atomic<UINT> current = 0;
    return current.exchange(mode);
}
