// hostreg: its command language, and the .reg text format.
#include "host/Linux.h"
#include "HostregProgram.h"
#include "RegText.h"

#include <iomanip>
#include <map>
#include <sstream>

namespace
{

using hostreg::ReadRegText;
using hostreg::RegChange;
using hostreg::RegTextError;
using test::HostregResult;
using test::RunHostreg;

TEST(Hostreg, SpeaksTheCommandLanguage)
{
    const test::TemporaryFolder folder;
    const std::string file = test::LinuxPath(folder.File("a.reg"));
    // In order: each case sees what the cases before it left.
    test::ExpectAnswers("unit/data/Hostreg.txt", [&](const std::string& given) -> std::string {
        if (given.starts_with("a.reg: "))
            return test::WriteFileBytes(folder.File("a.reg"), given.substr(7)), "";
        const std::size_t end = std::min(given.find(" < "), given.size());
        std::istringstream line(given.substr(0, end));
        std::vector<std::string> words;
        for (std::string word; line >> std::quoted(word, '"', '\n');)
            words.push_back(word == "a.reg" ? file : word);
        const HostregResult result = RunHostreg(words, end == given.size() ? "" : given.substr(end + 3));
        std::string answer;
        for (const auto& [mark, text] : {std::pair("|", result.out), {"! ", result.err}})
        {
            std::istringstream lines(text.substr(0, text.find("\n", text.find("Usage:"))));
            for (std::string shown; std::getline(lines, shown);)
                answer += mark + shown + "\n";
        }
        if (const std::size_t at = answer.find(file); at != std::string::npos)
            answer.replace(at, file.size(), "a.reg");
        return answer + (result.exitCode == 0 ? "" : "exit code " + std::to_string(result.exitCode) + "\n");
    });
}

std::string Shown(const RegChange& change)
{
    using enum RegChange::Kind;
    const std::map<RegChange::Kind, std::string> kinds = {
        {openKey, " open "}, {deleteKey, " delete key "}, {setValue, " set "}, {deleteValue, " delete value "}};
    std::ostringstream shown;
    shown << change.line << kinds.at(change.kind) << "[" << test::ToUtf8(change.name) << "]";
    if (change.kind == setValue)
        shown << " type " << change.type;
    for (const char byte : change.data)
        shown << std::hex << std::setfill('0') << ' ' << std::setw(2) << int{static_cast<unsigned char>(byte)};
    shown << '\n';
    return shown.str();
}

TEST(Hostreg, ReadsEveryFormOfTheFormat)
{
    test::ExpectAnswers("unit/data/RegText.txt", [](const std::string& given) {
        std::vector<RegChange> changes;
        RegTextError error;
        const bool isHeadless = given.starts_with('[') || given.starts_with('@');
        if (!ReadRegText((isHeadless ? "Windows Registry Editor Version 5.00\r\n\r\n" : "") + given, changes, error))
            return "line " + std::to_string(error.line) + ": " + error.message + "\n";
        std::string answer;
        for (const RegChange& change : changes)
            answer += Shown(change);
        return answer;
    });
}

TEST(Hostreg, WritesTheFormatExactly)
{
    hostreg::RegTextWriter all;
    EXPECT_FALSE(all.Key(u"HKCU\\two\nlines"));
    ASSERT_TRUE(all.Key(u"HKEY_CURRENT_USER\\K]"));
    test::ExpectAnswers("unit/data/RegTextWriter.txt", [&all](const std::string& given) {
        const std::vector<std::string> parts = test::Parts(given); // name, type, data
        const test::Wide name = test::ToWide(parts[0]);
        const auto type = static_cast<std::uint32_t>(std::stoul(parts[1]));
        all.Value(name, type, parts[2]);
        hostreg::RegTextWriter writer;
        EXPECT_TRUE(writer.Key(u"K"));
        writer.Value(name, type, parts[2]);
        const std::string bytes = writer.Finish();
        std::vector<RegChange> changes;
        RegTextError error;
        EXPECT_TRUE(ReadRegText(bytes, changes, error)) << error.line << error.message;
        EXPECT_TRUE(changes.at(1) == (RegChange{RegChange::Kind::setValue, name, type, parts[2], 4}));
        test::Wide text;
        for (std::size_t at = 2; at < bytes.size(); at += 2)
            text += static_cast<WCHAR>(
                static_cast<unsigned char>(bytes[at]) | static_cast<unsigned char>(bytes[at + 1]) << 8);
        const std::string shown = test::ToUtf8(text), head = "Windows Registry Editor Version 5.00\r\n\r\n[K]\r\n";
        EXPECT_TRUE(bytes.starts_with("\xFF\xFE") && shown.starts_with(head) && shown.ends_with("\r\n\r\n"));
        return shown.substr(head.size(), shown.size() - head.size() - 2);
    });
    // The same after a way through the registry.
    const std::string bytes = all.Finish();
    const test::TemporaryFolder folder;
    const std::string file = test::LinuxPath(folder.File("a.reg")), windowsPath = test::ToUtf8(folder.File("a.reg"));
    test::WriteFileBytes(folder.File("a.reg"), bytes);
    EXPECT_EQ(0, RunHostreg({"import", file}).exitCode);
    test::WriteFileBytes(folder.File("a.reg"), "before");
    EXPECT_EQ(1, RunHostreg({"export", "HKCU\\K]", windowsPath}, "n\n").exitCode);
    EXPECT_EQ("before", test::FileText(file));
    EXPECT_EQ(0, RunHostreg({"export", "HKCU\\K]", windowsPath, "/y"}).exitCode);
    EXPECT_TRUE(bytes == test::FileText(file));
}

} // namespace
