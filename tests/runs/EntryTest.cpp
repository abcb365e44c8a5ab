// The entry of the program: which runs it refuses, where it runs, and its exit codes.
#include "RunFixture.h"

using namespace test;
using testing::EndsWith, testing::HasSubstr;

/// Of the object that the agents share with other programs.
constexpr const wchar_t* instanceObject = L"{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}";

TEST_F(AgentRun, IsTheOnlyOneAndObeysTheInstanceWord)
{
    LibraryGives("QueryDeviceAddress", "<thread>own</thread><until>go</until>");
    const HANDLE first = Start(L"/Q");
    for (int left = 6000; !LibraryLog().ends_with("returns 0\n") && left > 0; --left)
        ::Sleep(10);
    EXPECT_EQ(1, Run(L"/Q"));
    EXPECT_THAT(Log(), EndsWith("\nScanKELV cannot run due to other program instances running!\n\n\n"));
    const HANDLE object = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, instanceObject);
    DWORD& word = *static_cast<DWORD*>(::MapViewOfFile(object, FILE_MAP_ALL_ACCESS, 0, 0, 4));
    EXPECT_EQ(::GetProcessId(first), std::exchange(word, 0));
    EXPECT_EQ(1, Run(L"/Q"));
    EXPECT_THAT(Log(), EndsWith("\n---\n\nScanKELV version 1.01.39\nScanKELV cannot run due to uninstall!\n\n\n"));
    EXPECT_EQ("QueryDeviceAddress\n", Calls());
    WriteFileBytes(File(L"go"), "");
    EXPECT_EQ(0, Finish(first));
    word = 1;
    EXPECT_EQ(0, Run(L"/Q"));
    EXPECT_THAT(Log(), HasSubstr("\nKELV process Id: " + std::to_string(word) + "\n"));
    ::UnmapViewOfFile(&word);
    ::CloseHandle(object);
}

TEST_F(AgentRun, IsRefusedWhenTheNameIsOfAnotherObject)
{
    const HANDLE event = ::CreateEventW(nullptr, FALSE, FALSE, instanceObject);
    EXPECT_EQ(1, Run(L"/Q"));
    EXPECT_THAT(Log(), EndsWith("\nScanKELV cannot run due to problem detecting other program instances!\n\n\n"));
    ::CloseHandle(event);
}

TEST_F(AgentRun, FindsItsFilesInAFolderOfAnyNameAndNotInTheCurrentOne)
{
    InstallInto(m_temporary.File(L"c;d=e 'f' (g) & 100%\\Büro für Äußeres\\" + std::wstring(120, L'd')));
    m_currentFolder = m_temporary.Path().c_str();
    for (const wchar_t* const name : {L"FindwellDlg.dll", L"Shell32.dll", L"version.dll", L"ScanKELV.ini"})
        WriteFileBytes(m_temporary.File(name), "[Settings]\n");
    EXPECT_EQ(0, Run());
    EXPECT_EQ("Quellon Weir C40", Stored(L"DeviceName"));
    const std::string updater = "\"" + ToUtf8(File(L"Hueward.exe")) + "\" \"\"\"Quellon Weir C40 Series\"\"\"\n";
    for (int left = 600; TextFile(File(L"Hueward.log")) != updater && left > 0; --left)
        ::Sleep(100);
    EXPECT_EQ(updater, TextFile(File(L"Hueward.log")));
}

TEST_F(AgentRun, EndsAtOnceWithInconsistentSettings)
{
    m_settings = "ModelName=x\n";
    EXPECT_EQ(3, Run());
    EXPECT_THAT(Log(), EndsWith("\nFATAL: ProductName absent in ScanKELV.ini! Check ScanKELV.ini.\n"));
}
