// A copy of the installation folder to run the real program in, on a machine without traces of earlier runs.
#pragma once

#include "TestSupport.h"

#include <algorithm>
#include <shlobj.h>

namespace test
{

inline const WCHAR* const twainKeys = OLESTR("Software\\QLScan");
inline const WCHAR* const recordKeys = OLESTR("Software\\ScanKELVRuns");
inline const WCHAR* const wiaStorage = OLESTR("C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver\\Config.ini");
inline const WCHAR* const deviceXml = OLESTR("C:\\ProgramData\\Quellon\\ScanKELV\\device.xml");

/// The Windows path of what the build made, or of what it is made from.
inline Wide BuiltPath(std::string path)
{
    std::ranges::replace(path, '/', '\\');
    return ToWide(path.starts_with('\\') ? "Z:" + path : path);
}

class Installation
{
public:
    Installation() : Installation(Wide()) {}
    /// In this folder, which is there and stays; without one in a new folder.
    explicit Installation(const Wide& folder) : m_folder(folder.empty() ? m_temporary.Path() : folder)
    {
        RemoveTraces();
        for (const char* const file : {PROGRAM_NAME, "FindwellDlg.dll", "Hueward.exe"})
            CopyFileTo(BuiltPath(INSTALLATION) + OLESTR("\\") + ToWide(file), File(file));
        ::CreateDirectoryW(DataFolder().c_str(), nullptr);
        WriteFileBytes(DebugIni(), "[Modules]\r\nAgent=1\r\nKELVClient=1\r\nKELVFindwellLibrary=1\r\n");
        Behave("accepted");
    }
    ~Installation() { RemoveTraces(); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    Wide File(std::string_view name) const { return m_folder + OLESTR("\\") + ToWide(name); }
    Wide DebugIni() const { return DataFolder() + OLESTR("\\Debug.ini"); }
    Wide LogFile() const { return DataFolder() + OLESTR("\\Log.txt"); }

    void Settings(std::string_view keys) const
    {
        WriteFileBytes(File("ScanKELV.ini"), "[Settings]\r\n" + std::string(keys) + "\r\n");
    }
    /// How the search library's user behaves, and what one of its calls gives.
    void Behave(const std::string& choice, const std::string& call = "none", const std::string& gives = "") const
    {
        WriteFileBytes(
            File("FindwellDlg.xml"), "<findwell><user><choice>" + choice +
                                         "</choice><event>ADDBTN.onclick</event><event>other</event></user><calls><" +
                                         call + ">" + gives + "</" + call + "></calls>" +
                                         ReadFileBytes(BuiltPath(RUNS_FOLDER) + OLESTR("\\devices.xml")) +
                                         "</findwell>");
    }

    Wide Program() const { return File(PROGRAM_NAME); }
    Wide CommandLine(std::string_view arguments) const
    {
        return OLESTR("\"") + Program() + OLESTR("\" ") + ToWide(arguments);
    }
    ProgramResult Run(std::string_view arguments = {}) const { return RunProgram(Program(), CommandLine(arguments)); }

    /// What the library was asked; empty when it was asked nothing.
    std::string Asked() const
    {
        const Wide file = File("FindwellDlg.log");
        return FileExists(file) ? ReadFileBytes(file) : std::string();
    }

    /// What the updater wrote, a line for each of its starts; the agent does not wait for it.
    std::string UpdaterRecord(std::ptrdiff_t starts) const
    {
        const Wide file = File("Hueward.log");
        const auto record = [&file] { return FileExists(file) ? ReadFileBytes(file) : std::string(); };
        EXPECT_TRUE(Eventually([&] { return std::ranges::count(record(), '\n') >= starts; }));
        return record();
    }

private:
    static Wide DataFolder()
    {
        WCHAR folder[MAX_PATH]{};
        EXPECT_EQ(S_OK, ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, folder));
        return Wide(folder) + OLESTR("\\ScanKELV");
    }
    void RemoveTraces() const
    {
        for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
            for (const WCHAR* const keys : {twainKeys, recordKeys})
                ::RegDeleteTreeW(hive, keys);
        for (const Wide& file : {Wide(wiaStorage), Wide(deviceXml), DebugIni(), LogFile()})
        {
            test::SetReadOnly(file, false);
            ::DeleteFileW(file.c_str());
        }
    }

    TemporaryFolder m_temporary;
    Wide m_folder;
};

} // namespace test
