// Runs of the real program ScanKELV.exe, as a process of its own, with the simulated search library beside it.
#pragma once

#include "CaseName.h"
#include "TestSupport.h"

namespace test
{

inline const auto buildFolder = std::filesystem::path(_pgmptr).parent_path().parent_path();

/// A machine on which no agent ran before: the programs in a new folder, nothing stored, everything logged.
struct AgentRun : testing::Test
{
    void SetUp() override
    {
        ASSERT_TRUE(
            ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr ||
            std::getenv("SCANKELV_TESTS_MAY_WRITE") != nullptr)
            << "These tests remove and write what is stored on this machine. SCANKELV_TESTS_MAY_WRITE=1 lets them.";
        for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
            ::RegDeleteTreeW(hive, L"Software\\QLScan");
        for (const wchar_t* folder : {L"C:\\ProgramData\\QLScan", L"C:\\ProgramData\\Quellon", m_userFolder.c_str()})
            std::filesystem::remove_all(folder);
        ::CreateDirectoryW(m_userFolder.c_str(), nullptr);
        WriteFileBytes(m_userFolder + L"Debug.ini", "[Modules]\nAgent=2\nKELVClient=2\nKELVFindwellLibrary=2\n");
        InstallInto(m_temporary.Path());
    }

    /// Copies the programs to a folder, from which the runs start then.
    void InstallInto(const std::wstring& folder)
    {
        std::filesystem::create_directories(m_folder = folder);
        for (const std::wstring file : {L"ScanKELV.exe", L"Hueward.exe", L"FindwellDlg.dll"})
            std::filesystem::copy_file(buildFolder / "bin" / file, File(file));
    }
    std::wstring File(const std::wstring& name) const { return m_folder + L"\\" + name; } ///< beside the program
    void UseGenericDriver()
    {
        m_settings.clear(); // no file
        m_key = L"Software\\QLScan\\Quellon Generic Scan Driver";
    }
    /// The simulated library goes by its sample file, but for these elements: the first ones of a name count.
    void Override(const std::string& elements) { m_scenario.insert(m_scenario.find("<findwell>") + 10, elements); }
    void LibraryGives(const std::string& call, const std::string& elements)
    {
        Override("<calls><" + call + ">" + elements + "</" + call + "></calls>");
    }

    /// Starts an agent. It ends with the test at the latest, as does everything that it started.
    HANDLE Start(const std::wstring& arguments)
    {
        if (!m_settings.empty())
            WriteFileBytes(File(L"ScanKELV.ini"), "[Settings]\n" + m_settings);
        WriteFileBytes(File(L"FindwellDlg.xml"), m_scenario);
        STARTUPINFOW startup{};
        PROCESS_INFORMATION agent{};
        std::wstring command = L"\"" + File(L"ScanKELV.exe") + L"\" " + arguments;
        EXPECT_TRUE(::CreateProcessW(
            nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, m_currentFolder, &startup,
            &agent))
            << "error " << ::GetLastError();
        EXPECT_TRUE(::AssignProcessToJobObject(m_job, agent.hProcess));
        ::ResumeThread(agent.hThread);
        ::CloseHandle(agent.hThread);
        return agent.hProcess;
    }
    static int Finish(HANDLE agent) ///< @return exit code; 259 after a minute
    {
        DWORD exitCode = 0;
        ::WaitForSingleObject(agent, 60000);
        ::GetExitCodeProcess(agent, &exitCode);
        ::CloseHandle(agent);
        return static_cast<int>(exitCode);
    }
    int Run(const std::wstring& arguments = L"")
    {
        const int exitCode = Finish(Start(arguments));
        EXPECT_THAT(LibraryLog(), testing::Not(testing::HasSubstr("error: "))); // each text was released once
        return exitCode;
    }
    void TearDown() override
    {
        ::TerminateJobObject(m_job, 99);
        ::CloseHandle(m_job);
    }

    std::string LibraryLog() const { return TextFile(File(L"FindwellDlg.log")); } ///< each call with its arguments
    std::string Calls() const                                                     // a line for each
    {
        std::string calls;
        std::istringstream log(LibraryLog());
        for (std::string line; std::getline(log, line);)
            calls += line.starts_with(' ') ? "" : line + "\n";
        return calls;
    }
    std::string Log() const { return TextFile(m_userFolder + L"Log.txt"); }
    std::string Stored(const std::wstring& name) const { return test::Stored(HKEY_CURRENT_USER, m_key, name); }
    std::string StoredValues() const // all but the time, which is the last one
    {
        const std::string values = test::StoredValues(HKEY_CURRENT_USER, m_key);
        return values.substr(0, values.find("savedAt="));
    }
    std::string ConfigIni() const // as UTF-8, with its mark
    {
        const std::string bytes = ReadFileBytes(configIni);
        return ToUtf8({reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)});
    }

    static constexpr const wchar_t* deviceXml = L"C:\\ProgramData\\Quellon\\ScanKELV\\device.xml";
    static constexpr const wchar_t* configIni = L"C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver\\Config.ini";
    std::string m_settings = "ProductName=Run Driver\nModelName=Quellon Weir C40 Series\n";
    std::wstring m_key = L"Software\\QLScan\\Run Driver"; ///< where its device is stored
    const std::wstring m_userFolder = _wgetenv(L"LOCALAPPDATA") + std::wstring(L"\\ScanKELV\\"); ///< of Log.txt
    const TemporaryFolder m_temporary;
    const wchar_t* m_currentFolder = nullptr; ///< of the runs; null: the test program's own

    static std::string TextFile(const std::wstring& path)
    {
        std::ifstream file{std::filesystem::path(path)};
        return {std::istreambuf_iterator<char>(file), {}};
    }
    const HANDLE m_job = ::CreateJobObjectW(nullptr, nullptr);
    std::wstring m_folder;
    std::string m_scenario = ReadFileBytes(buildFolder / "bin/FindwellDlg.xml");
};

} // namespace test
