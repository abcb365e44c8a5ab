// The Windows side of run.py: stores values, starts programs and tells what is stored, as the lines of standard input
// say. The answer to each line ends with a line of one dot.
#include "TestSupport.h"

#include <iostream>

namespace
{

using namespace test;

HKEY Hive(const std::string& name)
{
    return name == "HKCU" ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

HANDLE Start(std::wstring commandLine, HANDLE job)
{
    STARTUPINFOW startup{};
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(
            nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr, &startup,
            &process))
        std::cout << "error " << ::GetLastError() << "\n";
    ::AssignProcessToJobObject(job, process.hProcess);
    ::ResumeThread(process.hThread);
    ::CloseHandle(process.hThread);
    return process.hProcess;
}

/// Shows the exit code of a program, or kills it when it has none at the end of the time.
void Finish(HANDLE process, ULONGLONG end)
{
    const ULONGLONG now = ::GetTickCount64();
    const bool isLate = ::WaitForSingleObject(process, now < end ? static_cast<DWORD>(end - now) : 0) != WAIT_OBJECT_0;
    const bool isKilled = isLate && ::TerminateProcess(process, 9) != 0;
    ::WaitForSingleObject(process, INFINITE);
    DWORD exitCode = 0;
    ::GetExitCodeProcess(process, &exitCode);
    ::CloseHandle(process);
    std::cout << (isKilled ? "killed" : std::to_string(exitCode)) << "\n";
}

void ShowValues(const std::string& hive, const std::wstring& path)
{
    std::istringstream values("\n" + StoredValues(Hive(hive), path));
    for (std::string line; std::getline(values, line);)
        std::cout << hive << "\\" << ToUtf8(path) << "\\" << line << "\n";
    wchar_t name[256];
    HKEY key = nullptr;
    ::RegOpenKeyExW(Hive(hive), path.c_str(), 0, KEY_READ, &key);
    for (DWORD i = 0; ::RegEnumKeyW(key, i, name, 256) == ERROR_SUCCESS; ++i)
        ShowValues(hive, path + L"\\" + name);
    ::RegCloseKey(key);
}

} // namespace

int main()
{
    std::vector<HANDLE> processes;
    HANDLE heldFile = INVALID_HANDLE_VALUE;
    HANDLE job = ::CreateJobObjectW(nullptr, nullptr); // of the programs and of what they start
    for (std::string line; std::getline(std::cin, line); std::cout << "." << std::endl)
    {
        std::vector<std::string> words;
        std::istringstream rest(line);
        for (std::string word; std::getline(rest, word, '\t');)
            words.push_back(word);
        words.resize(5);
        const std::string& command = words[0];
        if (command == "clear") // HIVE
            ::RegDeleteTreeW(Hive(words[1]), L"Software\\QLScan");
        else if (command == "store") // HIVE KEY NAME TEXT, or #NUMBER
            Store(Hive(words[1]), ToWide(words[2]), words[3] + "=" + words[4]);
        else if (command == "values") // HIVE
            ShowValues(words[1], L"Software\\QLScan");
        else if (command == "set") // NAME TEXT, of the environment
            ::SetEnvironmentVariableW(ToWide(words[1]).c_str(), ToWide(words[2]).c_str());
        else if (command == "start") // COMMAND
            processes.push_back(Start(ToWide(words[1]), job));
        else if (command == "finish") // MILLISECONDS NUMBER: of the first programs, which go on
        {
            for (const ULONGLONG end = ::GetTickCount64() + std::stoul(words[1]);
                 processes.size() > std::stoul(words[2]); processes.pop_back())
                Finish(processes.back(), end);
            if (processes.empty()) // an updater whose agent was killed while it started it would wait for ever
            {
                ::TerminateJobObject(job, 9);
                ::CloseHandle(job);
                job = ::CreateJobObjectW(nullptr, nullptr);
            }
        }
        else if (command == "hold") // PATH: nobody else can open it, until another one is held
        {
            ::CloseHandle(heldFile);
            heldFile = ::CreateFileW(ToWide(words[1]).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        }
    }
}
