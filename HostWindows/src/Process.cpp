#include "Process.h"

#include "Descriptor.h"
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <elf.h>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace hostwindows
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr DWORD signalBase = 128; // exit code of a program that a signal ended, as shells number it

/// Programs whose handle was closed while they ran. Each is collected at a later start or close.
class Unwatched
{
public:
    /// Takes no memory: a handle is closed without it.
    void Add(std::list<::pid_t>& id)
    {
        const std::lock_guard lock(m_mutex);
        m_ids.splice(m_ids.end(), id);
    }
    void CollectEnded()
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(m_ids, [](::pid_t id) { return ::waitpid(id, nullptr, WNOHANG) != 0; });
    }

private:
    std::mutex m_mutex;
    std::list<::pid_t> m_ids;
};
Unwatched& UnwatchedProcesses()
{
    static auto* const processes = new Unwatched;
    return *processes;
}

class ProcessHandle : public HandleObject
{
public:
    explicit ProcessHandle(::pid_t id) : m_id(id), m_descriptor(static_cast<int>(::syscall(SYS_pidfd_open, id, 0))) {}
    ~ProcessHandle() override
    {
        if (!HasEnded())
            UnwatchedProcesses().Add(m_kept);
        UnwatchedProcesses().CollectEnded();
    }

    DWORD Wait(DWORD milliseconds)
    {
        const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
        for (;;)
        {
            int patience = -1;
            if (milliseconds != INFINITE)
            {
                const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
                patience = static_cast<int>(std::clamp<decltype(left)>(left, 0, INT32_MAX));
            }
            ::pollfd ended{m_descriptor.Number(), POLLIN, 0};
            if (::poll(&ended, 1, patience) > 0)
                break;
            if (patience == 0)
                return WAIT_TIMEOUT;
        }
        HasEnded();
        return WAIT_OBJECT_0;
    }
    DWORD ExitCode() { return HasEnded() ? *m_exitCode : STILL_ACTIVE; }
    bool Terminate(DWORD exitCode)
    {
        if (HasEnded())
            return false;
        const std::lock_guard lock(m_mutex);
        m_terminationCode = exitCode;
        return ::kill(m_id, SIGKILL) == 0; // not collected yet, so the number is still its own
    }

private:
    bool HasEnded()
    {
        const std::lock_guard lock(m_mutex);
        if (m_exitCode)
            return true;
        int status = 0;
        const ::pid_t ended = ::waitpid(m_id, &status, WNOHANG);
        if (ended == 0)
            return false;
        if (WIFSIGNALED(status))
            m_exitCode = m_terminationCode.value_or(signalBase + static_cast<DWORD>(WTERMSIG(status)));
        else
            m_exitCode = static_cast<DWORD>(WEXITSTATUS(status));
        return true;
    }

    ::pid_t m_id;
    std::list<::pid_t> m_kept{m_id}; ///< for the time behind this handle
    Descriptor m_descriptor;
    std::mutex m_mutex;
    std::optional<DWORD> m_exitCode;
    std::optional<DWORD> m_terminationCode;
};

/// The handle of a program's first thread: there to be closed.
class ThreadHandle : public HandleObject
{
};

bool IsArgumentBlank(char c)
{
    return c == ' ' || c == '\t';
}

/// Splits a command line by the rules of the Windows C runtime. In the first word a quote only groups; further on,
/// backslashes before a quote escape each other and the quote, and a doubled quote within quotes is one.
std::vector<std::string> ArgumentsOf(const std::string& line)
{
    std::vector<std::string> arguments(1);
    std::size_t at = 0;
    bool quoted = false;
    for (; at < line.size() && (quoted || !IsArgumentBlank(line[at])); ++at)
        if (line[at] == '"')
            quoted = !quoted;
        else
            arguments.back() += line[at];
    for (;;)
    {
        while (at < line.size() && IsArgumentBlank(line[at]))
            ++at;
        if (at == line.size())
            return arguments;
        std::string& argument = arguments.emplace_back();
        for (quoted = false; at < line.size() && (quoted || !IsArgumentBlank(line[at])); ++at)
        {
            std::size_t backslashes = 0;
            for (; at < line.size() && line[at] == '\\'; ++at)
                ++backslashes;
            const bool quote = at < line.size() && line[at] == '"';
            argument.append(quote ? backslashes / 2 : backslashes, '\\');
            if (quote && backslashes % 2 != 0)
                argument += '"';
            else if (quote && quoted && at + 1 < line.size() && line[at + 1] == '"')
                argument += line[at++];
            else if (quote)
                quoted = !quoted;
            else if (at < line.size() && (quoted || !IsArgumentBlank(line[at])))
                argument += line[at];
            else
                break;
        }
    }
}

