// A copy of the installation folder to run the real program in, on a machine without traces of earlier runs.
#pragma once

#include "TestSupport.h"

#include <algorithm>
#include <chrono>
#include <shlobj.h>
#include <thread>

namespace test
{

/// What the program writes, as log text or file, under the keys that the tests use.
inline const WCHAR* const twainKeys = OLESTR("Software\\QLScan");
inline const WCHAR* const recordKeys = OLESTR("Software\\ScanKELVRuns");
inline const WCHAR* const wiaStorage = OLESTR("C:\\ProgramData\\QLScan\\Quellon Generic Scan Driver\\Config.ini");
inline const WCHAR* const deviceXml = OLESTR("C:\\ProgramData\\Quellon\\ScanKELV\\device.xml");

inline const char* const networkDevice =
    "<device><iotype>Network</iotype><comment>front desk</comment><devicepath>192.0.2.41</devicepath>"
    "<deviceid>MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;</deviceid><devicename>Weir</devicename>"
    "<ext>WC40</ext><hostname>qlweir</hostname><location>Büro 3 – 会議室 🖨</location>"
    "<userlocation>Empfang</userlocation><macaddress>00-00-5E-00-53-41</macaddress>"
    "<modelname>Weir C40 Series</modelname><vendor>Quellon</vendor><pid>0x1c40</pid><port>IP_41</port>"
    "<productname>Quellon Weir C40 Series</productname><serialnumber>WC40-77  </serialnumber>"
    "<systemdevicename>\\\\?\\ROOT#1</systemdevicename><vid>FFFFFFFF</vid></device>";
inline const char* const localDevice =
    "<device><iotype>Local</iotype><devicepath>USB002</devicepath><scannerport>USBSCAN7</scannerport>"
    "<deviceid>MFG:Quellon;MDL:Brooklet 130 Series;CMD:GDI; MODE:PRN, SCN</deviceid><devicename>Brook</devicename>"
    "<ext></ext><location></location><macaddress>00-11</macaddress><modelname>Brooklet 130 Series</modelname>"
    "<vendor>Quellon</vendor><pid>0130</pid><port>USB002</port><productname>Quellon Brooklet 130 Series</productname>"
    "<vid>f1d</vid></device>";
inline const char* const otherVendorsDevice =
    "<device><iotype>Network</iotype><deviceid>MFG:Harrowgate;MDL:HG 2210;MODE:SCN;</deviceid>"
    "<devicename>Other</devicename></device>";

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
        for (const Wide& file : {ToWide(PROGRAM_NAME), Wide(OLESTR("FindwellDlg.dll")), Wide(OLESTR("Hueward.exe"))})
            CopyFileTo(BuiltPath(INSTALLATION) + OLESTR("\\") + file, m_folder + OLESTR("\\") + file);
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
    void Behave(const std::string& choice, const std::string& call = "c", const std::string& gives = "") const
    {
        WriteFileBytes(
            File("FindwellDlg.xml"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?><findwell><user><choice>" + choice +
                                         "</choice><event>ADDBTN.onclick</event><event>other</event></user><calls><" +
                                         call + ">" + gives + "</" + call + "></calls><devices>" + otherVendorsDevice +
                                         networkDevice + localDevice + "</devices></findwell>");
    }
    /// Another library in place of FindwellDlg.dll; an empty name: none.
    void UseLibrary(std::string_view name) const
    {
        if (name == "FindwellDlg.dll")
            return;
        ::DeleteFileW(File("FindwellDlg.dll").c_str());
        if (!name.empty())
            CopyFileTo(BuiltPath(TEST_LIBRARIES) + OLESTR("\\") + ToWide(name), File("FindwellDlg.dll"));
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

private:
    static Wide DataFolder()
    {
        WCHAR folder[MAX_PATH]{};
        EXPECT_EQ(S_OK, ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, folder));
        return Wide(folder) + OLESTR("\\ScanKELV");
    }
    void RemoveTraces() const
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, twainKeys);
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, twainKeys);
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, recordKeys);
        for (const Wide& file : {Wide(wiaStorage), Wide(deviceXml), DebugIni(), LogFile()})
            ::DeleteFileW(file.c_str());
    }

    TemporaryFolder m_temporary;
    Wide m_folder;
};

inline void Store(HKEY hive, const Wide& path, const Wide& name, DWORD type, const void* value, std::size_t bytes)
{
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(hive, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    EXPECT_EQ(
        ERROR_SUCCESS,
        ::RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(value), static_cast<DWORD>(bytes)));
    ::RegCloseKey(key);
}

inline void StoreText(HKEY hive, const Wide& path, const Wide& name, const Wide& text)
{
    Store(hive, path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
}

inline void StoreNumber(HKEY hive, const Wide& path, const Wide& name, DWORD number)
{
    Store(hive, path, name, REG_DWORD, &number, sizeof(number));
}

/// "text", or "#number", or "(none)".
inline std::string Stored(const Wide& path, std::string_view name)
{
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return "(none)";
    WCHAR text[1024]{};
    DWORD bytes = sizeof(text) - sizeof(WCHAR);
    DWORD type = 0;
    const LSTATUS status =
        ::RegQueryValueExW(key, ToWide(name).c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
    ::RegCloseKey(key);
    if (status != ERROR_SUCCESS)
        return "(none)";
    if (type == REG_SZ)
        return ToUtf8(text);
    DWORD number = 0;
    std::copy_n(reinterpret_cast<const BYTE*>(text), sizeof(number), reinterpret_cast<BYTE*>(&number));
    return "#" + std::to_string(number);
}

/// The parts between bars.
inline std::vector<std::string> Parts(std::string_view text)
{
    std::vector<std::string> parts;
    for (std::size_t at = 0; !text.empty() && at <= text.size();)
    {
        parts.emplace_back(text.substr(at, text.find('|', at) - at));
        at += parts.back().size() + 1;
    }
    return parts;
}

/// Lines between bars, as a logger writes them, in this order.
inline void ExpectLines(const std::string& log, std::string_view lines)
{
    std::size_t from = 0;
    for (const std::string& line : Parts(lines))
    {
        std::string expected = "\n";
        for (const char c : line)
            expected += c == '\n' ? std::string("\r\n") : std::string(1, c);
        expected += "\r\n";
        const std::size_t at = log.find(expected, from);
        EXPECT_NE(std::string::npos, at) << "missing, or not in its place: " << line << "\nin:\n" << log;
        from = at == std::string::npos ? from : at + expected.size() - 1;
    }
}

/// Values between bars, each "name=value" as Stored gives it.
inline void ExpectStored(const Wide& path, std::string_view values)
{
    for (const std::string& value : Parts(values))
    {
        const std::size_t sign = value.find('=');
        EXPECT_EQ(value.substr(sign + 1), Stored(path, value.substr(0, sign))) << value.substr(0, sign);
    }
}

/// Pieces between bars, all of them somewhere in the record.
inline void ExpectAsked(const std::string& record, std::string_view pieces)
{
    for (const std::string& piece : Parts(pieces))
        EXPECT_NE(std::string::npos, record.find(piece)) << piece << "\nin:\n" << record;
}

template <class Condition>
bool Eventually(Condition condition)
{
    for (int left = 400; left > 0 && !condition(); --left)
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    return condition();
}

} // namespace test
