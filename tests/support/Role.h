// The test program started again by one of its tests, to play another process.
#pragma once

#include "TestSupport.h"

namespace test
{

inline Wide ProgramPath()
{
    WCHAR path[1024];
    ::GetModuleFileNameW(nullptr, path, 1024);
    return path;
}

/// Programs that are started from now on look for their role.
inline void AllowRoles()
{
    SetVariable("SCANKELV_TEST_ROLE", "1");
}

/// One started process, killed at the end.
class Child
{
public:
    /// Of this program, the command line's first word names the role; see InRole.
    explicit Child(Wide commandLine, const Wide& program = ProgramPath())
    {
        AllowRoles();
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        EXPECT_NE(
            0, ::CreateProcessW(
                   program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                   &m_process))
            << ::GetLastError();
    }
    ~Child()
    {
        Kill();
        ::CloseHandle(m_process.hThread);
        ::CloseHandle(m_process.hProcess);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    HANDLE Process() const { return m_process.hProcess; }
    DWORD Wait() const
    {
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(m_process.hProcess, patience));
        DWORD exitCode = 0;
        EXPECT_NE(0, ::GetExitCodeProcess(m_process.hProcess, &exitCode));
        return exitCode;
    }
    void Kill() const
    {
        ::TerminateProcess(m_process.hProcess, 99);
        Wait();
    }

private:
    PROCESS_INFORMATION m_process{};
};

/// For a variable with static storage in the test's file: when the process was started in this role, it plays it with
/// what follows on the command line, and ends with the exit code; no test runs.
inline bool InRole(const WCHAR* role, UINT (*play)(const Wide& rest))
{
    if (::GetEnvironmentVariableW(OLESTR("SCANKELV_TEST_ROLE"), nullptr, 0) == 0)
        return false; // the command line is not looked at before the tests have a machine of their own
    const Wide line = ::GetCommandLineW();
    // The shell puts the program's path before it.
    const Wide word = Wide(role) + OLESTR(" ");
    const std::size_t at = line.starts_with(OLESTR('"')) ? line.find(OLESTR("\" "), 1) + 2 : 0;
    if (line.compare(at, word.size(), word) == 0)
        ::ExitProcess(play(line.substr(at + word.size())));
    return false;
}

} // namespace test
