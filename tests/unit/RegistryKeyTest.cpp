// Registry keys, and the storages that are made of them.
#include "CrossProductStorage.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;
using Texts = std::vector<std::string>;

const std::string missing = SystemMessage(ERROR_FILE_NOT_FOUND), denied = SystemMessage(ERROR_ACCESS_DENIED);
const std::string invalid = SystemMessage(ERROR_INVALID_HANDLE), last = SystemMessage(ERROR_INVALID_DATA);
const std::string arguments = "( m_hKey, name, reservedValueOfReservedParameter, type, ";
const std::string query = "RegQueryValueExImpl" + arguments + "static_cast< LPBYTE >( data ), bytes )";
const std::string set = "RegSetValueExImpl" + arguments + "static_cast<const BYTE*>(value), bytes )";
const std::string isText = "( QueryValue(name, &type, value, &bytes) && (type == ( 1 )) )";
const std::string isNumber = "( QueryValue<CharType>(name, &type, value, &bytes) && (type == ( 4 )) )";
const std::string getText = "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )";
const std::string getNumber = "m_parent_key.QueryDWORDValue( key_name, value )";

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
    void Fails(bool done, const Texts& reports, const Texts& contexts, int line = __builtin_LINE())
    {
        EXPECT_FALSE(done) << "line " << line;
        EXPECT_EQ(std::pair(reports, contexts), std::pair(console.Reports(), console.Contexts())) << "line " << line;
        console.Clear();
        ::SetLastError(ERROR_INVALID_DATA); // registry functions leave it alone
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
    Fails(!key.Close() || key.SetDWORDValue(L"x", 1), {"IsValid()"}, {"invariant"});
    Fails(key.SetStringValueNoExpand<char>("x", nullptr), {"::PtrIsGoodString(value, 5)"}, {"bad argument"});
    ASSERT_TRUE(key.Create(HKEY_CURRENT_USER, L"STORAGE", L"class", 0, KEY_READ, nullptr, &number));
    EXPECT_EQ(DWORD(REG_OPENED_EXISTING_KEY), number);
    Fails(key.QueryStringValue(L"text", text, &length), {query, isText}, {SystemMessage(ERROR_MORE_DATA), ""});
    EXPECT_EQ(0U, length);
    EXPECT_TRUE(key.QueryStringValue(L"text", text, &(length = 21)) && length == 21) << length;
    EXPECT_TRUE(key.QueryStringValue(L"open", text, &length) && length == 2) << length; // no terminator to be counted
    EXPECT_TRUE(key.QueryDWORDValue("short", &(number = 0x77777777)) && number == 0x77770201) << number;
    ::RegCloseKey(reinterpret_cast<const HKEY&>(key)); // its only field: the system will refuse to close it again
    Fails(key.Close(), {"::RegCloseKey( m_hKey )"}, {invalid});
    EXPECT_TRUE(key.IsValid());
}

TEST_F(StorageTest, ReportsEachFailure)
{
    const std::string goodName = "::PtrIsGoodString(key_name, 260)", parameters = "ParametersOK( key_name )";
    Fails(storage.GetString(nullptr, nullptr, 0) || storage.Delete(nullptr), Texts(2, "IsValid()"), {"", ""});
    Fails(storage.SetString("x", "v") || storage.SetULong("x", 1), Texts(2, "IsValid()"), {"", ""});
    Fails(storage.Open(SystemHive, "Storage", AccessRead), {"keyOpenResult"}, {missing});
    Fails(storage.Open(SystemHive, "Storage", AccessRead), {"keyOpenResult"}, {missing}); // it was not created
    Fails(storage.Open(5, "New", AccessWrite), {"keyOpenResult", "createKeyResult"}, {invalid, invalid});
    ASSERT_TRUE(storage.Open(UserHive, L"Storage", AccessReadWrite));
    Fails(storage.GetString(nullptr, text, 9), {goodName, "ParametersOK( key_name)"}, {last, ""});
    Fails(storage.SetULong<wchar_t>(nullptr, 1), {goodName, parameters}, {last, ""});
    Fails(storage.Delete(nullptr), {goodName, parameters}, {last, ""});
    Fails(
        storage.GetString(L"x", nullptr, 9), {"::PtrIsGoodWrite(value, buffer_size_chars * sizeof(CharType) )"}, {""});
    Fails(storage.GetULong("number", nullptr), {"::PtrIsGoodWrite(value, sizeof (*value) )"}, {""});
    Fails(storage.SetString<wchar_t>(L"x", nullptr), {"::PtrIsGoodString(value, 260 )"}, {""});
    Fails(storage.GetString(L"none", text, 9), {query, isText, getText}, {missing, "", last});
    Fails(storage.GetString(L"expand", text, 9), {isText, getText}, {"", last});
    Fails(storage.GetULong(L"letter", &number), {isNumber, getNumber}, {"", last});
    const Texts deletion{"RegDeleteValueImpl(m_hKey, lvalue)", "m_parent_key.DeleteValue( key_name )"};
    Fails(storage.Delete("none"), deletion, {missing, last});
    EXPECT_TRUE(storage.Open(UserHive, "Storage", AccessRead));
    const std::string setText = "m_parent_key.SetStringValueNoExpand( key_name, value )";
    Fails(storage.SetString("x", "v"), {set, setText}, {denied, last});
    Fails(storage.SetULong(L"x", 1), {set, "m_parent_key.SetDWORDValue( key_name, value )"}, {denied, last});
    EXPECT_EQ(0x77777777U, number);
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
