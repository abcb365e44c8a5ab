#include "DriverStorages.h"

#include "TestSupport.h"

using namespace scankelv;
using namespace test;

TEST(DriverStoragesTest, OpenInTheirHivesAndTellIt)
{
    const PrivateRegistry registry;
    const DebugConsoleCapture console; // gets the lines of the "Agent" logger
    CrossProductStorage storage;
    const wchar_t* const path = L"Software\\QLScan\\P";
    EXPECT_FALSE(TwainStorageOpenRead(storage, L"P"));
    Store(HKEY_LOCAL_MACHINE, path, L"n", 1);
    EXPECT_TRUE(TwainStorageOpenRead(storage, L"P") && MultiSelectStorageOpenRead(storage, path));
    EXPECT_FALSE(
        TwainStorageOpenReadUser(storage, L"P") || TwainStorageOpenWrite(storage, std::wstring(300, L'x').c_str()));
    EXPECT_TRUE(
        TwainStorageOpenWrite(storage, L"P") && storage.SetULong("n", 2) && TwainStorageOpenReadUser(storage, L"P"));
    EXPECT_EQ("#2", Stored(HKEY_CURRENT_USER, path, L"n"));
    EXPECT_TRUE(TwainStorageOpenRead(storage, L"P") && !MultiSelectStorageOpenRead(storage, L"None"));
    std::string lines;
    for (const std::string& line : console.Lines())
        lines += line + "|";
    EXPECT_EQ(
        "fail to open user storage for read in HKCU, trying system storage in HKLM|fail to open system storage for "
        "read in HKLM|"
        "fail to open user storage for read in HKCU, trying system storage in HKLM|trying system storage in "
        "HKLM|success to open MultiSelect storage for read in HKLM|"
        "fail to open user storage for read in HKCU|fail to open user storage for write in HKCU|trying system storage "
        "in HKLM|fail to open MultiSelect storage for read in HKLM!|",
        lines);
    EXPECT_EQ(ToWide(WiaConfigLocation().View()), WiaConfigLocationWide().Text());
}
