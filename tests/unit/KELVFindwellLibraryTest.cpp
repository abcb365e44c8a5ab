#include "KELVFindwellLibrary.h"

#include "AgentTest.h"
#include "Owners.h"

using namespace scankelv;
using namespace test;

TEST(KELVFindwellLibraryTest, MissingEntryIsNamedAndIsNoLibraryWhereRequired)
{
    int required = 5; // the first ones
    for (const std::string name :
         {"GetDeviceList_LCode", "FreeDeviceList", "GetPrinterList", "GetSelectedDevice", "GetDeviceInformation",
          "GetDeviceList", "GetMultiDeviceInformation", "MergeDevicelistXML", "QueryDeviceAddress", "ShowPropertiesUI"})
    {
        std::string bytes = ReadFileBytes(LocationOfModuleFile(L"..\\bin\\FindwellDlg.dll").Text());
        const std::string entry = '\0' + name + '\0';
        for (std::size_t at = 0; (at = bytes.find(entry, at)) != bytes.npos; ++at)
            --bytes[at + entry.size() - 2]; // another name, at the same place of the sorted list
        WriteFileBytes(LocationOfModuleFile(L"FindwellDlg.dll").Text(), bytes);
        const DebugConsoleCapture console;
        EXPECT_EQ(required-- <= 0, KELVFindwellLibrary().IsValid()) << name;
        EXPECT_THAT(console.Text(), testing::StartsWith("Function " + name + " not resolved due to <127>!\n"));
    }
    ::DeleteFileW(LocationOfModuleFile(L"FindwellDlg.dll").Text());
}

TEST(KELVFindwellLibraryTest, OthersAreNotSearchedInTheCurrentFolder)
{
    const TemporaryFolder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::copy_file(LocationOfModuleFile(L"..\\bin\\FindwellDlg.dll").Text(), folder.File(L"planted.dll"));
    std::filesystem::current_path(folder.Path());
    ::SetDllDirectoryW(nullptr); // as a process begins
    EXPECT_NE(nullptr, OwnedModule(::LoadLibraryW(L"planted.dll")));
    const KELVFindwellLibrary library;
    EXPECT_EQ(nullptr, OwnedModule(::LoadLibraryW(L"planted.dll")));
    std::filesystem::current_path(before);
}
