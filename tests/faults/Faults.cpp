// The agent with its imports redirected to this file: each call of the system, the document model, the search library
// and of operator new can fail, or the process end there. Account.h says how that is set; run.py does.
#include "Account.h"
#include "FindwellDlg.h"
#include "GuardPages.h"
#include "Objects.h"

#include <aclapi.h>
#include <csignal>
#include <new>
#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>
#include <tuple>

namespace
{

using namespace faults;

/// How a function tells that it failed.
enum class Failure
{
    None,   // it cannot, and is not counted
    Null,   // nothing or FALSE, and the last error
    Minus,  // -1, and the last error
    Code,   // the error itself
    Result, // the error as HRESULT
};

// What a function does that matters here; rows of the tables below name one.
struct Call
{
    static constexpr bool writes = false;
    static void Before(auto&&...) {}
    static void After(auto&&...) {}
};
struct Writes : Call
{
    static constexpr bool writes = true;
};
template <class Base = Call>
struct Gives : Base // its result
{
    static void After(const char* name, auto& result, auto&&...) { Give(reinterpret_cast<const void*>(result), name); }
};
template <std::size_t At, class Base = Call>
struct GivesAt : Base // where one of its parameters points to
{
    template <class Result>
    static void After(const char* name, Result& result, auto... parameters)
    {
        if (std::is_same_v<Result, BOOL> ? result != Result() : result == Result())
            Give(*std::get<At>(std::tuple(parameters...)), name);
    }
};
struct Takes : Call // its first parameter
{
    static void Before(const char* name, auto what, auto...) { TakeBack(what, name); }
};
struct TakesText : Call
{
    static void Before(const char* name, wchar_t** text) { TakeBack(*text, name); }
};
struct GivesObject : Call
{
    static void After(const char* name, HRESULT& result, REFCLSID, IUnknown*, DWORD, REFIID id, void** out)
    {
        if (SUCCEEDED(result))
            WatchAs(id, *out, name);
    }
};
struct GivesProcess : Call
{
    static void After(const char* name, BOOL, SHELLEXECUTEINFOW* info) { Give(info->hProcess, name); }
};
struct GivesApartment : Call
{
    static void After(const char* name, HRESULT& result, auto...) { Give(SUCCEEDED(result) ? &calls : nullptr, name); }
};
struct TakesApartment : Call
{
    static void Before(const char* name) { TakeBack(&calls, name); }
};
struct ReadsSetting : Call // one that cannot be read is the default
{
    static UINT Fail(auto*, auto*, INT otherwise, auto*) { return static_cast<UINT>(otherwise); }
    static DWORD Fail(const wchar_t*, const wchar_t*, const wchar_t* otherwise, wchar_t* to, DWORD size, const wchar_t*)
    {
        return static_cast<DWORD>(std::wstring_view(::lstrcpynW(to, otherwise, static_cast<int>(size))).size());
    }
};
struct Tells : Call
{
    static void Before(const char*, const char* text) { Say("told %s", text); }
};
struct Ends : Call
{
    static void Before(const char*, UINT);
};
struct GivesFunction : Call
{
    static void After(const char*, FARPROC& result, HMODULE, const char* name);
};

template <class Row, class Result, class... Parameters>
Result Run(Parameters... parameters)
{
    using Effect = typename Row::Effect;
    if constexpr (Row::failure != Failure::None)
        if (IsMet(Row::name, Effect::writes))
        {
            (Clear(parameters), ...);
            ::SetLastError(error);
            if constexpr (requires { Effect::Fail(parameters...); })
                return Effect::Fail(parameters...);
            const auto value = static_cast<std::intptr_t>(
                Row::failure == Failure::Null    ? 0
                : Row::failure == Failure::Minus ? -1
                : Row::failure == Failure::Code  ? static_cast<int>(error)
                                                 : HRESULT_FROM_WIN32(error));
            if constexpr (std::is_pointer_v<Result>)
                return reinterpret_cast<Result>(value);
            else
                return static_cast<Result>(value);
        }
    Effect::Before(Row::name, parameters...);
    if constexpr (std::is_void_v<Result>)
        Row::Original()(parameters...);
    else
    {
        Result result = Row::Original()(parameters...);
        const DWORD last = ::GetLastError();
        Effect::After(Row::name, result, parameters...);
        ::SetLastError(last);
        return result;
    }
}

#define HOOK(name, convention)                                                                                         \
    template <class Row, class Result, class... Parameters>                                                            \
    Result convention name(Parameters... parameters)                                                                   \
    {                                                                                                                  \
        return Run<Row, Result>(parameters...);                                                                        \
    }                                                                                                                  \
    template <class Row, class Result, class... Parameters>                                                            \
    constexpr auto HookOf(Result(convention*)(Parameters...))->Result(convention*)(Parameters...)                      \
    {                                                                                                                  \
        return &name<Row, Result, Parameters...>;                                                                      \
    }
HOOK(Hook, WINAPI)
#ifdef __i386__ // elsewhere both conventions are one
HOOK(HookC, __cdecl)
#define SYMBOL "_"
#define TARGET ""
#else
#define SYMBOL ""
#define TARGET "(%rip)"
#endif

/// Two agents with different FAULT_LOGON do not see each other, as those of two logons.
HANDLE WINAPI CreateMappingOfLogon(
    HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection, DWORD high, DWORD low, const wchar_t* name)
{
    wchar_t logon[16]{}, nameOfLogon[64]{};
    ::GetEnvironmentVariableW(L"FAULT_LOGON", logon, 16);
    std::swprintf(nameOfLogon, 64, L"%ls%ls", name, logon);
    return ::CreateFileMappingW(file, security, protection, high, low, nameOfLogon);
}

} // namespace

