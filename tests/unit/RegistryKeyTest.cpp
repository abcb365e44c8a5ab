#include "RegistryKey.h"
#include "Reports.h"

#include <functional>

using namespace scankelv;

namespace
{

using test::numberExpression, test::queryExpression, test::setExpression, test::stringExpression;

struct Key : testing::Test
{
    Key()
    {
        EXPECT_TRUE(key.Create<WCHAR>(
            HKEY_CURRENT_USER, OLESTR("Software\\Key"), nullptr, 0, KEY_ALL_ACCESS, nullptr, nullptr));
        EXPECT_TRUE(key.SetStringValueNoExpand(OLESTR("text"), OLESTR("twenty characters...")));
        EXPECT_TRUE(key.SetStringValueNoExpand(OLESTR("letter"), OLESTR("a"))); // as long as a number
        EXPECT_TRUE(key.SetDWORDValue(OLESTR("number"), 0xFFFFFFFF));
        EXPECT_TRUE(key.SetValue(OLESTR("expand"), REG_EXPAND_SZ, OLESTR("abc"), 4 * sizeof(WCHAR)));
        EXPECT_TRUE(key.SetValue(OLESTR("open"), REG_SZ, OLESTR("abcd"), 3 * sizeof(WCHAR)));
        EXPECT_TRUE(key.SetValue(OLESTR("odd"), REG_SZ, OLESTR("abcd"), 5));
        EXPECT_TRUE(key.SetValue(OLESTR("short"), REG_DWORD, "\x01\x02", 2));
    }

