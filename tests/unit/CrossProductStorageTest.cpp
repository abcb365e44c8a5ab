// Registry keys and the storages that are made of them.
#include "CrossProductStorage.h"
#include "Reports.h"

#include <functional>

using namespace scankelv;
using namespace test;

namespace
{

struct Storage : testing::Test
{
    Storage()
    {
        EXPECT_TRUE(writer.Open(UserHive, OLESTR("Software\\Storage"), AccessReadWrite));
        EXPECT_TRUE(writer.SetString(OLESTR("text"), OLESTR("twenty characters...")));
        EXPECT_TRUE(writer.SetULong(OLESTR("number"), 0xFFFFFFFF));
        EXPECT_TRUE(reader.Open(UserHive, "Software\\Storage", AccessRead));
        EXPECT_TRUE(key.Open(HKEY_CURRENT_USER, "Software\\Storage", KEY_ALL_ACCESS));
        EXPECT_TRUE(key.SetValue(OLESTR("letter"), REG_SZ, OLESTR("a"), 2 * sizeof(WCHAR)));
        EXPECT_TRUE(key.SetValue(OLESTR("expand"), REG_EXPAND_SZ, OLESTR("abc"), 4 * sizeof(WCHAR)));
        EXPECT_TRUE(key.SetValue(OLESTR("open"), REG_SZ, OLESTR("abcd"), 3 * sizeof(WCHAR)));
        EXPECT_TRUE(key.SetValue(OLESTR("odd"), REG_SZ, OLESTR("abcd"), 5));
        EXPECT_TRUE(key.SetValue(OLESTR("short"), REG_DWORD, "\x01\x02", 2));
    }

