// Registry keys, and the storages that are made of them.
#include "CrossProductStorage.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;
using Texts = std::vector<std::string>;

const std::string query =
    "RegQueryValueExImpl( m_hKey, name, reservedValueOfReservedParameter, type, static_cast< LPBYTE >( data ), bytes )";
const std::string isText = "( QueryValue(name, &type, value, &bytes) && (type == ( 1 )) )";
const std::string getText = "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )";

class StorageTest : public testing::Test
{
protected:
    StorageTest()
    {
        Store(HKEY_CURRENT_USER, L"Storage", {{L"text", L"twenty characters..."}, {L"letter", L"a"}, {L"number", 7UL}});
        StoreBytes(HKEY_CURRENT_USER, L"Storage", L"expand", REG_EXPAND_SZ, std::string_view("a\0\0\0", 4));
        StoreBytes(HKEY_CURRENT_USER, L"Storage", L"open", REG_SZ, std::string_view("a\0b\0c", 5));
        StoreBytes(HKEY_CURRENT_USER, L"Storage", L"short", REG_DWORD, "\x01\x02");
    }
    void Fails(bool done, const Texts& reports, int line = __builtin_LINE())
    {
        EXPECT_FALSE(done) << "line " << line;
        EXPECT_EQ(reports, console.Reports()) << "line " << line;
        console.Clear();
    }

    const PrivateRegistry registry;
    DebugConsoleCapture console;
    CrossProductStorage storage;
    RegistryKey key;
    DWORD number = 0x77777777, length = 20;
    wchar_t text[400];
};

TEST_F(StorageTest, OfOneKey)
{
    Fails(!key.Close() || key.SetDWORDValue(L"x", 1), {"IsValid()"});
    ASSERT_TRUE(key.Create(HKEY_CURRENT_USER, L"STORAGE", L"class", 0, KEY_READ, nullptr, &number));
    EXPECT_EQ(DWORD(REG_OPENED_EXISTING_KEY), number);
    Fails(key.QueryStringValue(L"text", text, &length), {query, isText});
    EXPECT_EQ(0U, length);
    EXPECT_TRUE(key.QueryStringValue(L"text", text, &(length = 21)) && length == 21) << length;
    EXPECT_TRUE(key.QueryStringValue(L"open", text, &length) && length == 2) << length; // no terminator to be counted
    EXPECT_TRUE(key.QueryDWORDValue("short", &(number = 0x77777777)) && number == 0x77770201) << number;
}

TEST_F(StorageTest, ReportsEachFailure)
{
    Fails(storage.GetString(nullptr, nullptr, 0) || storage.SetULong("x", 1), Texts(2, "IsValid()"));
    Fails(storage.Open(SystemHive, "Storage", AccessRead), {"keyOpenResult"});
    Fails(storage.Open(SystemHive, "Storage", AccessRead), {"keyOpenResult"}); // it was not created
    Fails(storage.Open(5, "New", AccessWrite), {"keyOpenResult", "createKeyResult"});
    ASSERT_TRUE(storage.Open(UserHive, L"Storage", AccessReadWrite));
    Fails(storage.GetString(nullptr, text, 9), {"::PtrIsGoodString(key_name, 260)", "ParametersOK( key_name)"});
    Fails(storage.GetULong("number", nullptr), {"::PtrIsGoodWrite(value, sizeof (*value) )"});
    Fails(storage.GetString(L"none", text, 9), {query, isText, getText});
    Fails(storage.GetString(L"expand", text, 9), {isText, getText});
    const std::string isNumber = "( QueryValue<CharType>(name, &type, value, &bytes) && (type == ( 4 )) )";
    Fails(storage.GetULong(L"letter", &number), {isNumber, "m_parent_key.QueryDWORDValue( key_name, value )"});
    Fails(storage.Delete("none"), {"RegDeleteValueImpl(m_hKey, lvalue)", "m_parent_key.DeleteValue( key_name )"});
    EXPECT_EQ(0x77777777U, number);
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
