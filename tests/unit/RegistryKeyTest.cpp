// Registry keys, and the storages that are made of them.
#include "CrossProductStorage.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;

const std::string missing = SystemMessage(ERROR_FILE_NOT_FOUND), denied = SystemMessage(ERROR_ACCESS_DENIED);
const std::string invalid = SystemMessage(ERROR_INVALID_HANDLE), last = SystemMessage(ERROR_INVALID_DATA);
const std::string arguments = "( m_hKey, name, reservedValueOfReservedParameter, type, ";
const std::string query = "RegQueryValueExImpl" + arguments + "static_cast< LPBYTE >( data ), bytes )";
const std::string set = "RegSetValueExImpl" + arguments + "static_cast<const BYTE*>(value), bytes )";
const std::string isText = "( QueryValue(name, &type, value, &bytes) && (type == ( 1 )) )";
const std::string isNumber = "( QueryValue<CharType>(name, &type, value, &bytes) && (type == ( 4 )) )";
const std::string goodName = "::PtrIsGoodString(key_name, 260)", parameters = "ParametersOK( key_name )";
const std::string getText = "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )";
const std::string getNumber = "m_parent_key.QueryDWORDValue( key_name, value )";

class StorageTest : public testing::Test
{
protected:
    StorageTest()
    {
        Store(HKEY_CURRENT_USER, L"Storage", L"text", L"twenty characters...");
        Store(HKEY_CURRENT_USER, L"Storage", L"number", 7);
        Store(HKEY_CURRENT_USER, L"Storage", L"letter", L"a");
        StoreBytes(HKEY_CURRENT_USER, L"Storage", L"expand", REG_EXPAND_SZ, std::string_view("a\0\0\0", 4));
        StoreBytes(HKEY_CURRENT_USER, L"Storage", L"open", REG_SZ, std::string_view("a\0b\0c", 5));
        StoreBytes(HKEY_CURRENT_USER, L"Storage", L"short", REG_DWORD, "\x01\x02");
    }
    void Fails(bool done, const std::vector<std::pair<std::string, std::string>>& reports, int line = __builtin_LINE())
    {
        EXPECT_FALSE(done) << "line " << line;
        EXPECT_EQ(reports, console.ReportsWithContext()) << "line " << line;
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
    EXPECT_TRUE(key.Close());
    Fails(key.SetDWORDValue(L"x", 1), {{"IsValid()", "invariant"}});
    Fails(key.SetStringValueNoExpand<char>("x", nullptr), {{"::PtrIsGoodString(value, 5)", "bad argument"}});
    Fails(key.Create<char>(nullptr, "N", nullptr, 0, KEY_READ, nullptr, nullptr), {{"createKeyResult", invalid}});
    EXPECT_FALSE(key.IsValid());
    ASSERT_TRUE(key.Create(HKEY_CURRENT_USER, L"STORAGE", L"class", 0, KEY_READ, nullptr, &number));
    EXPECT_EQ(DWORD(REG_OPENED_EXISTING_KEY), number);
    Fails(key.QueryStringValue(L"text", text, &length), {{query, SystemMessage(ERROR_MORE_DATA)}, {isText, ""}});
    EXPECT_EQ(0U, length);
    EXPECT_TRUE(key.QueryStringValue(L"text", text, &(length = 21)) && length == 21) << length;
    EXPECT_TRUE(key.QueryStringValue(L"open", text, &length) && length == 2) << length; // no terminator to be counted
    EXPECT_TRUE(key.QueryDWORDValue("short", &(number = 0x77777777)) && number == 0x77770201) << number;
    ::RegCloseKey(reinterpret_cast<const HKEY&>(key)); // its only field: the system will refuse to close it again
    Fails(key.Close(), {{"::RegCloseKey( m_hKey )", invalid}});
    EXPECT_TRUE(key.IsValid());
}

TEST_F(StorageTest, ReportsEachFailure)
{
    Fails(storage.GetString(nullptr, nullptr, 0), {{"IsValid()", ""}});
    Fails(storage.GetULong<char>(nullptr, nullptr), {{"IsValid()", ""}});
    Fails(storage.SetString<wchar_t>(nullptr, nullptr), {{"IsValid()", ""}});
    Fails(storage.SetULong<char>(nullptr, 1), {{"IsValid()", ""}});
    Fails(storage.Delete(nullptr), {{"IsValid()", ""}});
    Fails(storage.Open(SystemHive, L"Storage", AccessRead), {{"keyOpenResult", missing}});
    Fails(storage.Open(SystemHive, "Storage", AccessRead), {{"keyOpenResult", missing}}); // it was not created
    Fails(storage.Open(5, "New", AccessWrite), {{"keyOpenResult", invalid}, {"createKeyResult", invalid}});
    Fails(storage.Open(UserHive, L"", AccessWrite), {{"keyOpenResult", invalid}, {"createKeyResult", invalid}});
    ASSERT_TRUE(storage.Open(UserHive, L"Storage", AccessReadWrite));
    Fails(storage.GetString(nullptr, text, 9), {{goodName, last}, {"ParametersOK( key_name)", ""}});
    Fails(storage.GetULong<wchar_t>(nullptr, &number), {{goodName, last}, {parameters, ""}});
    Fails(storage.SetString<char>(nullptr, "v"), {{goodName, last}, {parameters, ""}});
    Fails(storage.SetULong<wchar_t>(nullptr, 1), {{goodName, last}, {parameters, ""}});
    Fails(storage.Delete(nullptr), {{goodName, last}, {parameters, ""}});
    const char* const goodBuffer = "::PtrIsGoodWrite(value, buffer_size_chars * sizeof(CharType) )";
    Fails(storage.GetString(L"text", nullptr, 9), {{goodBuffer, ""}});
    Fails(storage.GetULong("number", nullptr), {{"::PtrIsGoodWrite(value, sizeof (*value) )", ""}});
    Fails(storage.SetString<wchar_t>(L"x", nullptr), {{"::PtrIsGoodString(value, 260 )", ""}});
    Fails(storage.GetString(L"none", text, 9), {{query, missing}, {isText, ""}, {getText, last}});
    Fails(storage.GetString(L"expand", text, 9), {{isText, ""}, {getText, last}});
    Fails(storage.GetULong(L"letter", &number), {{isNumber, ""}, {getNumber, last}});
    const std::string deleteValue = "m_parent_key.DeleteValue( key_name )";
    Fails(storage.Delete("none"), {{"RegDeleteValueImpl(m_hKey, lvalue)", missing}, {deleteValue, last}});
    EXPECT_TRUE(storage.Open(UserHive, "Storage", AccessRead));
    Fails(
        storage.SetString("x", "v"), {{set, denied}, {"m_parent_key.SetStringValueNoExpand( key_name, value )", last}});
    Fails(storage.SetULong(L"x", 1), {{set, denied}, {"m_parent_key.SetDWORDValue( key_name, value )", last}});
    EXPECT_TRUE(storage.Open(UserHive, "Storage", AccessWrite));
    Fails(storage.GetULong("number", &number), {{query, denied}, {isNumber, ""}, {getNumber, last}});
    EXPECT_EQ(0x77777777U, number);
}

TEST_F(StorageTest, KeepsTextsAndNumbersInItsHive)
{
    const std::wstring longText(300, L'x');
    EXPECT_TRUE(CrossProductStorage(SystemHive, "New", AccessWrite).SetULong("number", 0xFFFFFFFF)); // which is created
    EXPECT_TRUE(storage.Open(SystemHive, L"New", AccessReadWrite) && storage.GetULong(L"number", &number));
    EXPECT_TRUE(storage.SetString(L"long", longText.c_str()) && storage.GetString(L"long", text, 301));
    EXPECT_EQ(std::pair(longText, DWORD(0xFFFFFFFF)), std::pair(std::wstring(text), number));
    EXPECT_TRUE(storage.SetString("8-bit", "abc") && storage.SetULong("gone", 6) && storage.Delete("GONE"));
    EXPECT_EQ("abc", Stored(HKEY_LOCAL_MACHINE, L"New", L"8-bit"));
    EXPECT_EQ("absent", Stored(HKEY_LOCAL_MACHINE, L"New", L"gone"));
}
