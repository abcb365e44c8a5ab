#include "CrossProductStorage.h"
#include "Reports.h"

#include <functional>

using namespace scankelv;

namespace
{

using Texts = std::vector<std::string>;

using test::numberExpression, test::queryExpression, test::setExpression, test::stringExpression;
constexpr char nameExpression[] = "::PtrIsGoodString(key_name, 260)";

struct Storage : testing::Test
{
    Storage()
    {
        EXPECT_TRUE(writer.Open(UserHive, OLESTR("Software\\Storage"), AccessReadWrite));
        EXPECT_TRUE(writer.SetString(OLESTR("text"), OLESTR("some text")));
        EXPECT_TRUE(writer.SetULong(OLESTR("number"), 5));
        EXPECT_TRUE(reader.Open(UserHive, "Software\\Storage", AccessRead));
    }

    test::PrivateRegistry registry;
    CrossProductStorage writer, reader, closed;
};

TEST_F(Storage, EveryFailedCheckReportsInItsOrder)
{
    WCHAR text[4];
    DWORD number = 77;
    const WCHAR* const noName = nullptr;
    const struct
    {
        const char* name;
        std::function<bool()> act;
        Texts expressions;
    } cases[] = {
        {"GetString closed", [&] { return closed.GetString(noName, nullptr, 0); }, {"IsValid()"}},
        {"GetULong closed", [&] { return closed.GetULong<char>(nullptr, nullptr); }, {"IsValid()"}},
        {"SetString closed", [&] { return closed.SetString<char>(nullptr, nullptr); }, {"IsValid()"}},
        {"SetULong closed", [&] { return closed.SetULong(noName, 1); }, {"IsValid()"}},
        {"Delete closed", [&] { return closed.Delete(nullptr); }, {"IsValid()"}},
        {"name", [&] { return closed.ParametersOK(noName); }, {nameExpression}},
        {"GetString name",
         [&] { return reader.GetString(noName, text, 4); },
         {nameExpression, "ParametersOK( key_name)"}},
        {"GetULong name",
         [&] { return reader.GetULong(noName, &number); },
         {nameExpression, "ParametersOK( key_name )"}},
        {"SetString name",
         [&] { return writer.SetString<char>(nullptr, ""); },
         {nameExpression, "ParametersOK( key_name )"}},
        {"SetULong name",
         [&] { return writer.SetULong<char>(nullptr, 1); },
         {nameExpression, "ParametersOK( key_name )"}},
        {"Delete name", [&] { return writer.Delete(nullptr); }, {nameExpression, "ParametersOK( key_name )"}},
        {"GetString buffer",
         [&] { return reader.GetString(OLESTR("text"), nullptr, 4); },
         {"::PtrIsGoodWrite(value, buffer_size_chars * sizeof(CharType) )"}},
        {"GetULong number",
         [&] { return reader.GetULong("number", nullptr); },
         {"::PtrIsGoodWrite(value, sizeof (*value) )"}},
        {"SetString value", [&] { return writer.SetString(OLESTR("x"), noName); }, {"::PtrIsGoodString(value, 260 )"}},
        {"GetString room",
         [&] { return reader.GetString(OLESTR("text"), text, 4); },
         {queryExpression, stringExpression,
          "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )"}},
        {"GetString type",
         [&] { return reader.GetString(OLESTR("number"), text, 4); },
         {stringExpression, "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )"}},
        {"GetULong missing",
         [&] { return reader.GetULong("none", &number); },
         {queryExpression, numberExpression, "m_parent_key.QueryDWORDValue( key_name, value )"}},
        {"SetString right",
         [&] { return reader.SetString(OLESTR("x"), OLESTR("")); },
         {setExpression, "m_parent_key.SetStringValueNoExpand( key_name, value )"}},
        {"SetULong right",
         [&] { return reader.SetULong("x", 1); },
         {setExpression, "m_parent_key.SetDWORDValue( key_name, value )"}},
        {"Delete missing",
         [&] { return writer.Delete("none"); },
         {"RegDeleteValueImpl(m_hKey, lvalue)", "m_parent_key.DeleteValue( key_name )"}},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        const test::DebugConsoleCapture console;
        ::SetLastError(ERROR_INVALID_DATA);
        EXPECT_FALSE(row.act());
        EXPECT_EQ(row.expressions, test::ExpressionsIn(console.Text()));
        // A check of the last error shows the thread's own code, which the registry does not touch.
        const std::vector<test::Report> reports = test::ReportsIn(console.Text());
        if (!reports.empty() && reports.back().expression.starts_with("m_parent_key"))
        {
            EXPECT_EQ(test::SystemText(ERROR_INVALID_DATA), reports.back().context);
        }
    }
    EXPECT_EQ(77U, number);
}

TEST_F(Storage, OpensByHiveAndAccess)
{
    const struct
    {
        int hive, access;
        bool opens; ///< a key that is missing
        Texts expressions;
        bool writes, reads; ///< afterwards
    } cases[] = {
        {UserHive, AccessRead, false, {"keyOpenResult"}, false, false},
        {SystemHive, AccessRead, false, {"keyOpenResult"}, false, false},
        {UserHive, AccessWrite, true, {"keyOpenResult"}, true, false},
        {SystemHive, AccessReadWrite, true, {"keyOpenResult"}, true, true},
        {5, AccessRead, false, {"keyOpenResult"}, false, false},
        {2, AccessWrite, false, {"keyOpenResult", "createKeyResult"}, false, false},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(testing::Message() << row.hive << ' ' << row.access);
        const std::string path = Format<char>("Software\\New%d%d", row.hive, row.access);
        const test::DebugConsoleCapture console;
        CrossProductStorage storage(row.hive, path.c_str(), row.access);
        EXPECT_EQ(row.opens, storage.IsValid());
        EXPECT_EQ(row.expressions, test::ExpressionsIn(console.Text()));
        EXPECT_EQ(row.writes, storage.SetULong("x", 1));
        DWORD number = 0;
        EXPECT_EQ(row.reads, storage.GetULong("x", &number));
    }
    // Opening again leaves the first key, also when the second does not open.
    EXPECT_FALSE(writer.Open(UserHive, OLESTR("Software\\None"), AccessRead));
    EXPECT_FALSE(writer.IsValid());
}

TEST_F(Storage, LongAndEmptyTextsAreKeptWhole)
{
    for (const std::size_t length : {0U, 259U, 260U, 300U, 5000U})
    {
        SCOPED_TRACE(length);
        const test::Wide text(length, WCHAR(0xE4));
        test::Wide read(length + 1, 'x');
        EXPECT_TRUE(writer.SetString(OLESTR("long"), text.c_str()));
        EXPECT_TRUE(reader.GetString(OLESTR("long"), read.data(), static_cast<DWORD>(read.size())));
        EXPECT_EQ(text + WCHAR(), read);
    }
    DWORD number = 0;
    EXPECT_TRUE(writer.SetULong("narrow", 0xFFFFFFFE) && reader.GetULong(OLESTR("narrow"), &number));
    EXPECT_EQ(0xFFFFFFFE, number);
    EXPECT_TRUE(writer.Delete("narrow"));
    EXPECT_FALSE(reader.GetULong("narrow", &number));
}

} // namespace
