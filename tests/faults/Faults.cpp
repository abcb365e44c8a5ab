// The agent with its imports redirected to this file: each call of the system, the document model, the search library
// and of operator new can fail, or the process end there. run.py sets what Account.h reads, and judges what is left.
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

#ifdef FAULTS_COVERAGE
extern "C" void __gcov_dump(); // an end by ExitProcess would lose the lines
#else
static void __gcov_dump() {}
#endif

namespace
{

using namespace faults;

// What else a call does: once before it, without a result, and once after it.
constexpr auto nothing = [](const char*, auto*, auto&&...) {};
constexpr auto gives = [](const char* name, auto* result, auto&&...) { // its result
    if (result != nullptr)
        Give(reinterpret_cast<const void*>(*result), name);
};
template <std::size_t At>
constexpr auto givesAt = []<class Result>(const char* name, Result* result, auto... parameters) { // by a parameter
    if (result != nullptr && (std::is_same_v<Result, BOOL> ? *result != Result() : *result == Result()))
        Give(*std::get<At>(std::tuple(parameters...)), name);
};
constexpr auto takes = [](const char* name, auto* result, auto what, auto...) { // its first parameter
    if (result == nullptr)
        TakeBack(what, name);
};
constexpr auto takesText = [](const char* name, auto* result, wchar_t** text) { takes(name, result, *text); };
constexpr auto givesObject = [](const char* name, HRESULT* result, REFCLSID, IUnknown*, DWORD, REFIID id, void** out) {
    if (result != nullptr && SUCCEEDED(*result))
        WatchAs(id, *out, name);
};
constexpr auto givesProcess = [](const char* name, auto* result, SHELLEXECUTEINFOW* information) {
    if (result != nullptr)
        Give(information->hProcess, name);
};
constexpr auto entersApartment = [](const char* name, HRESULT* result, auto...) {
    if (result != nullptr && SUCCEEDED(*result))
        Give(&calls, name);
};
constexpr auto leavesApartment = [](const char* name, auto*) { TakeBack(&calls, name); };
constexpr auto tells = [](const char*, auto*, const char* text) { Say("told %s\n", text); };
constexpr auto asks = [](const char* name, auto*, auto...) { Say("asked %s\n", name); };
constexpr auto ends = [](const char*, auto*, UINT exitCode) {
    Say("ends with %u\n", exitCode);
    __gcov_dump();
};
void ReplaceFunction(FARPROC& function, std::string_view name);
constexpr auto givesFunction = [](const char*, FARPROC* result, HMODULE, const char* name) {
    if (result != nullptr && *result != nullptr)
        ReplaceFunction(*result, name);
};

// A setting that cannot be read is its default, as one of a section that is not there.
auto Default(auto* function, auto* section, auto... rest)
{
    return function(reinterpret_cast<decltype(section)>(L""), rest...);
}

/// Two agents with different FAULT_LOGON do not see each other, as those of two logons.
HANDLE WINAPI CreateMappingOfLogon(
    HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection, DWORD high, DWORD low, const wchar_t* name)
{
    wchar_t logon[16]{}, nameOfLogon[64]{};
    ::GetEnvironmentVariableW(L"FAULT_LOGON", logon, 16);
    std::swprintf(nameOfLogon, 64, L"%ls%ls", name, logon);
    return ::CreateFileMappingW(file, security, protection, high, low, nameOfLogon);
}

template <class Row, class Returned, class... Parameters>
Returned Run(Parameters... parameters)
{
    if constexpr (Row::isCounted)
        if (IsMet(Row::name, Row::writes))
        {
            (Result(parameters, Row::name, true), ...);
            if (action == "throw")
                throw 1;
            ::SetLastError(error);
            return static_cast<Returned>(Row::Fail(parameters...));
        }
    Row::effect(
        Row::name, static_cast<std::conditional_t<std::is_void_v<Returned>, int, Returned>*>(nullptr), parameters...);
    const auto call = [&] {
        const Timer timer(Row::name);
        return Row::original(parameters...);
    };
    if constexpr (std::is_void_v<Returned>)
        call();
    else
    {
        Returned result = call();
        const DWORD last = ::GetLastError();
        Row::effect(Row::name, &result, parameters...);
        ::SetLastError(last);
        return result;
    }
}

// clang-format off
#define HOOK(name, convention) \
    template <class Row, class Returned, class... Parameters> \
    Returned convention name(Parameters... parameters) { return Run<Row, Returned>(parameters...); } \
    template <class Row, class Returned, class... Parameters> \
    constexpr auto HookOf(Returned(convention*)(Parameters...)) -> Returned(convention*)(Parameters...) \
    { return &name<Row, Returned, Parameters...>; }
HOOK(Hook, WINAPI)
#ifdef __i386__ // elsewhere both conventions are one
HOOK(HookC, __cdecl)
#define SYMBOL "_"
#define TARGET ""
#else
#define SYMBOL ""
#define TARGET "(%rip)"
#endif
} // namespace

