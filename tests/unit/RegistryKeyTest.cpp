// The storages that are made of registry keys.
#include "CrossProductStorage.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;

struct StorageTest : testing::Test
{
    StorageTest()
    {
        Store(HKEY_CURRENT_USER, L"Storage", "text=twenty characters...\nletter=a\nnumber=#7");
        ::RegSetKeyValueW(HKEY_CURRENT_USER, L"Storage", L"expand", REG_EXPAND_SZ, L"a", 4);
        ::RegSetKeyValueW(HKEY_CURRENT_USER, L"Storage", L"short", REG_DWORD, "\x01\x02", 2);
    }
    void Fails(bool done, const std::string& report, int line = __builtin_LINE())
    {
        EXPECT_FALSE(done) << "line " << line;
        EXPECT_THAT(console.Text(), testing::HasSubstr("  " + report + "  failed!")) << "line " << line;
        console.Clear();
    }

    const PrivateRegistry registry;
    DebugConsoleCapture console;
    CrossProductStorage storage;
    DWORD number = 0x77777777;
    wchar_t text[400];
};

TEST_F(StorageTest, ReportsWhatItCannotDo)
{
    Fails(storage.GetString(nullptr, nullptr, 0) || storage.SetULong("x", 1), "IsValid()");
    Fails(storage.Open(SystemHive, "Storage", AccessRead), "keyOpenResult");
    Fails(storage.Open(SystemHive, "Storage", AccessRead), "keyOpenResult"); // it was not created
    Fails(storage.Open(5, "New", AccessWrite), "createKeyResult");
    ASSERT_TRUE(storage.Open(UserHive, L"STORAGE", AccessReadWrite));
    Fails(storage.GetString(nullptr, text, 9), "ParametersOK( key_name)");
    Fails(storage.GetULong("number", nullptr), "::PtrIsGoodWrite(value, sizeof (*value) )");
    const char* const notRead = "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )";
    Fails(storage.GetString(L"text", text, 20), notRead);
    Fails(storage.GetString(L"expand", text, 9), notRead);
    Fails(storage.GetULong(L"letter", &number), "m_parent_key.QueryDWORDValue( key_name, value )");
    EXPECT_EQ(0x77777777U, number);
    EXPECT_TRUE(storage.GetULong("short", &number) && number == 0x77770201) << number;
    Fails(storage.Delete("none"), "m_parent_key.DeleteValue( key_name )");
    EXPECT_TRUE(storage.Open(UserHive, "Storage", AccessRead) && !storage.SetULong(L"x", 1));
    EXPECT_THAT(console.Text(), testing::HasSubstr("Context: " + SystemMessage(ERROR_ACCESS_DENIED)));
}

TEST_F(StorageTest, KeepsTextsAndNumbersInItsHive)
{
    const std::wstring longText(300, L'x');
    EXPECT_TRUE(CrossProductStorage(SystemHive, "New", AccessWrite).SetULong("number", 0xFFFFFFFF)); // which is created
    EXPECT_TRUE(storage.Open(SystemHive, L"New", AccessReadWrite) && storage.GetULong(L"number", &number));
    EXPECT_TRUE(storage.SetString(L"long", longText.c_str()) && storage.GetString(L"long", text, 301)); // terminated
    EXPECT_EQ(std::pair(longText, DWORD(0xFFFFFFFF)), std::pair(std::wstring(text), number));
    EXPECT_TRUE(storage.SetString("8-bit", "abc") && storage.SetULong("gone", 6) && storage.Delete("GONE"));
    EXPECT_EQ(
        "8-bit=abc\nlong=" + ToUtf8(longText) + "\nnumber=#4294967295\n", StoredValues(HKEY_LOCAL_MACHINE, L"New"));
}
