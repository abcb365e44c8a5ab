// The process entry: one agent at a time, and none while an uninstall is under way.
#include "AgentRun.h"
#include "InstanceObject.h"
#include "Loggers.h"
#include "ResourceLocation.h"

#include <new>

namespace scankelv
{
namespace
{

/// The message why the agent must not run; null when it may. In an object that this process has just created the word
/// means nothing.
const char* Refusal(const InstanceObject& object)
{
    if (object.mapping == nullptr)
        return VENDOR_PROGRAM " cannot run due to problem detecting other program instances!";
    const bool created = object.creationError == ERROR_SUCCESS;
    if (object.word == nullptr || (!created && object.creationError != ERROR_ALREADY_EXISTS))
        return VENDOR_SHORT_NAME " cannot run due to problem detecting other program instances!";
    const DWORD word = *object.word; // read once, as another process may change it
    if (created || word == AgentMayRun)
        return nullptr;
    return word == UninstallUnderWay ? VENDOR_PROGRAM " cannot run due to uninstall!"
                                     : VENDOR_PROGRAM " cannot run due to other program instances running!";
}

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
    const InstanceObject object;
    if (const char* const refusal = Refusal(object); refusal != nullptr)
    {
        ClientLogger().WriteLine("%s", refusal);
        return false;
    }
    *object.word = ::GetCurrentProcessId(); // from now on no other agent runs
    ClientLogger().WriteLine(VENDOR_SHORT_NAME " process Id: %lu", ::GetCurrentProcessId());
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
