#include "KELVFindwellLibrary.h"

#include "AgentTest.h"

#include <sstream>

using namespace scankelv;
using namespace test;

namespace
{

TEST(KELVFindwellLibraryTest, MissingEntryOrLibraryIsNamed)
{
    const std::string required = "GetDeviceList_LCode FreeDeviceList GetPrinterList GetSelectedDevice "
                                 "GetDeviceInformation ";
    std::istringstream names(
        required + "GetDeviceList GetMultiDeviceInformation MergeDevicelistXML QueryDeviceAddress ShowPropertiesUI");
    for (std::string name; names >> name;)
    {
        std::string bytes = ReadFileBytes(LocationOfModuleFile(L"..\\bin\\FindwellDlg.dll").Text());
        const std::string entry = '\0' + name + '\0';
        for (std::size_t at = 0; (at = bytes.find(entry, at)) != bytes.npos; ++at)
            --bytes[at + entry.size() - 2]; // another name, at the same place of the sorted list
        WriteFileBytes(LocationOfModuleFile(L"FindwellDlg.dll").Text(), bytes);
        const DebugConsoleCapture console;
        EXPECT_EQ(required.find(name + " ") == required.npos, KELVFindwellLibrary().IsValid()) << name;
        EXPECT_THAT(console.Text(), testing::StartsWith("Function " + name + " not resolved due to <127>!\n"));
        EXPECT_EQ(nullptr, ::GetModuleHandleW(L"FindwellDlg.dll"));
    }
    ::DeleteFileW(LocationOfModuleFile(L"FindwellDlg.dll").Text());
    const DebugConsoleCapture console;
    EXPECT_FALSE(KELVFindwellLibrary().IsValid());
    const std::string path(LocationOfModuleFile("FindwellDlg.dll").View());
    EXPECT_THAT(console.Text(), testing::StartsWith("Library " + path + " not found!\n"));
}

} // namespace
