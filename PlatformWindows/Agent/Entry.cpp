// The process entry: one agent at a time, and none while an uninstall is under way.
#include "AgentRun.h"
#include "Loggers.h"
#include "Owners.h"
#include "ResourceLocation.h"
#include "VendorNames.h"

#include <new>

namespace scankelv
{
namespace
{

/// The named object that every agent of one logon shares. It holds the instance word: 0 while an uninstall is under
/// way, 1 when an agent may run, above 1 the process id of the agent that runs. The object disappears with its last
/// handle.
class SingleInstance
{
public:
    SingleInstance()
        : m_mapping(::CreateFileMappingW(
              INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD), L"" VENDOR_INSTANCE_GUARD)),
          m_creationError(::GetLastError())
    {
        if (m_mapping != nullptr)
            m_word.reset(
                static_cast<DWORD*>(::MapViewOfFile(m_mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(DWORD))));
    }

    /// The message why the agent must not run; null when it may. The word of an object that this process created is
    /// not read.
    const char* Refusal() const
    {
        constexpr DWORD uninstallUnderWay = 0;
        constexpr DWORD agentMayRun = 1;
        if (m_mapping == nullptr)
            return VENDOR_PROGRAM " cannot run due to problem detecting other program instances!";
        const bool created = m_creationError == ERROR_SUCCESS;
        if (m_word == nullptr || (!created && m_creationError != ERROR_ALREADY_EXISTS))
            return VENDOR_SHORT_NAME " cannot run due to problem detecting other program instances!";
        const DWORD word = *m_word; // read once, as another process may change it
        if (created || word == agentMayRun)
            return nullptr;
        return word == uninstallUnderWay ? VENDOR_PROGRAM " cannot run due to uninstall!"
                                         : VENDOR_PROGRAM " cannot run due to other program instances running!";
    }

    /// Records this process as the running agent; call it only when Refusal() is null. @return the process id
    DWORD Occupy() { return *m_word = ::GetCurrentProcessId(); }

private:
    OwnedHandle m_mapping;
    DWORD m_creationError;
    OwnedView<DWORD> m_word;
};

/// The version of the program's own file without its last number; empty when it cannot be read.
std::wstring ProgramVersion()
{
    const ResourceLocationWide file = ModuleFileLocation<wchar_t>();
    const DWORD size = ::GetFileVersionInfoSizeW(file.Text(), nullptr);
    MemoryArray<MemoryPoolMalloc, unsigned char> information;
    void* block = nullptr;
    UINT length = 0;
    if (size == 0 || !information.Create(size) ||
        ::GetFileVersionInfoW(file.Text(), 0, size, information.Elements()) == 0 ||
        ::VerQueryValueW(information.Elements(), L"\\", &block, &length) == 0 || length == 0)
        return {};
    const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(block);
    return Format<wchar_t>(
        "%d.%02d.%02d", HIWORD(version.dwFileVersionMS), LOWORD(version.dwFileVersionMS),
        HIWORD(version.dwFileVersionLS));
}

void LogVersion()
{
    if (const std::wstring version = ProgramVersion(); !version.empty())
        ClientLogger().WriteLine(VENDOR_PROGRAM " version %S", version.c_str());
    else
        ClientLogger().WriteLine(VENDOR_PROGRAM " version UNKNOWN!");
}

bool RunAsSingleInstance()
{
    SingleInstance instance;
    if (const char* const refusal = instance.Refusal(); refusal != nullptr)
    {
        ClientLogger().WriteLine("%s", refusal);
        return false;
    }
    ClientLogger().WriteLine(VENDOR_SHORT_NAME " process Id: %lu", instance.Occupy());
    const bool done = RunAgent();
    ClientLogger().WriteLine(VENDOR_SHORT_NAME " port configuration %s.", done ? "done" : "not done");
    return done;
}

} // namespace
} // namespace scankelv

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
try
{
    using namespace scankelv;
    RecordModuleHandle(::GetModuleHandleW(nullptr));
    ClientLogger().WriteLine("\n---\n");
    LogVersion();
    const bool done = RunAsSingleInstance();
    ClientLogger().WriteLine("\n");
    return done ? 0 : 1;
}
catch (const std::bad_alloc&)
{
    // Written without a logger, as its creation may have run out of memory.
    ::OutputDebugStringA(VENDOR_PROGRAM " cannot run, memory ran out!\r\n");
    return 1;
}