    PrivateRegistry registry;
    CrossProductStorage writer, reader, closed;
    RegistryKey key;
};

TEST_F(Storage, EveryFailedCheckReportsInItsOrder)
{
    const std::string name = "::PtrIsGoodString(key_name, 260) ParametersOK( key_name ) ";
    const std::string query = std::string(queryExpression) + " ", set = std::string(setExpression) + " ";
    const std::string isText = std::string(stringExpression) + " ", isNumber = std::string(numberExpression) + " ";
    const std::string getText = "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required ) ";
    const std::string getNumber = "m_parent_key.QueryDWORDValue( key_name, value ) ";
    const std::string missing = SystemText(ERROR_FILE_NOT_FOUND), more = SystemText(ERROR_MORE_DATA);
    const std::string denied = SystemText(ERROR_ACCESS_DENIED), badHandle = SystemText(ERROR_INVALID_HANDLE);
    WCHAR text[10];
    DWORD number = 77, length = 10;
    const WCHAR* const none = nullptr;
    RegistryKey noKey;
    const struct
    {
        std::function<bool()> act;
        std::string expressions;
        std::string context = ""; ///< of the first report, when it is looked at
    } rows[] = {
        {[&] { return closed.GetString(none, nullptr, 0); }, "IsValid() "},
        {[&] { return closed.GetULong<char>(nullptr, nullptr); }, "IsValid() "},
        {[&] { return closed.SetString<char>(nullptr, nullptr); }, "IsValid() "},
        {[&] { return closed.SetULong(none, 1); }, "IsValid() "},
        {[&] { return closed.Delete(nullptr); }, "IsValid() "},
        {[&] { return reader.GetString(none, text, 4); }, "::PtrIsGoodString(key_name, 260) ParametersOK( key_name) "},
        {[&] { return reader.GetULong(none, &number); }, name},
        {[&] { return writer.SetString<char>(nullptr, ""); }, name},
        {[&] { return writer.SetULong<char>(nullptr, 1); }, name},
        {[&] { return writer.Delete(nullptr); }, name},
        {[&] { return reader.GetString(OLESTR("text"), nullptr, 4); },
         "::PtrIsGoodWrite(value, buffer_size_chars * sizeof(CharType) ) "},
        {[&] { return reader.GetULong("number", nullptr); }, "::PtrIsGoodWrite(value, sizeof (*value) ) "},
        {[&] { return writer.SetString(OLESTR("x"), none); }, "::PtrIsGoodString(value, 260 ) "},
        {[&] { return reader.GetString(OLESTR("none"), text, 10); }, query + isText + getText, missing},
        {[&] { return reader.GetString(OLESTR("text"), text, 10); }, query + isText + getText, more},
        {[&] { return reader.GetString(OLESTR("number"), text, 10); }, isText + getText},
        {[&] { return reader.GetString(OLESTR("expand"), text, 10); }, isText + getText},
        {[&] { return reader.GetULong("none", &number); }, query + isNumber + getNumber, missing},
        {[&] { return reader.GetULong(OLESTR("text"), &number); }, query + isNumber + getNumber, more},
        {[&] { return reader.GetULong(OLESTR("letter"), &number); }, isNumber + getNumber},
        {[&] { return reader.SetString(OLESTR("x"), OLESTR("")); },
         set + "m_parent_key.SetStringValueNoExpand( key_name, value ) ", denied},
        {[&] { return reader.SetULong("x", 1); }, set + "m_parent_key.SetDWORDValue( key_name, value ) ", denied},
        {[&] { return writer.Delete("none"); },
         "RegDeleteValueImpl(m_hKey, lvalue) m_parent_key.DeleteValue( key_name ) ", missing},
        {[&] { return noKey.Open(HKEY_CURRENT_USER, "Software\\None", KEY_READ); }, "keyOpenResult ", missing},
        {[&] { return noKey.Open(HKEY(), OLESTR("x"), KEY_READ); }, "keyOpenResult ", badHandle},
        {[&] { return noKey.Create<char>(nullptr, "x", nullptr, 0, KEY_WRITE, nullptr, nullptr); }, "createKeyResult ",
         badHandle},
        {[&] { return noKey.SetDWORDValue("x", 1); }, "IsValid() ", "invariant"},
        {[&] { return key.SetStringValueNoExpand<char>("x", nullptr); }, "::PtrIsGoodString(value, 5) ",
         "bad argument"},
        {[&] { return key.QueryStringValue(OLESTR("expand"), text, &length); }, isText},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        const DebugConsoleCapture console;
        ::SetLastError(ERROR_INVALID_DATA);
        EXPECT_FALSE(row.act());
        ASSERT_EQ(row.expressions, ReportedExpressions(console));
        const std::vector<Report> reports = ReportsIn(console.Text());
        EXPECT_EQ(row.context.empty() ? reports[0].context : row.context, reports[0].context);
        // A check of the last error shows the thread's own code, which the registry does not touch.
        if (reports.back().expression.starts_with("m_parent_key"))
        {
            EXPECT_EQ(SystemText(ERROR_INVALID_DATA), reports.back().context);
        }
    }
    EXPECT_EQ(0U, length);
    EXPECT_EQ(77U, number);
    EXPECT_FALSE(noKey.IsValid());
    EXPECT_TRUE(noKey.Close());
}

TEST_F(Storage, RefusedCloseKeepsTheHandleAndItsPlaceIsTheMember)
{
    const HKEY* const handle = reinterpret_cast<const HKEY*>(&key); // the handle is its only field
    ASSERT_EQ(ERROR_SUCCESS, ::RegCloseKey(*handle));
    const DebugConsoleCapture console;
    EXPECT_FALSE(key.Close());
    EXPECT_TRUE(key.IsValid());
    EXPECT_EQ("::RegCloseKey( m_hKey ) ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("RegistryKey::Close()")) << console.Text();
}

TEST_F(Storage, OpensByHiveAndAccess)
{
    const struct
    {
        int hive, access;
        bool opens; ///< a key that is missing
        const char* expressions;
        bool writes, reads; ///< afterwards
    } rows[] = {
        {UserHive, AccessRead, false, "keyOpenResult ", false, false},
        {SystemHive, AccessRead, false, "keyOpenResult ", false, false},
        {UserHive, AccessWrite, true, "keyOpenResult ", true, false},
        {SystemHive, AccessReadWrite, true, "keyOpenResult ", true, true},
        {5, AccessRead, false, "keyOpenResult ", false, false},
        {2, AccessWrite, false, "keyOpenResult createKeyResult ", false, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.hive << ' ' << row.access);
        const DebugConsoleCapture console;
        CrossProductStorage storage(
            row.hive, Format<char>("Software\\New%d%d", row.hive, row.access).c_str(), row.access);
        EXPECT_EQ(row.opens, storage.IsValid());
        EXPECT_EQ(row.expressions, ReportedExpressions(console));
        EXPECT_EQ(row.writes, storage.SetULong("x", 1));
        DWORD number = 0;
        EXPECT_EQ(row.reads, storage.GetULong("x", &number));
    }
    // Opening again leaves the first key, also when the second does not open.
    EXPECT_FALSE(writer.Open(UserHive, OLESTR("Software\\None"), AccessRead));
    EXPECT_FALSE(writer.IsValid());
}

TEST_F(Storage, StringsAreReadAsStored)
{
    const struct
    {
        const WCHAR* name;
        DWORD length; ///< characters told
        std::string bytes;
    } rows[] = {
        {OLESTR("text"), 21, Utf16Bytes(OLESTR("twenty characters...")) + std::string(2, '\0')},
        {OLESTR("open"), 3, Utf16Bytes(OLESTR("abc"))},
        {OLESTR("odd"), 2, Utf16Bytes(OLESTR("ab")) + "c"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(ToUtf8(row.name));
        Wide buffer(30, WCHAR(0x2323));
        DWORD length = 30;
        EXPECT_TRUE(key.QueryStringValue(row.name, buffer.data(), &length));
        EXPECT_EQ(row.length, length);
        const std::string bytes = Utf16Bytes(buffer);
        EXPECT_EQ(row.bytes, bytes.substr(0, row.bytes.size()));
        EXPECT_EQ('#', bytes[row.bytes.size() + 2]) << "written behind the value";
    }
    DWORD number = 0x77777777;
    EXPECT_TRUE(key.QueryDWORDValue(OLESTR("short"), &number)); // two bytes of the type: the others keep their own
    EXPECT_EQ(0x77770201U, number);
    for (const std::size_t length : {0U, 259U, 260U, 5000U})
    {
        const Wide text(length, WCHAR(0xE4));
        Wide read(length + 1, 'x');
        EXPECT_TRUE(writer.SetString(OLESTR("long"), text.c_str()));
        EXPECT_TRUE(reader.GetString(OLESTR("long"), read.data(), static_cast<DWORD>(read.size())));
        EXPECT_EQ(text + WCHAR(), read);
    }
}

TEST_F(Storage, BothWidthsWriteTheSameValues)
{
    ASSERT_TRUE(writer.SetString("narrow", "abc") && writer.SetULong("narrow number", 0x01020304));
    const struct
    {
        const WCHAR* name;
        DWORD type;
        std::string data;
    } rows[] = {
        {OLESTR("narrow"), REG_SZ, Utf16Bytes(OLESTR("abc")) + std::string(2, '\0')},
        {OLESTR("narrow number"), REG_DWORD, "\x04\x03\x02\x01"},
        {OLESTR("number"), REG_DWORD, "\xFF\xFF\xFF\xFF"},
    };
    BYTE data[64];
    DWORD type = 0, bytes = 0, disposition = 0;
    for (const auto& row : rows)
    {
        ASSERT_TRUE(key.QueryValue(row.name, &type, data, &(bytes = sizeof(data))));
        EXPECT_EQ(row.type, type);
        EXPECT_EQ(row.data, std::string(data, data + bytes));
    }
    ASSERT_TRUE(key.QueryValue("narrow", &type, data, &(bytes = sizeof(data))));
    EXPECT_EQ(4U, bytes); // an 8-bit reader gets 8-bit characters
    EXPECT_TRUE(writer.Delete("NARROW"));
    EXPECT_FALSE(key.QueryValue(OLESTR("narrow"), &type, data, &bytes));
    EXPECT_TRUE(key.Create(HKEY_CURRENT_USER, "software\\STORAGE", "class", 0, KEY_READ, nullptr, &disposition));
    EXPECT_EQ(static_cast<DWORD>(REG_OPENED_EXISTING_KEY), disposition);
}

} // namespace
