// hostreg: its command language, and the .reg text format.
#include "HostregProgram.h"
#include "RegText.h"
#include "TestSupport.h"

#include <algorithm>
#include <fstream>

namespace
{

namespace fs = std::filesystem;
using hostreg::ReadRegText;
using hostreg::RegChange;
using hostreg::RegTextError;
using hostreg::RegTextWriter;
using test::HostregResult;
using test::RunHostreg;
using namespace std::literals;

const std::string header = "Windows Registry Editor Version 5.00\r\n\r\n";

std::string Utf16(std::u16string_view text)
{
    return test::Utf16Bytes(text);
}

struct TemporaryFile
{
    fs::path path;

    explicit TemporaryFile(std::string_view bytes = {})
    {
        std::string pattern = (fs::temp_directory_path() / "hostreg-XXXXXX").string();
        ::close(::mkstemp(pattern.data()));
        path = pattern;
        std::ofstream(path, std::ios::binary) << bytes;
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { fs::remove(path); }

    std::string Bytes() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

constexpr const char* done = "The operation completed successfully.\n";
constexpr const char* missing = "ERROR: The system was unable to find the specified registry key or value.\n";
constexpr const char* cancelled = "ERROR: The operation was cancelled by the user.\n";

TEST(Hostreg, SpeaksTheCommandLanguage)
{
    // In order: each row sees what the rows before it left.
    const struct
    {
        std::vector<std::string> arguments;
        const char* input;
        int exitCode;
        std::string out, err;
    } rows[] = {
        {{"query", "HKCU\\Software\\T"}, "", 1, "", missing},
        {{"add", "HKCU\\Software\\T\\Sub\\", "/f"}, "", 0, done, ""},
        {{"query", "HKCU\\Software\\T"}, "", 0, "\nHKEY_CURRENT_USER\\Software\\T\\Sub\n", ""},
        {{"ADD", "hkey_current_user\\software\\t", "/V", "Name", "/D", "a \xC3\xA4"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "num", "/t", "reg_dword", "/d", "26"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "max", "/t", "REG_DWORD", "/d", "0xFFffFFff"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "q", "/t", "REG_QWORD", "/d", "18446744073709551615"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "m", "/t", "REG_MULTI_SZ", "/d", "a\\0b c\\0"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "bin", "/t", "REG_BINARY", "/d", "0aff1"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "e", "/t", "REG_EXPAND_SZ", "/d", "%TEMP%\\x"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/ve", "/d", "dflt"}, "", 0, done, ""},
        {{"add", "HKCU\\Software\\T", "/v", "x", "/t", "REG_DWORD", "/d", "4294967296"},
         "",
         1,
         "",
         "ERROR: Invalid syntax. Specify valid numeric value for '/d'.\n"},
        {{"add", "HKCU\\Software\\T", "/v", "x", "/t", "REG_BINARY", "/d", "0g"},
         "",
         1,
         "",
         "ERROR: Invalid syntax. Specify valid binary value for '/d'.\n"},
        {{"add", "HKCU\\Software\\T", "/v", "x", "/t", "REG_FOO"},
         "",
         1,
         "",
         "ERROR: Invalid syntax. Specify valid type for '/t'.\n"},
        {{"add", "HKCU\\Software\\T", "/v", "NAME", "/d", "new"},
         "maybe\nno\n",
         1,
         "Value NAME exists, overwrite (Yes/No)? Value NAME exists, overwrite (Yes/No)? ",
         cancelled},
        {{"query", "HKCU\\Software\\T", "/s"},
         "",
         0,
         "\nHKEY_CURRENT_USER\\Software\\T\n"
         "    Name    REG_SZ    a \xC3\xA4\n"
         "    num    REG_DWORD    0x1a\n"
         "    max    REG_DWORD    0xffffffff\n"
         "    q    REG_QWORD    0xffffffffffffffff\n"
         "    m    REG_MULTI_SZ    a\\0b c\n"
         "    bin    REG_BINARY    00AFF1\n"
         "    e    REG_EXPAND_SZ    %TEMP%\\x\n"
         "    (Default)    REG_SZ    dflt\n"
         "\nHKEY_CURRENT_USER\\Software\\T\\Sub\n\n",
         ""},
        {{"query", "HKCU\\Software\\T", "/v", "NUM"},
         "",
         0,
         "\nHKEY_CURRENT_USER\\Software\\T\n    NUM    REG_DWORD    0x1a\n\n",
         ""},
        {{"query", "HKCU\\Software", "/v", "num", "/s"},
         "",
         0,
         "\nHKEY_CURRENT_USER\\Software\\T\n    num    REG_DWORD    0x1a\n\nEnd of search: 1 match(es) found.\n",
         ""},
        {{"query", "HKCU\\Software\\T", "/v", "zz"}, "", 1, "", missing},
        {{"query", "HKCU\\Software\\T\\Sub", "/ve"},
         "",
         0,
         "\nHKEY_CURRENT_USER\\Software\\T\\Sub\n    (Default)    REG_SZ    (value not set)\n\n",
         ""},
        {{"delete", "HKCU\\Software\\T", "/v", "zz", "/f"}, "", 1, "", missing},
        {{"delete", "HKCU\\Software\\T", "/v", "q"}, "YES\n", 0, "Delete the registry value q (Yes/No)? "s + done, ""},
        {{"delete", "HKCU\\Software\\T", "/ve", "/f"}, "", 0, done, ""},
        {{"delete", "HKCU\\Software\\T"},
         "",
         1,
         "Permanently delete the registry key HKEY_CURRENT_USER\\Software\\T (Yes/No)? ",
         cancelled},
        {{"delete", "HKCU\\Software\\T", "/va", "/f"}, "", 0, done, ""},
        {{"query", "HKCU\\Software\\T"}, "", 0, "\nHKEY_CURRENT_USER\\Software\\T\\Sub\n", ""},
        {{"delete", "HKCU\\Software\\T", "/f"}, "", 0, done, ""},
        {{"delete", "HKCU\\Software\\T", "/f"}, "", 1, "", missing},
        {{"delete", "HKCU", "/f"}, "", 1, "", "ERROR: Access is denied.\n"},
        {{"query", "HKZZ\\a"}, "", 1, "", "ERROR: Invalid key name.\n"},
        {{"query", "HKCU\\\\a"}, "", 1, "", "ERROR: Invalid key name.\n"},
        {{"import", "/no/such/file"}, "", 1, "", "ERROR: The system cannot find the file /no/such/file.\n"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        const HostregResult result = RunHostreg(row.arguments, row.input);
        EXPECT_EQ(row.exitCode, result.exitCode);
        EXPECT_EQ(row.out, result.out);
        EXPECT_EQ(row.err, result.err);
    }
    const std::vector<std::string> misuses[] = {
        {},
        {"frob"},
        {"query"},
        {"query", "HKCU", "/v"},
        {"query", "HKCU", "/v", "a", "/ve"},
        {"query", "HKCU", "/s", "/s"},
        {"query", "HKCU", "/q"},
        {"add", "HKCU\\a", "/s"},
        {"export", "HKCU\\a"},
        {"import", "a", "b"},
    };
    for (const std::vector<std::string>& arguments : misuses)
    {
        const HostregResult result = RunHostreg(arguments);
        EXPECT_EQ(1, result.exitCode);
        EXPECT_TRUE(result.err.starts_with("ERROR: Invalid syntax. Usage:")) << testing::PrintToString(arguments);
    }
}

TEST(Hostreg, ReadsEveryFormOfTheFormat)
{
    const auto key = [](std::u16string_view name, std::size_t line) {
        return RegChange{RegChange::Kind::openKey, std::u16string(name), 0, "", line};
    };
    const auto value = [](std::u16string_view name, std::uint32_t type, std::string_view data, std::size_t line) {
        return RegChange{RegChange::Kind::setValue, std::u16string(name), type, std::string(data), line};
    };
    const struct
    {
        const char* what;
        std::string bytes;
        std::vector<RegChange> changes;
    } rows[] = {
        {"header alone", "Windows Registry Editor Version 5.00", {}},
        {"UTF-8 with mark", "\xEF\xBB\xBF" + header + "[HKCU\\\xC3\xA4]", {key(u"HKCU\\\u00E4", 3)}},
        {"UTF-8", header + "[HKCU\\\xC3\xA4]\r\n", {key(u"HKCU\\\u00E4", 3)}},
        {"UTF-16", "\xFF\xFE" + Utf16(u"REGEDIT4\r\n[\xD800]"), {key(u"\xD800", 2)}},
        {"UTF-16 without mark", Utf16(u"REGEDIT4\n[k]\n"), {key(u"k", 2)}},
        {"UTF-16 of the other order", "\xFE\xFF\0R\0E\0G\0E\0D\0I\0T\0004\0\n\0[\0k\0]"s, {key(u"k", 2)}},
        {"line ends and comments",
         header + "; note\r[k]\n  ;[x]\r\n\r\n@=\"\" ; note\n[l] ;n",
         {key(u"k", 4), value(u"", 1, "\0\0"sv, 7), key(u"l", 8)}},
        {"brackets in a key", header + "[a]b]\n", {key(u"a]b", 3)}},
        {"escapes",
         header + "[k]\n\"a\\\"\\\\=\" = \"\\\\x\\\"\"",
         {key(u"k", 3), value(u"a\"\\=", 1, Utf16({u"\\x\"\0", 4}), 4)}},
        {"a text of two lines",
         header + "[k]\n\"a\"=\"x\r\ny\"\n@=\"z\"",
         {key(u"k", 3), value(u"a", 1, Utf16({u"x\r\ny\0", 5}), 4), value(u"", 1, "z\0\0\0"sv, 6)}},
        {"numbers",
         header + "[k]\n\"a\"=dword:0000001a\n\"b\"=DWORD:F\n\"c\"=hex(4):01,02\n\"d\"=hex(b):1,2",
         {key(u"k", 3), value(u"a", 4, "\x1A\0\0\0"sv, 4), value(u"b", 4, "\x0F\0\0\0"sv, 5), value(u"c", 4, "\1\2", 6),
          value(u"d", 11, "\1\2", 7)}},
        {"bytes over lines",
         header + "[k]\n\"a\"=hex:01,\\\r\n  02, 03,\\ \n\\\n04\n\"b\"=hex:\n\"c\"=hex(777):FF,\n",
         {key(u"k", 3), value(u"a", 3, "\1\2\3\4", 4), value(u"b", 3, "", 8), value(u"c", 0x777, "\xFF", 9)}},
        {"texts in the older format",
         "REGEDIT4\n[k]\n\"a\"=hex(2):c3,a4,00\n\"b\"=hex:c3",
         {key(u"k", 2), value(u"a", 2, "\xE4\0\0\0"sv, 3), value(u"b", 3, "\xC3", 4)}},
        {"deletions",
         header + "[-HKCU\\a]\n[k]\n\"a\"=-\n@=-",
         {{RegChange::Kind::deleteKey, u"HKCU\\a", 0, "", 3},
          key(u"k", 4),
          {RegChange::Kind::deleteValue, u"a", 0, "", 5},
          {RegChange::Kind::deleteValue, u"", 0, "", 6}}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        std::vector<RegChange> changes;
        RegTextError error;
        EXPECT_TRUE(ReadRegText(row.bytes, changes, error)) << error.line << error.message;
        EXPECT_TRUE(row.changes == changes);
    }
    const struct
    {
        std::string bytes;
        std::size_t line;
    } malformed[] = {
        {"", 1},
        {"REGEDIT5\n", 1},
        {header + "[k", 3},
        {header + "@=\"a\"", 3},
        {header + "[-k]\n@=\"a\"", 4},
        {header + "[k]\nstray", 4},
        {header + "[k]\n\"a\"", 4},
        {header + "[k]\n\"a=", 4},
        {header + "[k]\n\"a\"=\"open\n\n\n", 4},
        {header + "[k]\n\"a\"=\"\\n\"", 4},
        {header + "[k]\n\"a\"=\"x\"y", 4},
        {header + "[k]\n\"a\"=dword:", 4},
        {header + "[k]\n\"a\"=dword:123456789", 4},
        {header + "[k]\n\"a\"=hex:1,\\\n  100", 5},
        {header + "[k]\n\"a\"=hex:01 02", 4},
        {header + "[k]\n\"a\"=hex(g):01", 4},
        {header + "[k]\n\"a\"=hex:\\ 01", 4},
        {header + "[k]\n\"a\"=binary", 4},
    };
    for (const auto& row : malformed)
    {
        std::vector<RegChange> changes;
        RegTextError error;
        EXPECT_FALSE(ReadRegText(row.bytes, changes, error)) << row.bytes;
        EXPECT_EQ(row.line, error.line) << row.bytes;
        EXPECT_FALSE(error.message.empty());
    }
}

TEST(Hostreg, WritesTheFormatExactly)
{
    RegTextWriter writer;
    EXPECT_FALSE(writer.Key(u"HKCU\\two\nlines"));
    ASSERT_TRUE(writer.Key(u"HKEY_CURRENT_USER\\K]"));
    std::vector<RegChange> expected{{RegChange::Kind::openKey, u"HKEY_CURRENT_USER\\K]", 0, "", 0}};
    const struct
    {
        std::u16string name;
        std::uint32_t type;
        std::string data;
        std::u16string_view line;
    } rows[] = {
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
    for (const auto& row : rows)
    {
        writer.Value(row.name, row.type, row.data);
        expected.push_back({RegChange::Kind::setValue, row.name, row.type, row.data, 0});
        text.append(row.line).append(u"\r\n");
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
    const TemporaryFile file(bytes), again;
    EXPECT_EQ(done, RunHostreg({"import", file.path.string()}).out);
    std::string windowsPath = "Z:" + again.path.string();
    std::replace(windowsPath.begin(), windowsPath.end(), '/', '\\');
    EXPECT_EQ(1, RunHostreg({"export", "HKCU\\K]", windowsPath}, "n\n").exitCode);
    EXPECT_EQ("", again.Bytes());
    EXPECT_EQ(done, RunHostreg({"export", "HKCU\\K]", windowsPath, "/y"}).out);
    EXPECT_TRUE(bytes == again.Bytes());
}

TEST(Hostreg, ImportsAllOrNothing)
{
    const struct
    {
        const char* rest; // behind a good first key
        const char* message;
    } rows[] = {
        {"[HKCU\\Good]\n\"b\"=dword:x\n", "Line 5: dword: is followed by one to eight hexadecimal digits.\n"},
        {"[HKZZ\\Bad]\n", "Line 4: Invalid key name.\n"},
        {"[-HKCU]\n", "Line 4: Access is denied.\n"},
    };
    for (const auto& row : rows)
    {
        const TemporaryFile file("REGEDIT4\n[HKCU\\Good]\n\"a\"=\"x\"\n" + std::string(row.rest));
        const HostregResult result = RunHostreg({"import", file.path.string()});
        EXPECT_EQ(1, result.exitCode);
        EXPECT_EQ("ERROR: The file " + file.path.string() + " was not imported. " + row.message, result.err);
        EXPECT_EQ(missing, RunHostreg({"query", "HKCU\\Good"}).err);
    }
    // Deleting what is not there is no failure; later lines see what the earlier ones did.
    const TemporaryFile file(
        "REGEDIT4\n[-HKCU\\None]\n[HKCU\\Good]\n\"a\"=-\n\"b\"=\"1\"\n[-HKCU\\Good]\n[HKCU\\Good]\n\"c\"=\"2\"\n");
    EXPECT_EQ(done, RunHostreg({"import", file.path.string()}).out);
    EXPECT_EQ("\nHKEY_CURRENT_USER\\Good\n    c    REG_SZ    2\n\n", RunHostreg({"query", "HKCU\\Good"}).out);
}

} // namespace