    test::PrivateRegistry registry;
    RegistryKey key;
};

TEST_F(Key, EveryFailureIsReportedOnceByEachMemberThatSeesIt)
{
    const std::string missing = test::SystemText(ERROR_FILE_NOT_FOUND);
    const std::string badHandle = test::SystemText(ERROR_INVALID_HANDLE);
    WCHAR text[10];
    DWORD length = 10, number = 77;
    RegistryKey closed, readOnly;
    ASSERT_TRUE(readOnly.Open(HKEY_CURRENT_USER, "Software\\Key", KEY_READ));
    const struct
    {
        const char* name;
        std::function<bool()> act;
        std::vector<std::pair<std::string, std::string>> reports; ///< expression and context
    } cases[] = {
        {"open",
         [&] { return closed.Open(HKEY_CURRENT_USER, "Software\\None", KEY_READ); },
         {{"keyOpenResult", missing}}},
        {"open wide", [&] { return closed.Open(HKEY(), OLESTR("x"), KEY_READ); }, {{"keyOpenResult", badHandle}}},
        {"create",
         [&] { return closed.Create<char>(nullptr, "x", nullptr, 0, KEY_WRITE, nullptr, nullptr); },
         {{"createKeyResult", badHandle}}},
        {"text missing",
         [&] { return key.QueryStringValue(OLESTR("none"), text, &length); },
         {{queryExpression, missing}, {stringExpression, ""}}},
        {"text too long",
         [&] { return key.QueryStringValue(OLESTR("text"), text, &(length = 10)); },
         {{queryExpression, test::SystemText(ERROR_MORE_DATA)}, {stringExpression, ""}}},
        {"text expandable",
         [&] { return key.QueryStringValue(OLESTR("expand"), text, &(length = 10)); },
         {{stringExpression, ""}}},
        {"number missing",
         [&] { return key.QueryDWORDValue("none", &number); },
         {{queryExpression, missing}, {numberExpression, ""}}},
        {"number is text",
         [&] { return key.QueryDWORDValue(OLESTR("text"), &number); },
         {{queryExpression, test::SystemText(ERROR_MORE_DATA)}, {numberExpression, ""}}},
        {"number is a letter",
         [&] { return key.QueryDWORDValue(OLESTR("letter"), &number); },
         {{numberExpression, ""}}},
        {"set closed", [&] { return closed.SetDWORDValue("x", 1); }, {{"IsValid()", "invariant"}}},
        {"set without right",
         [&] { return readOnly.SetDWORDValue(OLESTR("x"), 1); },
         {{setExpression, test::SystemText(ERROR_ACCESS_DENIED)}}},
        {"set null",
         [&] { return key.SetStringValueNoExpand<char>("x", nullptr); },
         {{"::PtrIsGoodString(value, 5)", "bad argument"}}},
        {"delete", [&] { return key.DeleteValue("none"); }, {{"RegDeleteValueImpl(m_hKey, lvalue)", missing}}},
        {"close closed", [&] { return !closed.Close(); }, {}},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        const test::DebugConsoleCapture console;
        EXPECT_FALSE(row.act());
        std::vector<std::pair<std::string, std::string>> reports;
        for (const test::Report& report : test::ReportsIn(console.Text()))
            reports.emplace_back(report.expression, report.context);
        EXPECT_EQ(row.reports, reports);
    }
    EXPECT_EQ(0U, length);
    EXPECT_EQ(77U, number);
    EXPECT_FALSE(closed.IsValid());
}

TEST_F(Key, RefusedCloseKeepsTheHandleAndItsPlaceIsTheMember)
{
    RegistryKey twice;
    ASSERT_TRUE(twice.Open(HKEY_CURRENT_USER, "Software\\Key", KEY_READ));
    const HKEY* const handle = reinterpret_cast<const HKEY*>(&twice); // the handle is its only field
    ASSERT_EQ(ERROR_SUCCESS, ::RegCloseKey(*handle));
    const test::DebugConsoleCapture console;
    EXPECT_FALSE(twice.Close());
    EXPECT_TRUE(twice.IsValid());
    const std::vector<test::Report> reports = test::ReportsIn(console.Text());
    ASSERT_EQ(1U, reports.size());
    EXPECT_EQ("::RegCloseKey( m_hKey )", reports[0].expression);
    EXPECT_NE(std::string::npos, reports[0].signature.find("RegistryKey::Close()")) << reports[0].signature;
}

TEST_F(Key, StringsAreReadAsStored)
{
    const struct
    {
        const WCHAR* name;
        DWORD length; ///< characters told
        std::string bytes;
    } cases[] = {
        {OLESTR("text"), 21, test::Utf16Bytes(OLESTR("twenty characters...")) + std::string(2, '\0')},
        {OLESTR("open"), 3, test::Utf16Bytes(OLESTR("abc"))},
        {OLESTR("odd"), 2, test::Utf16Bytes(OLESTR("ab")) + "c"},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(test::ToUtf8(row.name));
        test::Wide buffer(30, WCHAR(0x2323));
        DWORD length = 30;
        EXPECT_TRUE(key.QueryStringValue(row.name, buffer.data(), &length));
        EXPECT_EQ(row.length, length);
        const std::string bytes = test::Utf16Bytes(buffer);
        EXPECT_EQ(row.bytes, bytes.substr(0, row.bytes.size()));
        EXPECT_EQ('#', bytes[row.bytes.size() + 2]) << "written behind the value";
    }
    DWORD number = 0x77777777;
    EXPECT_TRUE(key.QueryDWORDValue(OLESTR("short"), &number)); // two bytes of the type: the others keep their own
    EXPECT_EQ(0x77770201U, number);
}

TEST_F(Key, BothWidthsWriteTheSameValues)
{
    DWORD type = 0, bytes = 0, disposition = 0;
    BYTE data[64];
    ASSERT_TRUE(key.SetStringValueNoExpand("narrow", "abc"));
    ASSERT_TRUE(key.SetDWORDValue("narrow number", 0x01020304));
    const struct
    {
        const char* name;
        DWORD type, bytes;
        std::string data;
    } cases[] = {
        {"narrow", REG_SZ, 8, test::Utf16Bytes(OLESTR("abc")) + std::string(2, '\0')},
        {"narrow number", REG_DWORD, 4, "\x04\x03\x02\x01"},
        {"number", REG_DWORD, 4, "\xFF\xFF\xFF\xFF"},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(key.QueryValue(test::ToWide(row.name).c_str(), &type, data, &(bytes = sizeof(data))));
        EXPECT_EQ(row.type, type);
        ASSERT_EQ(row.bytes, bytes);
        EXPECT_EQ(row.data, std::string(data, data + bytes));
    }
    ASSERT_TRUE(key.QueryValue("narrow", &type, data, &(bytes = sizeof(data))));
    EXPECT_EQ(4U, bytes); // an 8-bit reader gets 8-bit characters
    EXPECT_TRUE(key.DeleteValue("NARROW"));
    RegistryKey again;
    EXPECT_TRUE(again.Create(HKEY_CURRENT_USER, "software\\KEY", "class", 0, KEY_READ, nullptr, &disposition));
    EXPECT_EQ(static_cast<DWORD>(REG_OPENED_EXISTING_KEY), disposition);
}

} // namespace