// One row for each function: how a failure is told, what else it does. The agent's objects know it by a pointer,
// Fault_X, or call it directly, as Direct_X.
#define ROW(function, type, first, counted, isWrite, failure, what) \
    namespace { struct Row_##function { \
        static constexpr const char* name = #function; \
        static constexpr bool isCounted = counted, writes = isWrite; \
        static constexpr auto effect = what; \
        static inline type* original = first; \
        static auto Fail([[maybe_unused]] auto... parameters) { return failure; } \
    }; }
#define POINTER(function) constinit decltype(&::function) Fault_##function = HookOf<Row_##function>(decltype(&::function)());
#define CALL(function, failure, what) ROW(function, decltype(::function), &::function, true, false, failure, what) POINTER(function)
#define WRITE(function, failure, what) ROW(function, decltype(::function), &::function, true, true, failure, what) POINTER(function)
#define PASS(function, what) ROW(function, decltype(::function), &::function, false, false, 0, what) POINTER(function)
#define INSTEAD(function, counted, other, what) ROW(function, decltype(::function), &other, counted, false, nullptr, what) POINTER(function)
#define LIBRARY(function, counted, failure, what) ROW(function, function##Function, nullptr, counted, false, failure, what)
#define DIRECT(function) asm(".text\n.globl " SYMBOL "Direct_" #function "\n" SYMBOL "Direct_" #function ": jmp *" SYMBOL "Fault_" #function TARGET);
#define RESULT HRESULT_FROM_WIN32(error)

CALL(AllocateAndInitializeSid, 0, givesAt<10>) PASS(FreeSid, takes) CALL(InitializeSecurityDescriptor, 0, nothing)
CALL(SetSecurityDescriptorDacl, 0, nothing) CALL(SetEntriesInAclW, error, givesAt<3>) WRITE(SetKernelObjectSecurity, 0, nothing)
CALL(GetFileSecurityW, 0, nothing) WRITE(SetFileSecurityW, 0, nothing)
CALL(RegOpenKeyExA, error, givesAt<4>) CALL(RegOpenKeyExW, error, givesAt<4>) WRITE(RegCreateKeyExA, error, givesAt<7>)
WRITE(RegCreateKeyExW, error, givesAt<7>) PASS(RegCloseKey, takes) CALL(RegQueryValueExA, error, nothing)
CALL(RegQueryValueExW, error, nothing) WRITE(RegSetValueExA, error, nothing) WRITE(RegSetValueExW, error, nothing)
WRITE(RegDeleteValueA, error, nothing)
WRITE(CreateFileA, INVALID_HANDLE_VALUE, gives) WRITE(CreateFileW, INVALID_HANDLE_VALUE, gives) PASS(CloseHandle, takes)
CALL(ReadFile, 0, nothing) WRITE(WriteFile, 0, nothing) CALL(SetFilePointer, INVALID_SET_FILE_POINTER, nothing)
WRITE(SetEndOfFile, 0, nothing) CALL(FlushFileBuffers, 0, nothing) WRITE(CopyFileW, 0, nothing) WRITE(MoveFileExW, 0, nothing)
WRITE(DeleteFileW, 0, nothing) WRITE(CreateDirectoryA, 0, nothing) CALL(FindFirstFileW, INVALID_HANDLE_VALUE, gives)
CALL(FindNextFileW, 0, nothing) PASS(FindClose, takes) CALL(GetFileAttributesExW, 0, nothing) WRITE(SetFileAttributesW, 0, nothing)
CALL(GetFileInformationByHandle, 0, nothing) CALL(GetFileSizeEx, 0, nothing) CALL(GetFileType, 0, nothing)
CALL(GetFinalPathNameByHandleW, 0, nothing) CALL(GetShortPathNameW, 0, nothing) CALL(GetTempPathA, 0, nothing)
CALL(GetTempPathW, 0, nothing) CALL(GetModuleFileNameA, 0, nothing) CALL(GetModuleFileNameW, 0, nothing)
CALL(GetEnvironmentVariableW, 0, nothing)
CALL(GetPrivateProfileIntA, Default(&::GetPrivateProfileIntA, parameters...), nothing)
CALL(GetPrivateProfileIntW, Default(&::GetPrivateProfileIntW, parameters...), nothing)
CALL(GetPrivateProfileStringW, Default(&::GetPrivateProfileStringW, parameters...), nothing)
WRITE(WritePrivateProfileStringW, 0, nothing)
INSTEAD(CreateFileMappingW, true, CreateMappingOfLogon, gives) CALL(MapViewOfFile, nullptr, gives) PASS(UnmapViewOfFile, takes)
CALL(LoadLibraryA, nullptr, gives) CALL(LoadLibraryW, nullptr, gives) CALL(GetProcAddress, nullptr, givesFunction)
PASS(FreeLibrary, takes) CALL(SetDllDirectoryW, 0, nothing) CALL(FormatMessageA, 0, nothing) CALL(MultiByteToWideChar, 0, nothing)
CALL(WideCharToMultiByte, 0, nothing) PASS(OutputDebugStringA, tells) PASS(GetLocalTime, asks) PASS(ExitProcess, ends)
CALL(LocalAlloc, nullptr, gives) PASS(LocalFree, takes) CALL(CoInitializeEx, RESULT, entersApartment)
PASS(CoUninitialize, leavesApartment) CALL(CoCreateInstance, RESULT, givesObject) CALL(OleRun, RESULT, nothing)
INSTEAD(SysAllocStringLen, true, AllocateString, gives) INSTEAD(SysFreeString, false, ReleaseString, takes)
WRITE(SHCreateDirectoryExW, error, nothing) CALL(SHGetFolderPathW, RESULT, nothing)
CALL(SHGetSpecialFolderLocation, RESULT, nothing) CALL(SHGetPathFromIDListA, 0, nothing) CALL(SHGetPathFromIDListW, 0, nothing)
CALL(SHGetMalloc, RESULT, nothing) CALL(ShellExecuteExW, 0, givesProcess)
CALL(GetFileVersionInfoSizeW, 0, nothing) DIRECT(GetFileVersionInfoSizeW) CALL(GetFileVersionInfoW, 0, nothing)
DIRECT(GetFileVersionInfoW) CALL(VerQueryValueW, 0, nothing) DIRECT(VerQueryValueW)
void* AllocateZeros(std::size_t count, std::size_t size) { return Allocate(count * size); }
INSTEAD(calloc, true, AllocateZeros, gives) DIRECT(calloc) INSTEAD(free, false, Release, takes) DIRECT(free)
LIBRARY(GetDeviceList_LCode, true, error, givesAt<4>) LIBRARY(GetDeviceInformation, true, error, givesAt<1>)
LIBRARY(ShowPropertiesUI, true, error, givesAt<1>) LIBRARY(MergeDevicelistXML, true, 0, nothing)
LIBRARY(QueryDeviceAddress, true, error, nothing) LIBRARY(FreeDeviceList, false, 0, takesText)
struct EndOfTable; // what stands above is one declaration to clang-format
// clang-format on

