// Registry keys and the storages that are made of them.
#include "CrossProductStorage.h"
#include "Reports.h"

#include <functional>
#include <map>

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
    WCHAR text[10];
    DWORD number = 77, length = 10;
    const WCHAR* const none = nullptr;
    RegistryKey noKey;
    const std::map<std::string, std::function<bool()>> acts = {
        {"closed.GetString", [&] { return closed.GetString(none, nullptr, 0); }},
        {"closed.GetULong", [&] { return closed.GetULong<char>(nullptr, nullptr); }},
        {"closed.SetString", [&] { return closed.SetString<char>(nullptr, nullptr); }},
        {"closed.SetULong", [&] { return closed.SetULong(none, 1); }},
        {"closed.Delete", [&] { return closed.Delete(nullptr); }},
        {"GetString of null", [&] { return reader.GetString(none, text, 4); }},
        {"GetULong of null", [&] { return reader.GetULong(none, &number); }},
        {"SetString of null", [&] { return writer.SetString<char>(nullptr, ""); }},
        {"SetULong of null", [&] { return writer.SetULong<char>(nullptr, 1); }},
        {"Delete of null", [&] { return writer.Delete(nullptr); }},
        {"GetString to null", [&] { return reader.GetString(OLESTR("text"), nullptr, 4); }},
        {"GetULong to null", [&] { return reader.GetULong("number", nullptr); }},
        {"SetString to null", [&] { return writer.SetString(OLESTR("x"), none); }},
        {"GetString, missing", [&] { return reader.GetString(OLESTR("none"), text, 10); }},
        {"GetString, too long", [&] { return reader.GetString(OLESTR("text"), text, 10); }},
        {"GetString, a number", [&] { return reader.GetString(OLESTR("number"), text, 10); }},
        {"GetString, REG_EXPAND_SZ", [&] { return reader.GetString(OLESTR("expand"), text, 10); }},
        {"GetULong, missing", [&] { return reader.GetULong("none", &number); }},
        {"GetULong, too long", [&] { return reader.GetULong(OLESTR("text"), &number); }},
        {"GetULong, a text", [&] { return reader.GetULong(OLESTR("letter"), &number); }},
        {"SetString to a reader", [&] { return reader.SetString(OLESTR("x"), OLESTR("")); }},
        {"SetULong to a reader", [&] { return reader.SetULong("x", 1); }},
        {"Delete, missing", [&] { return writer.Delete("none"); }},
        {"Open, missing", [&] { return noKey.Open(HKEY_CURRENT_USER, "Software\\None", KEY_READ); }},
        {"Open of null", [&] { return noKey.Open(HKEY(), OLESTR("x"), KEY_READ); }},
        {"Create", [&] { return noKey.Create<char>(nullptr, "x", nullptr, 0, KEY_WRITE, nullptr, nullptr); }},
        {"noKey.SetDWORDValue", [&] { return noKey.SetDWORDValue("x", 1); }},
        {"SetStringValue to null", [&] { return key.SetStringValueNoExpand<char>("x", nullptr); }},
        {"QueryStringValue", [&] { return key.QueryStringValue(OLESTR("expand"), text, &length); }},
    };
    ExpectAnswers("unit/data/FailedChecks.txt", [&](const std::string& act) {
        const DebugConsoleCapture console;
        ::SetLastError(ERROR_INVALID_DATA); // the registry leaves it alone
        EXPECT_FALSE(acts.at(act)());
        std::string answer;
        for (Report& report : ReportsIn(console.Text()))
        {
            for (const DWORD code : {2U, 5U, 6U, 13U, 234U})
                report.context = report.context == SystemText(code) ? Format<char>("error %lu", code) : report.context;
            answer += report.expression + " -- " + report.context + "\n";
        }
        return answer;
    });
    EXPECT_EQ(77U, number + length);
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
    const std::tuple<int, int, std::string> rows[] = {
        // of a missing key: does it open, write, read afterwards
        {UserHive, AccessRead, "000 keyOpenResult "},  {SystemHive, AccessRead, "000 keyOpenResult "},
        {UserHive, AccessWrite, "110 keyOpenResult "}, {SystemHive, AccessReadWrite, "111 keyOpenResult "},
        {5, AccessRead, "000 keyOpenResult "},         {2, AccessWrite, "000 keyOpenResult createKeyResult "}};
    for (const auto& [hive, access, expected] : rows)
    {
        const DebugConsoleCapture console;
        CrossProductStorage storage(hive, Format<char>("Software\\New%d%d", hive, access).c_str(), access);
        const std::string reports = ReportedExpressions(console);
        const bool opens = storage.IsValid(), writes = storage.SetULong("x", 1);
        DWORD number = 0;
        EXPECT_EQ(expected, Format<char>("%d%d%d %s", opens, writes, storage.GetULong("x", &number), reports));
    }
    // Opening again leaves the first key, also when the second does not open.
    EXPECT_FALSE(writer.Open(UserHive, OLESTR("Software\\None"), AccessRead));
    EXPECT_FALSE(writer.IsValid());
}

TEST_F(Storage, ValuesAreReadAsStored)
{
    const std::tuple<const WCHAR*, DWORD, std::string> rows[] = {
        // name, characters told, bytes
        {OLESTR("text"), 21, Utf16Bytes(OLESTR("twenty characters...")) + std::string(2, '\0')},
        {OLESTR("open"), 3, Utf16Bytes(OLESTR("abc"))},
        {OLESTR("odd"), 2, Utf16Bytes(OLESTR("ab")) + "c"}};
    for (const auto& [name, told, expected] : rows)
    {
        Wide buffer(30, WCHAR(0x2323));
        DWORD length = 30;
        EXPECT_TRUE(key.QueryStringValue(name, buffer.data(), &length));
        EXPECT_EQ(told, length);
        const std::string bytes = Utf16Bytes(buffer);
        EXPECT_EQ(expected, bytes.substr(0, expected.size()));
        EXPECT_EQ('#', bytes[expected.size() + 2]) << "written behind the value";
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
    BYTE data[64];
    DWORD type = 0, bytes = sizeof(data), disposition = 0;
    ASSERT_TRUE(key.QueryValue("narrow", &type, data, &bytes));
    EXPECT_EQ(4U, bytes); // an 8-bit reader gets 8-bit characters
    EXPECT_TRUE(writer.Delete("TEXT"));
    EXPECT_TRUE(key.Create(HKEY_CURRENT_USER, "software\\STORAGE", "class", 0, KEY_READ, nullptr, &disposition));
    EXPECT_EQ(static_cast<DWORD>(REG_OPENED_EXISTING_KEY), disposition);
    EXPECT_EQ(
        "[Software\\Storage]\r\nexpand = 2 6100620063000000\r\nletter = 1 'a'\r\nnarrow = 1 'abc'\r\n"
        "narrow number = 4 04030201\r\nnumber = 4 FFFFFFFF\r\nodd = 1 6100620063\r\nopen = 1 610062006300\r\n"
        "short = 4 0102\r\n",
        StoredText(HKEY_CURRENT_USER, OLESTR("Software\\Storage")));
}

} // namespace
