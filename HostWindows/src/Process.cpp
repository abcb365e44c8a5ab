#include "Process.h"

#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <cerrno>
#include <csignal>
#include <mutex>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace hostwindows
{
namespace
{

constexpr int signalBase = 128; // exit code of a program that a signal ended, as shells number it

class ProcessHandle : public HandleObject
{
public:
    explicit ProcessHandle(::pid_t id) : m_id(id), m_descriptor(static_cast<int>(::syscall(SYS_pidfd_open, id, 0))) {}
    ~ProcessHandle() override { ExitCode(); }

    DWORD Wait(DWORD milliseconds) const
    {
        ::pollfd ended{m_descriptor.Number(), POLLIN, 0};
        int result = 0;
        do
            result = ::poll(&ended, 1, static_cast<int>(milliseconds));
        while (result < 0 && errno == EINTR);
        return result > 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    /// None while it runs.
    std::optional<DWORD> ExitCode()
    {
        const std::lock_guard lock(m_mutex);
        int status = 0;
        if (!m_exitCode && ::waitpid(m_id, &status, WNOHANG) != 0)
            m_exitCode = static_cast<DWORD>(WIFSIGNALED(status) ? signalBase + WTERMSIG(status) : WEXITSTATUS(status));
        return m_exitCode;
    }
    /// While it is not collected, the number is its own.
    bool Terminate() { return !ExitCode() && ::kill(m_id, SIGKILL) == 0; }

private:
    ::pid_t m_id;
    Descriptor m_descriptor;
    std::mutex m_mutex;
    std::optional<DWORD> m_exitCode;
};

/// Splits a command line at its blanks outside of quotes.
std::vector<std::string> ArgumentsOf(const std::string& line)
{
    std::vector<std::string> arguments;
    bool within = false;
    bool quoted = false;
    for (const char c : line)
    {
        const bool blank = !quoted && (c == ' ' || c == '\t');
        if (!blank && !within)
            arguments.emplace_back();
        within = !blank;
        quoted = quoted != (c == '"');
        if (within && c != '"')
            arguments.back() += c;
    }
    return arguments;
}

} // namespace

DWORD StartProcess(
    const std::string& program, std::u16string_view commandLine, const std::string& folder,
    PROCESS_INFORMATION& started)
{
    const std::string line = Utf8FromUtf16(commandLine);
    std::vector<std::string> arguments = ArgumentsOf(line);
    std::vector<char*> argumentPointers;
    for (std::string& argument : arguments)
        argumentPointers.push_back(argument.data());
    argumentPointers.push_back(nullptr);

    std::string variable = std::string(commandLineVariable) + "=" + line;
    std::vector<char*> environment{variable.data()};
    for (char** entry = environ; *entry != nullptr; ++entry)
        environment.push_back(*entry);
    environment.push_back(nullptr);

    ::posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    const std::unique_ptr<::posix_spawn_file_actions_t, int (*)(::posix_spawn_file_actions_t*)> owner(
        &actions, &::posix_spawn_file_actions_destroy);
    // Each of these fails for want of memory alone; without it the program would run elsewhere, or keep files open.
    int error = folder.empty() ? 0 : ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    if (error == 0)
        error = ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    ::pid_t id = 0;
    if (error == 0)
        error = ::posix_spawn(&id, program.c_str(), &actions, nullptr, argumentPointers.data(), environment.data());
    if (error != 0) // a file that is there, but is no program or not meant to be one
        return error == ENOEXEC || error == EACCES ? ERROR_BAD_EXE_FORMAT : ErrorFromErrno(error);
    started.hProcess = MakeHandle(std::make_unique<ProcessHandle>(id));
    started.dwProcessId = started.dwThreadId = static_cast<DWORD>(id);
    return NO_ERROR;
}

} // namespace hostwindows

using namespace hostwindows;

BOOL CreateProcessW(
    LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID,
    LPCWSTR currentFolder, LPSTARTUPINFOW, LPPROCESS_INFORMATION information)
{
    const FoundPath found = FindExisting(program);
    if (found.error != NO_ERROR)
        return Refused(found.error);
    const FoundPath folder = FindPath(ViewOf(currentFolder));
    if (const DWORD error = StartProcess(found.path, commandLine, folder.path, *information); error != NO_ERROR)
        return Refused(error);
    information->hThread = MakeHandle(std::make_unique<HandleObject>()); // there to be closed
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE process, DWORD milliseconds)
{
    auto* object = ObjectOf<ProcessHandle>(process);
    return object == nullptr ? WAIT_FAILED : object->Wait(milliseconds);
}

BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode)
{
    auto* object = ObjectOf<ProcessHandle>(process);
    if (object != nullptr)
        *exitCode = object->ExitCode().value_or(STILL_ACTIVE);
    return object != nullptr ? TRUE : FALSE;
}

BOOL TerminateProcess(HANDLE process, UINT)
{
    auto* object = ObjectOf<ProcessHandle>(process);
    if (object == nullptr || object->Terminate())
        return object != nullptr ? TRUE : FALSE;
    return Refused(ERROR_ACCESS_DENIED); // it has ended
}

void ExitProcess(UINT exitCode)
{
    ::_exit(static_cast<int>(exitCode));
}

DWORD GetCurrentProcessId()
{
    return static_cast<DWORD>(::getpid());
}

DWORD GetCurrentThreadId()
{
    return static_cast<DWORD>(::gettid());
}
