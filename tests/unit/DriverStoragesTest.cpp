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
    EXPECT_FALSE(TwainStorageOpenReadUser(storage, L"P"));
    EXPECT_TRUE(TwainStorageOpenWrite(storage, L"P") && storage.SetULong("n", 2));
    EXPECT_TRUE(TwainStorageOpenReadUser(storage, L"P"));
    EXPECT_EQ("#2", Stored(HKEY_CURRENT_USER, path, L"n"));
    EXPECT_TRUE(TwainStorageOpenRead(storage, L"P") && !MultiSelectStorageOpenRead(storage, L"None"));
    EXPECT_EQ(
        "fail to open user storage for read in HKCU, trying system storage in HKLM\n"
        "fail to open system storage for read in HKLM\n"
        "fail to open user storage for read in HKCU, trying system storage in HKLM\n"
        "trying system storage in HKLM\nsuccess to open MultiSelect storage for read in HKLM\n"
        "fail to open user storage for read in HKCU\n"
        "trying system storage in HKLM\nfail to open MultiSelect storage for read in HKLM!\n",
        Joined(console.Lines()));
}
