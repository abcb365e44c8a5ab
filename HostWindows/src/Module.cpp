// Libraries and modules.

#include "Descriptor.h"
#include "Handles.h"
#include "LetterCase.h"
#include "Paths.h"
#include "Shell.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <map>
#include <memory>
#include <mutex>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <vector>

namespace hostwindows
{
namespace
{

struct LoadedLibrary
{
    std::u16string path;    // Windows path; of the shell the bare name
    void* opened = nullptr; // of dlopen, which counts too; null for the shell, which has no file
    unsigned count = 0;
};
constexpr char16_t shellName[] = u"Shell32.dll";

/// The libraries that LoadLibrary loaded, by their handles.
struct LoadedLibraries
{
    std::mutex mutex;
    std::map<HMODULE, LoadedLibrary> libraries;
};
LoadedLibraries& Loaded()
{
    static auto* const loaded = new LoadedLibraries;
    return *loaded;
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

/// Whether a file holds all that its headers say. The loader itself trusts them, and reading behind the end of a file
/// that was cut would kill the process.
bool IsWholeLibrary(const std::string& path)
{
    Descriptor file;
    file.Open(path, O_RDONLY);
    struct ::stat status;
    ElfW(Ehdr) header;
    if (!file.IsOpen() || ::fstat(file.Number(), &status) != 0 ||
        ::pread(file.Number(), &header, sizeof(header), 0) != sizeof(header))
        return false;
    std::vector<ElfW(Phdr)> segments(header.e_phnum);
    const std::size_t bytes = segments.size() * sizeof(ElfW(Phdr));
    const auto size = static_cast<std::uint64_t>(status.st_size);
    // The table of sections comes last in a file, so that a cut one lacks it.
    const std::uint64_t tableSize = std::uint64_t{header.e_shnum} * header.e_shentsize;
    return header.e_shoff <= size && tableSize <= size - header.e_shoff &&
           ::pread(file.Number(), segments.data(), bytes, static_cast<::off_t>(header.e_phoff)) ==
               static_cast<::ssize_t>(bytes) &&
           std::ranges::all_of(segments, [size](const ElfW(Phdr) & segment) {
               return segment.p_offset <= size && segment.p_filesz <= size - segment.p_offset;
           });
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

HMODULE Count(HMODULE module, LoadedLibrary library)
{
    LoadedLibraries& loaded = Loaded();
    const std::lock_guard lock(loaded.mutex);
    ++loaded.libraries.try_emplace(module, std::move(library)).first->second.count;
    return module;
}

HMODULE Load(const std::string& path)
{
    void* opened = IsWholeLibrary(path) ? ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (opened == nullptr)
    {
        // A message that begins with another file's name is about a library that this one needs.
        const char* message = ::dlerror();
        const bool own = message == nullptr || std::string_view(message).starts_with(path);
        return Refused<HMODULE>(own ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
    }
    ::link_map* map = nullptr;
    ::dlinfo(opened, RTLD_DI_LINKMAP, &map);
    return Count(ModuleAt(map->l_ld), {WindowsPath(path), opened});
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
} // namespace hostwindows

using namespace hostwindows;

HMODULE LoadLibraryW(LPCWSTR name)
{
    static const char shell = 0; // its address serves as its handle
    if (EqualWithoutCase(ViewOf(name), shellName))
        return Count(reinterpret_cast<HMODULE>(const_cast<char*>(&shell)), {shellName});
    const std::string path = FindLibrary(std::u16string(ViewOf(name)));
    return path.empty() ? Refused<HMODULE>(ERROR_MOD_NOT_FOUND) : Load(path);
}

HMODULE LoadLibraryA(LPCSTR name)
{
    return name == nullptr ? LoadLibraryW(nullptr) : LoadLibraryW(Utf16FromUtf8(name).c_str());
}

BOOL FreeLibrary(HMODULE module)
{
    if (module == nullptr)
        return Refused(ERROR_INVALID_HANDLE);
    LoadedLibraries& loaded = Loaded();
    void* opened = nullptr;
    {
        const std::lock_guard lock(loaded.mutex);
        const auto library = loaded.libraries.find(module);
        if (library == loaded.libraries.end())
            return Refused(ERROR_MOD_NOT_FOUND);
        opened = library->second.opened;
        if (--library->second.count == 0)
            loaded.libraries.erase(library);
    }
    if (opened != nullptr)
        ::dlclose(opened); // runs the library's own code
    return TRUE;
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name)
{
    void* found = nullptr;
    LoadedLibraries& loaded = Loaded();
    const std::lock_guard lock(loaded.mutex);
    const auto library = loaded.libraries.find(module);
    if (library != loaded.libraries.end() && library->second.opened != nullptr)
        found = ::dlsym(library->second.opened, name);
    else if (library != loaded.libraries.end() && name == std::string_view("DllGetVersion"))
        found = reinterpret_cast<void*>(&ShellVersion);
    return found != nullptr ? reinterpret_cast<FARPROC>(found) : Refused<FARPROC>(ERROR_PROC_NOT_FOUND);
}

HMODULE GetModuleHandleW(LPCWSTR name)
{
    if (name == nullptr)
        return ProgramModule();
    LoadedLibraries& loaded = Loaded();
    const std::lock_guard lock(loaded.mutex);
    for (const auto& [module, library] : loaded.libraries)
    {
        const std::u16string& path = library.path;
        if (EqualWithoutCase(path, name) || EqualWithoutCase(path.substr(path.rfind(u'\\') + 1), name))
            return module;
    }
    return Refused<HMODULE>(ERROR_MOD_NOT_FOUND);
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
