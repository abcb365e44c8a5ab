// Runs of the real program ScanKELV.exe, as a process of its own, with the simulated search library beside it.
#pragma once

#include "CaseName.h"
#include "TestSupport.h"

#include <filesystem>
#include <fstream>
#include <regex>

namespace test
{

inline const auto buildFolder = std::filesystem::path(_pgmptr).parent_path().parent_path();

/// A started agent. It ends with this object at the latest, as does everything that it started.
class Agent
{
public:
    Agent(const std::wstring& program, const std::wstring& arguments, const wchar_t* currentFolder)
    {
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        std::wstring commandLine = L"\"" + program + L"\" " + arguments;
        EXPECT_TRUE(::CreateProcessW(
            program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, currentFolder,
            &startup, &m_process));
        EXPECT_TRUE(::AssignProcessToJobObject(m_job, m_process.hProcess));
        ::ResumeThread(m_process.hThread);
    }
    ~Agent()
    {
        ::TerminateJobObject(m_job, 99);
        for (const HANDLE handle : {m_process.hThread, m_process.hProcess, m_job})
            ::CloseHandle(handle);
    }
    Agent(Agent&&) = delete;

    DWORD ProcessId() const { return m_process.dwProcessId; }
    /// Waits for the agent and for what it started. @return its exit code; 259 after a minute
    int Finish()
    {
        DWORD exitCode = 0;
        JOBOBJECT_BASIC_ACCOUNTING_INFORMATION job{};
        job.ActiveProcesses = 1;
        for (int left = 12000; job.ActiveProcesses != 0 && left > 0; --left, ::Sleep(5))
            ::QueryInformationJobObject(m_job, JobObjectBasicAccountingInformation, &job, sizeof(job), nullptr);
        ::GetExitCodeProcess(m_process.hProcess, &exitCode);
        return static_cast<int>(exitCode);
    }

private:
    HANDLE m_job = ::CreateJobObjectW(nullptr, nullptr);
    PROCESS_INFORMATION m_process{};
};

/// A machine on which no agent ran before: the programs in a new folder, nothing stored, everything logged.
class AgentRun : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(
            ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr ||
            std::getenv("SCANKELV_TESTS_MAY_WRITE") != nullptr)
            << "These tests remove and write what is stored on this machine. SCANKELV_TESTS_MAY_WRITE=1 lets them.";
        for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
            ::RegDeleteTreeW(hive, L"Software\\QLScan");
        for (const std::wstring folder :
             {L"C:\\ProgramData\\QLScan", L"C:\\ProgramData\\Quellon", m_userFolder.c_str()})
            std::filesystem::remove_all(folder);
        ::CreateDirectoryW(m_userFolder.c_str(), nullptr);
        WriteFileBytes(m_userFolder + L"Debug.ini", "[Modules]\nAgent=2\nKELVClient=2\nKELVFindwellLibrary=2\n");
        InstallInto(m_temporary.Path());
    }

    /// Copies the programs to a folder, from which the runs start then.
    void InstallInto(const std::wstring& folder)
    {
        std::filesystem::create_directories(m_folder = folder);
        for (const wchar_t* const file : {L"bin/ScanKELV.exe", L"bin/Hueward.exe", L"bin/FindwellDlg.dll"})
            Install(file, std::filesystem::path(file).filename());
    }
    void Install(const std::wstring& builtFile, const std::wstring& name) const
    {
        std::filesystem::copy_file(
            buildFolder / builtFile, File(name), std::filesystem::copy_options::overwrite_existing);
    }
    std::wstring File(const std::wstring& name) const { return m_folder + L"\\" + name; } ///< beside the program
    void UseGenericDriver()
    {
        m_settings.clear(); // no file
        m_key = L"Software\\QLScan\\Quellon Generic Scan Driver";
    }
    // The simulated library goes by its sample file, but for what these say.
    void UserChooses(const std::string& choice) { Override("<user><choice>" + choice + "</choice></user>"); }
    void LibraryGives(const std::string& call, const std::string& elements)
    {
        Override("<calls><" + call + ">" + elements + "</" + call + "></calls>");
    }

    Agent Start(const std::wstring& arguments)
    {
        if (!m_settings.empty())
            WriteFileBytes(File(L"ScanKELV.ini"), "[Settings]\n" + m_settings);
        WriteFileBytes(File(L"FindwellDlg.xml"), m_scenario);
        return Agent(File(L"ScanKELV.exe"), arguments, m_currentFolder);
    }
    /// Starts an agent and waits. The library has checked that each text was released once. @return exit code
    int Run(const std::wstring& arguments = L"")
    {
        const int exitCode = Start(arguments).Finish();
        EXPECT_THAT(LibraryLog(), testing::Not(testing::HasSubstr("error: ")));
        return exitCode;
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
    std::string StoredValues() const // all but the time
    {
        const std::string values = test::StoredValues(HKEY_CURRENT_USER, m_key);
        return std::regex_replace(values, std::regex("savedAt=.*\n"), "");
    }
    std::string ConfigIni() const { return Utf16TextFile(configIni); }
    std::string DeviceXml() const { return Utf16TextFile(deviceXml); }

    /// Values that an earlier run or another program stored: a name, a value, a name, a value...
    template <class Value, class... More>
    void Store(HKEY hive, const std::wstring& key, const wchar_t* name, const Value& value, const More&... more)
    {
        test::Store(hive, key, name, value);
        if constexpr (sizeof...(more) != 0)
            Store(hive, key, more...);
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
    // Of several elements of a name, the first counts.
    void Override(const std::string& elements) { m_scenario.insert(m_scenario.find("<findwell>") + 10, elements); }
    static std::string Utf16TextFile(const std::wstring& path) // as UTF-8, without its mark
    {
        const std::string bytes = FileExists(path) ? ReadFileBytes(path) : Utf16File(L"absent");
        return ToUtf8({reinterpret_cast<const wchar_t*>(bytes.data()) + 1, bytes.size() / sizeof(wchar_t) - 1});
    }

    std::wstring m_folder;
    std::string m_scenario = ReadFileBytes(buildFolder / "bin/FindwellDlg.xml");
};

} // namespace test