// The agent's objects know each function by a pointer to it, Fault_X, or call it directly, as Direct_X.
#define INSTEAD(function, how, effect, original)                                                                       \
    namespace                                                                                                          \
    {                                                                                                                  \
    struct Row_##function                                                                                              \
    {                                                                                                                  \
        static constexpr const char* name = #function;                                                                 \
        static constexpr Failure failure = Failure::how;                                                               \
        using Effect = effect;                                                                                         \
        static auto Original() { return &original; }                                                                   \
    };                                                                                                                 \
    }                                                                                                                  \
    constinit decltype(&::function) Fault_##function = HookOf<Row_##function>(decltype (&::function)());
#define FUNCTION(function, how, effect) INSTEAD(function, how, effect, ::function)
#define DIRECT(function)                                                                                               \
    asm(".globl " SYMBOL "Direct_" #function "\n" SYMBOL "Direct_" #function ": jmp *" SYMBOL                          \
        "Fault_" #function TARGET);

FUNCTION(AllocateAndInitializeSid, Null, GivesAt<10>)
FUNCTION(FreeSid, None, Takes)
FUNCTION(InitializeSecurityDescriptor, Null, Call)
FUNCTION(SetSecurityDescriptorDacl, Null, Call)
FUNCTION(SetEntriesInAclW, Code, GivesAt<3>)
FUNCTION(SetKernelObjectSecurity, Null, Writes)
FUNCTION(GetFileSecurityW, Null, Call)
FUNCTION(SetFileSecurityW, Null, Writes)
FUNCTION(RegOpenKeyExA, Code, GivesAt<4>)
FUNCTION(RegOpenKeyExW, Code, GivesAt<4>)
using MakesKey = GivesAt<7, Writes>;
FUNCTION(RegCreateKeyExA, Code, MakesKey)
FUNCTION(RegCreateKeyExW, Code, MakesKey)
FUNCTION(RegCloseKey, None, Takes)
FUNCTION(RegQueryValueExA, Code, Call)
FUNCTION(RegQueryValueExW, Code, Call)
FUNCTION(RegSetValueExA, Code, Writes)
FUNCTION(RegSetValueExW, Code, Writes)
FUNCTION(RegDeleteValueA, Code, Writes)
FUNCTION(CreateFileA, Minus, Gives<Writes>)
FUNCTION(CreateFileW, Minus, Gives<Writes>)
FUNCTION(CloseHandle, None, Takes)
FUNCTION(ReadFile, Null, Call)
FUNCTION(WriteFile, Null, Writes)
FUNCTION(SetFilePointer, Minus, Call)
FUNCTION(SetEndOfFile, Null, Writes)
FUNCTION(FlushFileBuffers, Null, Call)
FUNCTION(CopyFileW, Null, Writes)
FUNCTION(MoveFileExW, Null, Writes)
FUNCTION(DeleteFileW, Null, Writes)
FUNCTION(CreateDirectoryA, Null, Writes)
FUNCTION(FindFirstFileW, Minus, Gives<>)
FUNCTION(FindNextFileW, Null, Call)
FUNCTION(FindClose, None, Takes)
FUNCTION(GetFileAttributesExW, Null, Call)
FUNCTION(SetFileAttributesW, Null, Writes)
FUNCTION(GetFileInformationByHandle, Null, Call)
FUNCTION(GetFileSizeEx, Null, Call)
FUNCTION(GetFileType, Null, Call)
FUNCTION(GetFinalPathNameByHandleW, Null, Call)
FUNCTION(GetShortPathNameW, Null, Call)
FUNCTION(GetTempPathA, Null, Call)
FUNCTION(GetTempPathW, Null, Call)
FUNCTION(GetModuleFileNameA, Null, Call)
FUNCTION(GetModuleFileNameW, Null, Call)
FUNCTION(GetEnvironmentVariableW, Null, Call)
FUNCTION(GetPrivateProfileIntA, Null, ReadsSetting)
FUNCTION(GetPrivateProfileIntW, Null, ReadsSetting)
FUNCTION(GetPrivateProfileStringW, Null, ReadsSetting)
FUNCTION(WritePrivateProfileStringW, Null, Writes)
INSTEAD(CreateFileMappingW, Null, Gives<>, CreateMappingOfLogon)
FUNCTION(MapViewOfFile, Null, Gives<>)
FUNCTION(UnmapViewOfFile, None, Takes)
FUNCTION(LoadLibraryA, Null, Gives<>)
FUNCTION(LoadLibraryW, Null, Gives<>)
FUNCTION(GetProcAddress, Null, GivesFunction)
FUNCTION(FreeLibrary, None, Takes)
FUNCTION(FormatMessageA, Null, Call)
FUNCTION(MultiByteToWideChar, Null, Call)
FUNCTION(WideCharToMultiByte, Null, Call)
FUNCTION(OutputDebugStringA, None, Tells)
FUNCTION(ExitProcess, None, Ends)
FUNCTION(LocalAlloc, Null, Gives<>)
FUNCTION(LocalFree, None, Takes)
FUNCTION(CoInitializeEx, Result, GivesApartment)
FUNCTION(CoUninitialize, None, TakesApartment)
FUNCTION(CoCreateInstance, Result, GivesObject)
FUNCTION(OleRun, Result, Call)
INSTEAD(SysAllocStringLen, Null, Gives<>, AllocateString)
INSTEAD(SysFreeString, None, Takes, ReleaseString)
FUNCTION(SHCreateDirectoryExW, Code, Writes)
FUNCTION(SHGetFolderPathW, Result, Call)
FUNCTION(SHGetSpecialFolderLocation, Result, Call)
FUNCTION(SHGetPathFromIDListA, Null, Call)
FUNCTION(SHGetPathFromIDListW, Null, Call)
FUNCTION(SHGetMalloc, Result, Call)
FUNCTION(ShellExecuteExW, Null, GivesProcess)
FUNCTION(GetFileVersionInfoSizeW, Null, Call)
DIRECT(GetFileVersionInfoSizeW)
FUNCTION(GetFileVersionInfoW, Null, Call)
DIRECT(GetFileVersionInfoW)
FUNCTION(VerQueryValueW, Null, Call)
DIRECT(VerQueryValueW)
INSTEAD(calloc, Null, Gives<>, AllocateZeros)
DIRECT(calloc)
INSTEAD(free, None, Takes, Release)
DIRECT(free)

namespace
{

#define LIBRARY_FUNCTION(function, how, effect)                                                                        \
    struct Row_##function                                                                                              \
    {                                                                                                                  \
        static constexpr const char* name = #function;                                                                 \
        static constexpr Failure failure = Failure::how;                                                               \
        using Effect = effect;                                                                                         \
        static inline function##Function* original = nullptr;                                                          \
        static auto Original() { return original; }                                                                    \
    };
LIBRARY_FUNCTION(GetDeviceList_LCode, Code, GivesAt<4>)
LIBRARY_FUNCTION(GetDeviceInformation, Code, GivesAt<1>)
LIBRARY_FUNCTION(ShowPropertiesUI, Code, GivesAt<1>)
LIBRARY_FUNCTION(MergeDevicelistXML, Null, Call)
LIBRARY_FUNCTION(QueryDeviceAddress, Code, Call)
LIBRARY_FUNCTION(FreeDeviceList, None, TakesText)

template <class... Rows>
void ReplaceFunction(FARPROC& function, std::string_view name)
{
    const auto replace = [&function]<class Row>(Row) {
        using Plain = void (*)(); // functions of different types are not converted into each other directly
        Row::original = reinterpret_cast<decltype(Row::original)>(reinterpret_cast<Plain>(function));
        function = reinterpret_cast<FARPROC>(reinterpret_cast<Plain>(HookOf<Row>(Row::original)));
    };
    ((name == Rows::name ? replace(Rows()) : void()), ...);
}
void GivesFunction::After(const char*, FARPROC& result, HMODULE, const char* name)
{
    if (result != nullptr)
        ReplaceFunction<
            Row_GetDeviceList_LCode, Row_GetDeviceInformation, Row_ShowPropertiesUI, Row_MergeDevicelistXML,
            Row_QueryDeviceAddress, Row_FreeDeviceList>(result, name);
}

#ifdef FAULTS_COVERAGE
extern "C" void __gcov_dump();
#else
void __gcov_dump() {}
#endif
void Ends::Before(const char*, UINT exitCode)
{
    Say("ends with %u\n", exitCode);
    ReportEnd();
    __gcov_dump();
}

[[noreturn]] void EndWith(UINT exitCode)
{
    __gcov_dump();
    ::TerminateProcess(::GetCurrentProcess(), exitCode);
    __builtin_unreachable();
}

const struct Start
{
    Start()
    {
        const auto text = [](const char* name) { // nothing is allocated here: operator new is below
            const char* const value = std::getenv(name);
            return std::string_view(value == nullptr ? "" : value);
        };
        faultAt = static_cast<unsigned>(std::atoi(text("FAULT_AT").data()));
        endsThere = text("FAULT_ACTION") == "end";
        isLasting = text("FAULT_ACTION") == "lasting";
        error = static_cast<DWORD>(std::atoi(text("FAULT_ERROR").data()));
        OpenReport(text("FAULT_REPORT").data());
        // A crash must not start the debugger, and an assertion's end must not look like the agent's own exit code 3.
        ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS* what) -> LONG {
            Say("crash: %lx at %p\n", what->ExceptionRecord->ExceptionCode, what->ExceptionRecord->ExceptionAddress);
            EndWith(77);
        });
        std::signal(SIGABRT, [](int) {
            Say("abort\n");
            EndWith(78);
        });
        std::atexit(&ReportEnd); // the first to be registered is the last to be called
    }
} start __attribute__((init_priority(101)));

} // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    void* const memory = IsMet("operator new") ? nullptr : Allocate(size);
    Give(memory, "operator new");
    return memory;
}
void* operator new(std::size_t size)
{
    void* const memory = ::operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept
{
    TakeBack(memory, "operator delete");
    Release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    ::operator delete(memory);
}