/// Whether a file that exists, but was refused, is no program at all.
bool IsNoProgram(const std::string& path)
{
    Descriptor file;
    file.Open(path, O_RDONLY);
    char head[SELFMAG] = {};
    return file.IsOpen() && ::read(file.Number(), head, sizeof(head)) >= 0 && std::memcmp(head, ELFMAG, SELFMAG) != 0;
}

struct SpawnActions
{
    ::posix_spawn_file_actions_t actions{};
    SpawnActions() { Demand(::posix_spawn_file_actions_init(&actions)); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions); }

    /// Each of these fails for want of memory alone; without it the program would run elsewhere, or keep files open.
    static void Demand(int error)
    {
        if (error != 0)
            throw std::bad_alloc();
    }
};

} // namespace

DWORD StartProcess(
    const std::string& program, std::u16string_view commandLine, const std::string& folder, StartedProcess& started)
{
    UnwatchedProcesses().CollectEnded();

    const std::string line = Utf8FromUtf16(commandLine);
    std::vector<std::string> arguments = ArgumentsOf(line);
    std::vector<char*> argumentPointers;
    for (std::string& argument : arguments)
        argumentPointers.push_back(argument.data());
    argumentPointers.push_back(nullptr);

    const std::string assigned = std::string(commandLineVariable) + "=";
    std::string variable = assigned + line;
    std::vector<char*> environment{variable.data()};
    for (char** entry = environ; *entry != nullptr; ++entry)
        if (!std::string_view(*entry).starts_with(assigned))
            environment.push_back(*entry);
    environment.push_back(nullptr);

    SpawnActions spawn;
    if (!folder.empty())
        SpawnActions::Demand(::posix_spawn_file_actions_addchdir_np(&spawn.actions, folder.c_str()));
    SpawnActions::Demand(::posix_spawn_file_actions_addclosefrom_np(&spawn.actions, STDERR_FILENO + 1));

    ::pid_t id = 0;
    const int error =
        ::posix_spawn(&id, program.c_str(), &spawn.actions, nullptr, argumentPointers.data(), environment.data());
    if (error == ENOEXEC || (error == EACCES && IsNoProgram(program)))
        return ERROR_BAD_EXE_FORMAT;
    if (error != 0)
        return ErrorFromErrno(error);
    started.handle = MakeHandle(std::make_unique<ProcessHandle>(id));
    started.id = static_cast<DWORD>(id);
    return NO_ERROR;
}

} // namespace hostwindows

using namespace hostwindows;

BOOL CreateProcessW(
    LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID,
    LPCWSTR currentFolder, LPSTARTUPINFOW, LPPROCESS_INFORMATION information)
{
    const auto refused = [](DWORD error) {
        ::SetLastError(error);
        return FALSE;
    };
    if (program == nullptr || commandLine == nullptr)
        return refused(ERROR_INVALID_PARAMETER);
    const FoundPath found = FindPath(program);
    if (found.error != NO_ERROR || !found.exists || found.isFolder)
        return refused(
            found.error != NO_ERROR ? found.error
            : found.exists          ? ERROR_ACCESS_DENIED
                                    : ERROR_FILE_NOT_FOUND);
    FoundPath folder;
    if (currentFolder != nullptr)
    {
        folder = FindPath(currentFolder);
        if (folder.error != NO_ERROR || !folder.isFolder)
            return refused(ERROR_DIRECTORY);
    }
    StartedProcess started;
    if (const DWORD error = StartProcess(found.path, commandLine, folder.path, started); error != NO_ERROR)
        return refused(error);
    *information = {started.handle, MakeHandle(std::make_unique<ThreadHandle>()), started.id, started.id};
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
    if (object == nullptr)
        return FALSE;
    *exitCode = object->ExitCode();
    return TRUE;
}

BOOL TerminateProcess(HANDLE process, UINT exitCode)
{
    auto* object = ObjectOf<ProcessHandle>(process);
    if (object == nullptr)
        return FALSE;
    if (object->Terminate(exitCode))
        return TRUE;
    ::SetLastError(ERROR_ACCESS_DENIED); // it has ended
    return FALSE;
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
