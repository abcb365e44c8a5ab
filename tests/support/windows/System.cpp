#include "System.h"

#include <atomic>
#include <filesystem>
#include <mutex>

namespace test
{
namespace
{

constexpr DWORD debugPrintException = 0x40010006; // DBG_PRINTEXCEPTION_C: length with terminator, text

std::mutex consoleMutex;
std::vector<std::string> consoleCalls;
std::atomic<int> tones = 0;
void* consoleHandler = nullptr;

LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode != debugPrintException || record.NumberParameters < 2)
        return EXCEPTION_CONTINUE_SEARCH;
    const std::lock_guard lock(consoleMutex);
    consoleCalls.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
}

BOOL WINAPI CountTone(DWORD /*hertz*/, DWORD /*milliseconds*/)
{
    ++tones;
    ::SetLastError(ERROR_INVALID_FUNCTION); // as on a machine that cannot
    return FALSE;
}

} // namespace

// In the place of the import library's own: what this program calls as Beep.
#ifdef _WIN64
extern "C" decltype(&CountTone) importedBeep asm("__imp_Beep");
#else
extern "C" decltype(&CountTone) importedBeep asm("__imp__Beep@8");
#endif
decltype(&CountTone) importedBeep = &CountTone;

int OnOwnMachine(const std::function<int()>& tests)
{
    return tests();
}

TemporaryFolder::TemporaryFolder()
{
    static std::atomic<unsigned> number = 0;
    // Another process of the same id may have left some, in use by programs that it had started.
    do
        m_path = (std::filesystem::temp_directory_path() /
                  ("scankelv-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(number++)))
                     .native();
    while (!std::filesystem::create_directory(m_path));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_path, ignored))
        std::filesystem::permissions(entry, std::filesystem::perms::all, ignored);
    std::filesystem::remove_all(m_path, ignored);
}

void CopyFileTo(const Wide& from, const Wide& to)
{
    EXPECT_NE(0, ::CopyFileW(from.c_str(), to.c_str(), FALSE)) << ToUtf8(from) << ": " << ::GetLastError();
}

void SetReadOnly(const Wide& path, bool readOnly)
{
    ::SetFileAttributesW(path.c_str(), readOnly ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL);
}

DebugConsoleCapture::DebugConsoleCapture()
{
    Clear();
    consoleHandler = ::AddVectoredExceptionHandler(1, &OnException);
}

DebugConsoleCapture::~DebugConsoleCapture()
{
    ::RemoveVectoredExceptionHandler(consoleHandler);
}

void DebugConsoleCapture::Clear()
{
    const std::lock_guard lock(consoleMutex);
    consoleCalls.clear();
    tones = 0;
}

std::vector<std::string> DebugConsoleCapture::Calls() const
{
    const std::lock_guard lock(consoleMutex);
    return consoleCalls;
}

int DebugConsoleCapture::Tones() const
{
    return tones;
}

const DWORD startFlags = DEBUG_ONLY_THIS_PROCESS;

std::string ConsoleUntilTheEnd(const PROCESS_INFORMATION& process)
{
    // As the program's debugger: its debugger-console texts arrive as events.
    std::string console;
    DEBUG_EVENT event{};
    while (event.dwDebugEventCode != EXIT_PROCESS_DEBUG_EVENT)
    {
        if (::WaitForDebugEvent(&event, patience) == 0)
        {
            Abandon(process);
            break;
        }
        DWORD answer = DBG_CONTINUE;
        if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT && event.u.DebugString.fUnicode == 0)
        {
            std::string text(event.u.DebugString.nDebugStringLength, '\0');
            ::ReadProcessMemory(
                process.hProcess, event.u.DebugString.lpDebugStringData, text.data(), text.size(), nullptr);
            console += text.c_str();
        }
        else if (
            event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
            event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT)
            answer = DBG_EXCEPTION_NOT_HANDLED;
        // The files that come with these two are the debugger's to close: open ones could not be removed.
        else if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT)
            ::CloseHandle(event.u.CreateProcessInfo.hFile);
        else if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT)
            ::CloseHandle(event.u.LoadDll.hFile);
        ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
    }
    return console;
}

} // namespace test
