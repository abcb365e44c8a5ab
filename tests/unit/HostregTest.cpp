// hostreg: its command language, and the .reg text format.
#include "host/Linux.h"
#include "HostregProgram.h"
#include "RegText.h"

#include <tuple>

namespace
{

using hostreg::ReadRegText;
using hostreg::RegChange;
using hostreg::RegTextError;
using test::HostregResult;
using test::RunHostreg;
using namespace std::literals;
using Words = std::vector<std::string>;

const std::string header = "Windows Registry Editor Version 5.00\r\n\r\n";
constexpr const char* done = "The operation completed successfully.\n";
constexpr const char* missing = "ERROR: The system was unable to find the specified registry key or value.\n";
constexpr const char* cancelled = "ERROR: The operation was cancelled by the user.\n";

std::string Utf16(std::u16string_view text)
{
    return test::Utf16Bytes(text);
}

TEST(Hostreg, SpeaksTheCommandLanguage)
{
    const std::string key = "\nHKEY_CURRENT_USER\\Software\\T\n", sub = "\nHKEY_CURRENT_USER\\Software\\T\\Sub\n";
    const std::string syntax = "ERROR: Invalid syntax. Specify valid ", sure = "Value N exists, overwrite (Yes/No)? ";
    const std::string deletion = "Permanently delete the registry key HKEY_CURRENT_USER\\Software\\T (Yes/No)? ";
    const std::string all =
        "    Name    REG_SZ    a \xC3\xA4\n    N    REG_DWORD    0x1a\n    max    REG_DWORD    0xffffffff\n"
        "    q    REG_QWORD    0xffffffffffffffff\n    m    REG_MULTI_SZ    a\\0b c\n"
        "    bin    REG_BINARY    00AFF1\n    e    REG_EXPAND_SZ    %TEMP%\\x\n"
        "    (Default)    REG_SZ    dflt\n";
    // In order: each row sees what the rows before it left. "T" stands for the key HKCU\Software\T.
    const struct
    {
        Words arguments;
        std::string out, err, input = {};
    } rows[] = {
        {{"query", "T"}, "", missing},
        {{"add", "T\\Sub\\", "/f"}, done, ""},
        {{"query", "T"}, sub, ""},
        {{"ADD", "hkey_current_user\\software\\t", "/V", "Name", "/D", "a \xC3\xA4"}, done, ""},
        {{"add", "T", "/v", "N", "/t", "reg_dword", "/d", "26"}, done, ""},
        {{"add", "T", "/v", "max", "/t", "REG_DWORD", "/d", "0xFFffFFff"}, done, ""},
        {{"add", "T", "/v", "q", "/t", "REG_QWORD", "/d", "18446744073709551615"}, done, ""},
        {{"add", "T", "/v", "m", "/t", "REG_MULTI_SZ", "/d", "a\\0b c\\0"}, done, ""},
        {{"add", "T", "/v", "bin", "/t", "REG_BINARY", "/d", "0aff1"}, done, ""},
        {{"add", "T", "/v", "e", "/t", "REG_EXPAND_SZ", "/d", "%TEMP%\\x"}, done, ""},
        {{"add", "T", "/ve", "/d", "dflt"}, done, ""},
        {{"add", "T", "/v", "x", "/t", "REG_DWORD", "/d", "4294967296"}, "", syntax + "numeric value for '/d'.\n"},
        {{"add", "T", "/v", "x", "/t", "REG_BINARY", "/d", "0g"}, "", syntax + "binary value for '/d'.\n"},
        {{"add", "T", "/v", "x", "/t", "REG_FOO"}, "", syntax + "type for '/t'.\n"},
        {{"add", "T", "/v", "N", "/d", "new"}, sure + sure, cancelled, "maybe\nno\n"},
        {{"query", "T", "/s"}, key + all + sub + "\n", ""},
        {{"query", "T", "/v", "n"}, key + "    n    REG_DWORD    0x1a\n\n", ""},
        {{"query", "HKCU\\Software", "/v", "N", "/s"},
         key + "    N    REG_DWORD    0x1a\n\nEnd of search: 1 match(es) found.\n",
         ""},
        {{"query", "T", "/v", "zz"}, "", missing},
        {{"query", "T\\Sub", "/ve"}, sub + "    (Default)    REG_SZ    (value not set)\n\n", ""},
        {{"delete", "T", "/v", "zz", "/f"}, "", missing},
        {{"delete", "T", "/v", "q"}, "Delete the registry value q (Yes/No)? "s + done, "", "YES\n"},
        {{"delete", "T", "/ve", "/f"}, done, ""},
        {{"delete", "T"}, deletion, cancelled},
        {{"delete", "T", "/va", "/f"}, done, ""},
        {{"query", "T"}, sub, ""},
        {{"delete", "T", "/f"}, done, ""},
        {{"delete", "T", "/f"}, "", missing},
        {{"delete", "HKCU", "/f"}, "", "ERROR: Access is denied.\n"},
        {{"query", "HKZZ\\a"}, "", "ERROR: Invalid key name.\n"},
        {{"query", "HKCU\\\\a"}, "", "ERROR: Invalid key name.\n"},
        {{"import", "/no/such/file"}, "", "ERROR: The system cannot find the file /no/such/file.\n"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        Words words = row.arguments;
        if (words[1][0] == 'T')
            words[1] = "HKCU\\Software\\" + words[1];
        const HostregResult result = RunHostreg(words, row.input);
        EXPECT_EQ(row.err.empty() ? 0 : 1, result.exitCode);
        EXPECT_EQ(row.out, result.out);
        EXPECT_EQ(row.err, result.err);
    }
    for (const Words& words :
         {Words{},
          {"frob"},
          {"query"},
          {"query", "HKCU", "/v"},
          {"query", "HKCU", "/v", "a", "/ve"},
          {"query", "HKCU", "/s", "/s"},
          {"add", "HKCU\\a", "/s"},
          {"export", "HKCU\\a"},
          {"import", "a", "b"}})
    {
        const HostregResult result = RunHostreg(words);
        EXPECT_EQ(1, result.exitCode);
        EXPECT_TRUE(result.err.starts_with("ERROR: Invalid syntax. Usage:")) << testing::PrintToString(words);
    }
}

RegChange Key(std::u16string_view name, std::size_t line, RegChange::Kind kind = RegChange::Kind::openKey)
{
    return {kind, std::u16string(name), 0, "", line};
}
RegChange Value(std::u16string_view name, std::uint32_t type, std::string_view data, std::size_t line)
{
    return {RegChange::Kind::setValue, std::u16string(name), type, std::string(data), line};
}

TEST(Hostreg, ReadsEveryFormOfTheFormat)
{
    using enum RegChange::Kind;
    const std::pair<std::string, std::vector<RegChange>> rows[] = {
        {"Windows Registry Editor Version 5.00", {}},
        {"\xEF\xBB\xBF" + header + "[HKCU\\\xC3\xA4]", {Key(u"HKCU\\\u00E4", 3)}},
        {header + "[HKCU\\\xC3\xA4]\r\n", {Key(u"HKCU\\\u00E4", 3)}},
        {"\xFF\xFE" + Utf16(u"REGEDIT4\r\n[\xD800]"), {Key(u"\xD800", 2)}},
        {Utf16(u"REGEDIT4\n[k]\n"), {Key(u"k", 2)}},
        {"\xFE\xFF\0R\0E\0G\0E\0D\0I\0T\0004\0\n\0[\0k\0]"s, {Key(u"k", 2)}},
        {header + "; note\r[a]b]\n  ;[x]\r\n\r\n@=\"\" ; note\n[l] ;n",
         {Key(u"a]b", 4), Value(u"", 1, "\0\0"sv, 7), Key(u"l", 8)}},
        {header + "[k]\n\"a\\\"\\\\=\" = \"\\\\x\\\"\"",
         {Key(u"k", 3), Value(u"a\"\\=", 1, Utf16({u"\\x\"\0", 4}), 4)}},
        {header + "[k]\n\"a\"=\"x\r\ny\"\n@=\"z\"",
         {Key(u"k", 3), Value(u"a", 1, Utf16({u"x\r\ny\0", 5}), 4), Value(u"", 1, "z\0\0\0"sv, 6)}},
        {header + "[k]\n\"a\"=dword:0000001a\n\"b\"=DWORD:F\n\"d\"=hex(b):1,2",
         {Key(u"k", 3), Value(u"a", 4, "\x1A\0\0\0"sv, 4), Value(u"b", 4, "\x0F\0\0\0"sv, 5),
          Value(u"d", 11, "\1\2", 6)}},
        {header + "[k]\n\"a\"=hex:01,\\\r\n  02, 03,\\ \n\\\n04\n\"b\"=hex:\n\"c\"=hex(777):FF,\n",
         {Key(u"k", 3), Value(u"a", 3, "\1\2\3\4", 4), Value(u"b", 3, "", 8), Value(u"c", 0x777, "\xFF", 9)}},
        {"REGEDIT4\n[k]\n\"a\"=hex(2):c3,a4,00\n\"b\"=hex:c3",
         {Key(u"k", 2), Value(u"a", 2, "\xE4\0\0\0"sv, 3), Value(u"b", 3, "\xC3", 4)}},
        {header + "[-HKCU\\a]\n[k]\n\"a\"=-\n@=-",
         {Key(u"HKCU\\a", 3, deleteKey), Key(u"k", 4), Key(u"a", 5, deleteValue), Key(u"", 6, deleteValue)}},
    };
    for (const auto& [bytes, expected] : rows)
    {
        SCOPED_TRACE(bytes);
        std::vector<RegChange> changes;
        RegTextError error;
        EXPECT_TRUE(ReadRegText(bytes, changes, error)) << error.line << error.message;
        EXPECT_TRUE(expected == changes);
    }
    const std::tuple<const char*, std::size_t> malformed[] = {
        {"[k", 3},
        {"@=\"a\"", 3},
        {"[-k]\n@=\"a\"", 4},
        {"[k]\nstray", 4},
        {"[k]\n\"a\"", 4},
        {"[k]\n\"a=", 4},
        {"[k]\n\"a\"=\"open\n\n\n", 4},
        {"[k]\n\"a\"=\"\\n\"", 4},
        {"[k]\n\"a\"=\"x\"y", 4},
        {"[k]\n\"a\"=dword:", 4},
        {"[k]\n\"a\"=dword:123456789", 4},
        {"[k]\n\"a\"=hex:1,\\\n  100", 5},
        {"[k]\n\"a\"=hex:01 02", 4},
        {"[k]\n\"a\"=hex(g):01", 4},
        {"[k]\n\"a\"=hex:\\ 01", 4},
        {"[k]\n\"a\"=binary", 4},
    };
    for (const auto& [text, line] : malformed)
    {
        std::vector<RegChange> changes;
        RegTextError error;
        EXPECT_FALSE(ReadRegText(header + text, changes, error)) << text;
        EXPECT_EQ(line, error.line) << text;
        EXPECT_FALSE(error.message.empty());
        EXPECT_FALSE(ReadRegText("REGEDIT5\n", changes, error));
    }
}

class HostregFiles : public testing::Test
{
protected:
    test::TemporaryFolder m_folder;
    const std::string m_file = test::LinuxPath(m_folder.File("a.reg"));
};

TEST_F(HostregFiles, WritesTheFormatExactly)
{
    hostreg::RegTextWriter writer;
    EXPECT_FALSE(writer.Key(u"HKCU\\two\nlines"));
    ASSERT_TRUE(writer.Key(u"HKEY_CURRENT_USER\\K]"));
    std::vector<RegChange> expected{Key(u"HKEY_CURRENT_USER\\K]", 0)};
    const std::tuple<std::u16string, std::uint32_t, std::string, std::u16string_view> rows[] = {
        {u"", 1, Utf16({u"a\"\\\0", 4}), u"@=\"a\\\"\\\\\""},
        {u"q\"\\", 1, "\0\0"s, u"\"q\\\"\\\\\"=\"\""},
        {u"unterminated", 1, "a\0"s, u"\"unterminated\"=hex(1):61,00"},
        {u"odd", 1, "a\0\0"s, u"\"odd\"=hex(1):61,00,00"},
        {u"two ends", 1, "\0\0\0\0"s, u"\"two ends\"=hex(1):00,00,00,00"},
        {u"line end", 1, "\n\0\0\0"s, u"\"line end\"=hex(1):0a,00,00,00"},
        {u"\xDC00\x1;", 1, "\xFF\xDF\0\0"s, u"\"\xDC00\x1;\"=\"\xDFFF\""},
        {u"n", 4, "\x1A\0\0\xFF"s, u"\"n\"=dword:ff00001a"},
        {u"short", 4, "\x1A"s, u"\"short\"=hex(4):1a"},
        {u"none", 0, "", u"\"none\"=hex(0):"},
        {u"big", 0xFFFFFFFF, "\1"s, u"\"big\"=hex(ffffffff):01"},
        {u"Naaaa", 3, std::string(24, '\xBF'),
         u"\"Naaaa\"=hex:bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,bf,\\\r\n  bf,bf"},
    };
    std::u16string text = u"\xFEFFWindows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\K]]\r\n";
    for (const auto& [name, type, data, line] : rows)
    {
        writer.Value(name, type, data);
        expected.push_back(Value(name, type, data, 0));
        text.append(line).append(u"\r\n");
    }
    const std::string bytes = writer.Finish();
    EXPECT_EQ(Utf16(text + u"\r\n"), bytes);

    // Read back it says the same, and so it does after a way through the registry.
    std::vector<RegChange> changes;
    RegTextError error;
    ASSERT_TRUE(ReadRegText(bytes, changes, error)) << error.line << error.message;
    for (RegChange& change : changes)
        change.line = 0;
    EXPECT_TRUE(expected == changes);
    test::WriteFileBytes(m_folder.File("a.reg"), bytes);
    EXPECT_EQ(done, RunHostreg({"import", m_file}).out);
    test::WriteFileBytes(m_folder.File("a.reg"), "before");
    const std::string windowsPath = test::ToUtf8(m_folder.File("a.reg"));
    EXPECT_EQ(1, RunHostreg({"export", "HKCU\\K]", windowsPath}, "n\n").exitCode);
    EXPECT_EQ("before", test::FileText(m_file));
    EXPECT_EQ(done, RunHostreg({"export", "HKCU\\K]", windowsPath, "/y"}).out);
    EXPECT_TRUE(bytes == test::FileText(m_file));
}

TEST_F(HostregFiles, ImportsAllOrNothing)
{
    const std::pair<const char*, const char*> rows[] = {
        {"[HKCU\\Good]\n\"b\"=dword:x\n", "Line 5: dword: is followed by one to eight hexadecimal digits.\n"},
        {"[HKZZ\\Bad]\n", "Line 4: Invalid key name.\n"},
        {"[-HKCU]\n", "Line 4: Access is denied.\n"},
    };
    for (const auto& [rest, message] : rows)
    {
        test::WriteFileBytes(m_folder.File("a.reg"), "REGEDIT4\n[HKCU\\Good]\n\"a\"=\"x\"\n"s + rest);
        const HostregResult result = RunHostreg({"import", m_file});
        EXPECT_EQ(1, result.exitCode);
        EXPECT_EQ("ERROR: The file " + m_file + " was not imported. " + message, result.err);
        EXPECT_EQ(missing, RunHostreg({"query", "HKCU\\Good"}).err);
    }
    // Deleting what is not there is no failure; later lines see what the earlier ones did.
    test::WriteFileBytes(
        m_folder.File("a.reg"), "REGEDIT4\n[-HKCU\\None]\n[HKCU\\Good]\n\"a\"=-\n\"b\"=\"1\"\n[-HKCU\\Good]\n"
                                "[HKCU\\Good]\n\"c\"=\"2\"\n");
    EXPECT_EQ(done, RunHostreg({"import", m_file}).out);
    EXPECT_EQ("\nHKEY_CURRENT_USER\\Good\n    c    REG_SZ    2\n\n", RunHostreg({"query", "HKCU\\Good"}).out);
}

} // namespace