namespace
{

void ReplaceFunction(FARPROC& function, std::string_view name)
{
    const auto replace = [&]<class Row>(Row) {
        using Plain = void (*)(); // functions of different types are not converted into each other directly
        if (name != Row::name)
            return;
        Row::original = reinterpret_cast<decltype(Row::original)>(reinterpret_cast<Plain>(function));
        function = reinterpret_cast<FARPROC>(reinterpret_cast<Plain>(HookOf<Row>(Row::original)));
    };
    replace(Row_GetDeviceList_LCode()), replace(Row_GetDeviceInformation()), replace(Row_ShowPropertiesUI());
    replace(Row_MergeDevicelistXML()), replace(Row_QueryDeviceAddress()), replace(Row_FreeDeviceList());
}

LONG WINAPI OnCrash(EXCEPTION_POINTERS* what)
{
    Say("crash: %lx at %p\n", what->ExceptionRecord->ExceptionCode, what->ExceptionRecord->ExceptionAddress);
    return ::TerminateProcess(::GetCurrentProcess(), 77);
}

const struct Start
{
    Start() // nothing is allocated here: operator new is below
    {
        const auto text = [](const char* name) { return std::getenv(name) == nullptr ? "" : std::getenv(name); };
        faultAt = static_cast<unsigned>(std::atoi(text("FAULT_AT")));
        action = text("FAULT_ACTION");
        error = static_cast<DWORD>(std::atoi(text("FAULT_ERROR")));
        const HANDLE file =
            ::CreateFileA(text("FAULT_REPORT"), GENERIC_READ | GENERIC_WRITE, 7, nullptr, OPEN_EXISTING, 0, nullptr);
        const HANDLE mapping = ::CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
        report = static_cast<char*>(::MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
        reportSize = ::GetFileSize(file, nullptr);
        isGuarded = std::string_view(text("FAULT_GUARD")) != "0";
        // A crash must not start the debugger, and an assertion's end must not look like the agent's own exit
        // code 3.
        ::SetUnhandledExceptionFilter(&OnCrash);
        std::signal(SIGABRT, [](int) { Say("abort\n"), ::TerminateProcess(::GetCurrentProcess(), 78); });
        std::atexit(&ReportHeld); // the first to be registered is the last to be called
    }
} start __attribute__((init_priority(101)));

} // namespace

void* operator new(std::size_t size) // the other forms of it call this one
{
    void* const memory = IsMet("operator new") ? nullptr : Allocate(size);
    Give(memory, "operator new");
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
