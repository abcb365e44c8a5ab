// The guard: runs a command, such as an installer, while no agent runs.
#include "AsciiCase.h"
#include "CodePage.h"
#include "InstanceObject.h"

#include <optional>
#include <string>
#include <string_view>

namespace scankelv
{
namespace
{

// Exit codes of the guard's own; every other one is the command's.
constexpr int agentRuns = 1;
constexpr int noCommand = 2;

void Report(const std::wstring& text)
{
    const HANDLE output = ::GetStdHandle(STD_ERROR_HANDLE);
    const std::wstring line = L"" VENDOR_PROGRAM L"Guard: " + text + L"\r\n";
    DWORD written = 0;
    if (::WriteConsoleW(output, line.c_str(), static_cast<DWORD>(line.size()), &written, nullptr) != 0)
        return;
    std::string bytes(3 * line.size(), '\0'); // for a file or a pipe; in UTF-8 a wide character has at most three
    const int length = ::WideCharToMultiByte(
        CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), bytes.data(), static_cast<int>(bytes.size()), nullptr,
        nullptr);
    ::WriteFile(output, bytes.data(), static_cast<DWORD>(length), &written, nullptr);
}

struct Request
{
    DWORD seconds = 60;
    std::wstring command;
};

/// @param line  [/wait SECONDS] COMMAND ...; the command is taken as it stands. @return nothing for bad usage
std::optional<Request> ReadRequest(std::wstring_view line)
{
    constexpr std::wstring_view blanks = L" \t", option = L"/wait";
    const auto skipBlanks = [&] { line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size())); };
    Request request;
    skipBlanks();
    if (EqualsIgnoringAsciiCase(line.substr(0, option.size()), option))
    {
        line.remove_prefix(option.size());
        skipBlanks();
        const std::wstring number(line.substr(0, line.find_first_of(blanks)));
        if (number.empty() || number.size() > 5 || number.find_first_not_of(L"0123456789") != number.npos)
            return {};
        request.seconds = std::wcstoul(number.c_str(), nullptr, 10);
        line.remove_prefix(number.size());
        skipBlanks();
    }
    if (line.empty() || line.front() == L'/')
        return {};
    request.command = line;
    return request;
}

/// Whether the process runs. One that this user may not open counts as running.
bool Runs(DWORD id)
{
    const OwnedHandle process = Own(::OpenProcess(SYNCHRONIZE, FALSE, id));
    return process != nullptr ? ::WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT
                              : ::GetLastError() == ERROR_ACCESS_DENIED;
}

std::wstring FileOf(DWORD id)
{
    wchar_t path[0x8000];
    DWORD length = static_cast<DWORD>(std::size(path));
    const OwnedHandle process = Own(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    const bool known = process != nullptr && ::QueryFullProcessImageNameW(process.get(), 0, path, &length) != 0;
    return known ? std::wstring(path, length) : L"unknown program";
}

/// Sets the word to UninstallUnderWay once no agent runs and no other guard holds the object.
/// @return why that was not possible; empty when it was
std::wstring Hold(const InstanceObject& object, DWORD seconds)
{
    if (object.word == nullptr)
        return L"the object that agents and guards share cannot be opened";
    if (object.creationError == ERROR_SUCCESS)
        return {};
    auto& word = reinterpret_cast<volatile LONG&>(*object.word);
    for (const ULONGLONG end = ::GetTickCount64() + seconds * 1000ULL;; ::Sleep(100))
    {
        const LONG before = word;
        const DWORD id = static_cast<DWORD>(before);
        const bool free = id == AgentMayRun || (id != UninstallUnderWay && !Runs(id));
        if (free && ::InterlockedCompareExchange(&word, UninstallUnderWay, before) == before)
            return {};
        if (::GetTickCount64() < end)
            continue;
        return id == UninstallUnderWay ? L"another installation or removal is under way"
                                       : Format<wchar_t>("process %lu still runs: %ws", id, FileOf(id).c_str());
    }
}

/// Ctrl+C is left to the command: the guard must set the word when that has ended.
BOOL WINAPI IgnoreControl(DWORD)
{
    return TRUE;
}

/// @return the command's exit code; nothing, and the system's last error, if it cannot be started
std::optional<DWORD> Run(std::wstring& command)
{
    ::SetConsoleCtrlHandler(&IgnoreControl, TRUE);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process;
    if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process) == 0)
        return {};
    const OwnedHandle owned(process.hProcess), thread(process.hThread);
    DWORD exitCode = 0;
    ::WaitForSingleObject(process.hProcess, INFINITE);
    ::GetExitCodeProcess(process.hProcess, &exitCode);
    return exitCode;
}

} // namespace
} // namespace scankelv

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR arguments, int)
{
    using namespace scankelv;
    std::optional<Request> request = ReadRequest(arguments);
    if (!request)
    {
        Report(
            L"usage: " VENDOR_PROGRAM L"Guard.exe [/wait SECONDS] COMMAND [ARGUMENT ...]\r\n"
            L"Waits until no agent of this logon runs (SECONDS: 0 to 99999, default 60), then runs the command and\r\n"
            L"refuses agents until it ends. The exit code is the command's; 1: an agent still runs, 2: no command.");
        return noCommand;
    }
    const InstanceObject object;
    if (const std::wstring reason = Hold(object, request->seconds); !reason.empty())
    {
        Report(reason);
        return agentRuns;
    }
    const std::optional<DWORD> exitCode = Run(request->command);
    const DWORD error = ::GetLastError();
    *object.word = AgentMayRun;
    if (!exitCode)
        Report(Format<wchar_t>("cannot start %ws (error %lu)", request->command.c_str(), error));
    return exitCode ? static_cast<int>(*exitCode) : noCommand;
}
