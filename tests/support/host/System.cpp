#include "System.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace test
{
namespace
{

namespace fs = std::filesystem;

const char* const consoleVariable = "HOSTWINDOWS_DEBUG_CONSOLE";
const char* const machineVariable = "HOSTWINDOWS_ROOT";
std::string consoleFile;

std::string NewFolder()
{
    std::string pattern = (fs::temp_directory_path() / "scankelv-XXXXXX").string();
    EXPECT_NE(nullptr, ::mkdtemp(pattern.data()));
    return pattern;
}

std::string FileText(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

int OnOwnMachine(const std::function<int()>& tests)
{
    const std::string machine = NewFolder();
    consoleFile = machine + "/console";
    ::setenv(machineVariable, machine.c_str(), 1);
    const int result = tests();
    std::error_code ignored;
    fs::remove_all(machine, ignored);
    return result;
}

Wide MakeTemporaryFolder()
{
    std::string path = "Z:" + NewFolder();
    for (char& c : path)
        c = c == '/' ? '\\' : c;
    return ToWide(path);
}

void RemoveTemporaryFolder(const Wide& path)
{
    std::string linuxPath = ToUtf8(path).substr(2);
    for (char& c : linuxPath)
        c = c == '\\' ? '/' : c;
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(linuxPath, ignored))
        if (!entry.is_symlink())
            fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(linuxPath, ignored);
}

void StartDebugConsoleCapture()
{
    fs::remove(consoleFile);
    ::setenv(consoleVariable, consoleFile.c_str(), 1);
}

std::string DebugConsoleText()
{
    return FileText(consoleFile);
}

void StopDebugConsoleCapture()
{
    ::unsetenv(consoleVariable);
}

ProgramResult RunProgram(const Wide& program, const Wide& commandLine, const Wide& currentFolder)
{
    ProgramResult result;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    Wide line = commandLine;
    StartDebugConsoleCapture();
    result.started = ::CreateProcessW(
                         program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                         currentFolder.empty() ? nullptr : currentFolder.c_str(), &startup, &process) != 0;
    if (result.started)
    {
        constexpr DWORD patience = 60000;
        if (::WaitForSingleObject(process.hProcess, patience) != WAIT_OBJECT_0)
        {
            ADD_FAILURE() << ToUtf8(program) << " did not end in time";
            ::TerminateProcess(process.hProcess, 99);
        }
        ::GetExitCodeProcess(process.hProcess, &result.exitCode);
        result.debugConsole = DebugConsoleText();
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    StopDebugConsoleCapture();
    return result;
}

} // namespace test
