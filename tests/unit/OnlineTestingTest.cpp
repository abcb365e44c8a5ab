#include "OnlineTesting.h"

#include "AgentTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

namespace
{

struct QueryCase
{
    const char* name;
    std::string answer; ///< of the library
    DWORD connectionType;
    std::string stored, configIni, line;
};
const std::string x255(255, 'x'), texts = "<address>new</address><macaddress>02</macaddress>";
const std::string nulls = "<address><null/></address><macaddress><null/></macaddress>", local = "[IO]\r\nAddress=";
const QueryCase queryCases[] = {
    {"Network", texts, 1, "new new 02 #1 #1 ", "[IO]\r\nAddress=new\r\nAddress2=new\r\nMACAddress=02\r\n",
     "patch device addresses new, 02"},
    {"Local", texts + "<change>2</change>", 0, "new absent 02 #1 #0 ", local + "new\r\nMACAddress=02\r\n",
     "qdc: status 0, change 2, lpAddress new, lpMACAddress 02"},
    {"DidNotAnswer", texts + "<status>3</status><change>1</change>", 1, "old absent mac #0 #1 ", "",
     "do not patch device addresses"},
    {"NullTexts", nulls, 0, "old absent mac #1 #1 ", local + "old\r\nMACAddress=mac\r\n",
     "qdc: status 0, change 0, lpAddress , lpMACAddress "},
    {"LongText", "<address><repeat>300 x</repeat></address>", 0, x255 + " absent mac #1 #1 ",
     local + x255 + "\r\nMACAddress=mac\r\n", "store Online status 1"},
    {"Refused", "<return>1</return>", 1, "old absent mac #7 absent ", "", "do not store Query results"},
};

class OnlineTestingTest : public AgentTest, public testing::WithParamInterface<QueryCase>
{
protected:
    /// Tests a stored device whose library answers so. @return the values stored afterwards
    std::string Run(const std::string& answer, DWORD connectionType)
    {
        const std::wstring key = L"Software\\QLScan\\Driver";
        Store(HKEY_CURRENT_USER, key, L"Address", L"old");
        Store(HKEY_CURRENT_USER, key, L"MACAddress", L"mac");
        Store(HKEY_CURRENT_USER, key, L"ConnectionType", connectionType);
        Store(HKEY_CURRENT_USER, key, L"Online", DWORD(7));
        WriteFileBytes(m_configIni, "");
        const std::string call = "<calls><QueryDeviceAddress>" + answer + "</QueryDeviceAddress></calls>";
        WriteFileBytes(m_data.File(L"answer"), "<findwell>" + call + "</findwell>");
        ::SetEnvironmentVariableW(L"FINDWELL_SETTINGS", m_data.File(L"answer").c_str());
        ::SetEnvironmentVariableW(L"FINDWELL_RECORD", m_record.c_str());
        const ResourceLocationWide library = LocationOfModuleFile(L"FindwellDlg.dll");
        ::CopyFileW(LocationOfModuleFile(L"..\\bin\\FindwellDlg.dll").Text(), library.Text(), FALSE);
        ResetOnlineTesting();
        RunOnlineTesting(Options(L"/M Driver /V Vendor"), KELVFindwellLibrary());
        std::string values;
        for (const wchar_t* const name : {L"Address", L"Address2", L"MACAddress", L"Online", L"Changed"})
            values += Stored(HKEY_CURRENT_USER, key, name) + " ";
        return values;
    }

    const CommonDataFolder m_data;
    const std::wstring m_configIni = WideFromNarrow(WiaConfigLocation().View()), m_record = m_data.File(L"record");
    const DebugConsoleCapture m_console;
};

TEST_P(OnlineTestingTest, StoresTheAnswer)
{
    const auto& [name, answer, connectionType, stored, configIni, line] = GetParam();
    EXPECT_EQ(stored, Run(answer, connectionType));
    EXPECT_EQ(configIni.empty() ? "" : Utf16File(ToWide(configIni)), ReadFileBytes(m_configIni));
    EXPECT_THAT(m_console.Lines(), testing::Contains(line));
    const char* const asked = "  address = old\n  macAddress = mac\n  productName = Driver\n  vendorName = Vendor\n";
    EXPECT_THAT(ReadFileBytes(m_record), testing::HasSubstr(asked));
}
INSTANTIATE_TEST_SUITE_P(, OnlineTestingTest, testing::ValuesIn(queryCases), caseName);

TEST_F(OnlineTestingTest, FirstAnswerCountsFromAnyThread)
{
    const std::wstring given = LocationOfModuleFile(L"given").Text();
    std::thread other([&] {
        while (!FileExists(m_record) || ReadFileBytes(m_record).empty())
            ::Sleep(10);
        const std::uint32_t answered = 0;
        QueryDeviceAddressCallback(nullptr, nullptr, nullptr, nullptr);
        QueryDeviceAddressCallback(&answered, &answered, nullptr, nullptr);
        WriteFileBytes(given, ""); // lets the library answer
    });
    EXPECT_EQ("old absent mac #0 #0 ", Run("<until>given</until>", 1));
    other.join();
    ::DeleteFileW(given.c_str());
    const std::vector<std::string> lines = m_console.Lines();
    EXPECT_THAT(
        std::vector(lines.end() - 11, lines.end()),
        testing::ElementsAre(
            "do Online testing", "original device addresses old, mac",
            "qdc: status 1, change 2, lpAddress , lpMACAddress ", "qdc: status 0, change 0, lpAddress , lpMACAddress ",
            "qdc: status 0, change 0, lpAddress old, lpMACAddress mac", "store Query results", "remove Online status",
            "remove Changed status", "store Online status 0", "do not patch device addresses",
            "store Changed status 0"));
}

} // namespace
