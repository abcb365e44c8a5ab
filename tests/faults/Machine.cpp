// The Windows side of run.py: stores values, starts programs and tells what is stored, as the lines of standard input
// say. The answer to each line ends with a line of one dot.
#include "TestSupport.h"

#include <iostream>

namespace
{

using namespace test;

std::vector<HANDLE> processes;

HKEY Hive(const std::string& name)
{
    return name == "HKCU" ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

std::vector<std::string> Words(const std::string& line) // between tabs
{
    std::vector<std::string> words;
    std::istringstream rest(line);
    for (std::string word; std::getline(rest, word, '\t');)
        words.push_back(word);
    words.resize(5);
    return words;
}

void Start(const std::string& commandLine)
{
    STARTUPINFOW startup{};
    PROCESS_INFORMATION process{};
    std::wstring command = ToWide(commandLine);
    if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) ==
        0)
        std::cout << "error " << ::GetLastError() << "\n";
    ::CloseHandle(process.hThread);
    processes.push_back(process.hProcess);
}

/// Waits for the programs that were started last; those that still run at the end of the time are killed.
void Finish(int milliseconds, int exceptFirst)
{
    const ULONGLONG end = ::GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    for (; processes.size() > static_cast<std::size_t>(exceptFirst); processes.pop_back())
    {
        const HANDLE process = processes.back();
        const ULONGLONG now = ::GetTickCount64();
        const bool isKilled =
            ::WaitForSingleObject(process, now < end ? static_cast<DWORD>(end - now) : 0) != WAIT_OBJECT_0 &&
            ::TerminateProcess(process, 9) != 0;
        ::WaitForSingleObject(process, INFINITE);
        DWORD exitCode = 0;
        ::GetExitCodeProcess(process, &exitCode);
        std::cout << (isKilled ? "killed" : std::to_string(exitCode)) << "\n";
        ::CloseHandle(process);
    }
}

void ShowValues(HKEY hive, const std::string& hiveName, const std::wstring& path)
{
    std::istringstream values(StoredValues(hive, path));
    std::cout << hiveName << "\\" << ToUtf8(path) << "\n";
    for (std::string line; std::getline(values, line);)
        std::cout << hiveName << "\\" << ToUtf8(path) << "\\" << line << "\n";
    HKEY key = nullptr;
    ::RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &key);
    wchar_t name[256];
    for (DWORD i = 0; ::RegEnumKeyW(key, i, name, 256) == ERROR_SUCCESS; ++i)
        ShowValues(hive, hiveName, path + L"\\" + name);
    ::RegCloseKey(key);
}

} // namespace

int main()
{
    HANDLE heldFile = INVALID_HANDLE_VALUE;
    for (std::string line; std::getline(std::cin, line); std::cout << "." << std::endl)
    {
        const auto words = Words(line);
        const std::string& command = words[0];
        if (command == "clear") // HIVE
            ::RegDeleteTreeW(Hive(words[1]), L"Software\\QLScan");
        else if (command == "text") // HIVE KEY NAME TEXT
            Store(Hive(words[1]), ToWide(words[2]), ToWide(words[3]), ToWide(words[4]));
        else if (command == "number") // HIVE KEY NAME NUMBER
            Store(Hive(words[1]), ToWide(words[2]), ToWide(words[3]), static_cast<DWORD>(std::stoul(words[4])));
        else if (command == "values")
            for (const char* const hive : {"HKCU", "HKLM"})
                ShowValues(Hive(hive), hive, L"Software\\QLScan");
        else if (command == "set") // NAME TEXT, of the environment
            ::SetEnvironmentVariableW(ToWide(words[1]).c_str(), ToWide(words[2]).c_str());
        else if (command == "start") // COMMAND
            Start(words[1]);
        else if (command == "finish") // MILLISECONDS NUMBER: of the first ones, which go on
            Finish(std::stoi(words[1]), std::stoi(words[2]));
        else if (command == "hold") // PATH: nobody else can open it, until another one is held
        {
            ::CloseHandle(heldFile);
            heldFile = ::CreateFileW(ToWide(words[1]).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        }
        else
            std::cout << "unknown: " << line << "\n";
    }
}
