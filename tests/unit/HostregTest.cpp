// hostreg: its command language, and the .reg text format.
#include "host/Linux.h"
#include "RegText.h"

#include <iomanip>
#include <sstream>
#include <sys/wait.h>

namespace
{

using namespace test;

TEST(Hostreg, SpeaksTheCommandLanguage)
{
    const TemporaryFolder folder;
    const Wide windowsFile = folder.File("a.reg");
    const std::string file = LinuxPath(windowsFile);
    // In order: each case sees what the cases before it left.
    ExpectAnswers("unit/data/Hostreg.txt", [&](const std::string& given) -> std::string {
        if (given.starts_with("a.reg: "))
            return WriteFileBytes(windowsFile, given.substr(7)), "";
        if (given == "a.reg")
        {
            const std::string bytes = FileText(file);
            return bytes.starts_with("\xFF\xFE") ? ToUtf8(FromUtf16Bytes(bytes.substr(2))) : bytes;
        }
        const std::size_t end = std::min(given.find(" < "), given.size());
        std::istringstream line(given.substr(0, end));
        std::string command = HOSTREG;
        for (std::string word; line >> std::quoted(word, '"', '\n');)
        {
            word = word == "a.reg" ? file : word == "Z:a.reg" ? ToUtf8(windowsFile) : word;
            ReplaceAll(word, "'", "'\\''");
            command += " '" + word + "'";
        }
        std::ofstream(file + ".in") << given.substr(std::min(end + 3, given.size()));
        const int status = std::system((command + " <" + file + ".in >" + file + ".out 2>" + file + ".err").c_str());
        std::string answer;
        for (const auto& [mark, stream] : {std::pair("|", ".out"), {"! ", ".err"}})
        {
            const std::string text = FileText(file + stream);
            std::istringstream lines(text.substr(0, text.find("\n", text.find("Usage:"))));
            for (std::string shown; std::getline(lines, shown);)
                answer += mark + shown + "\n";
        }
        ReplaceAll(answer, file, "a.reg");
        ReplaceAll(answer, ToUtf8(windowsFile), "Z:a.reg");
        return answer + (status == 0 ? "" : "exit code " + std::to_string(WEXITSTATUS(status)) + "\n");
    });
}

TEST(Hostreg, ReadsEveryFormOfTheFormatAndWritesOne)
{
    using enum hostreg::RegChange::Kind;
    const Wide head = OLESTR("\xFEFFWindows Registry Editor Version 5.00\r\n");
    ExpectAnswers("unit/data/RegText.txt", [&](const std::string& given) {
        std::vector<hostreg::RegChange> changes;
        hostreg::RegTextError error;
        const bool isHeadless = given.starts_with('[') || given.starts_with('@');
        if (!hostreg::ReadRegText((isHeadless ? ToUtf8(head) + "\r\n" : "") + given, changes, error))
            return "line " + std::to_string(error.line) + ": " + error.message + "\n";
        hostreg::RegTextWriter writer;
        std::string lines = "lines";
        for (const auto& [kind, name, type, data, line] : changes)
        {
            lines += (kind == deleteKey || kind == deleteValue ? " -" : " ") + std::to_string(line);
            if (kind == openKey || kind == deleteKey)
                EXPECT_TRUE(writer.Key(name));
            else
                writer.Value(name, type, data);
        }
        const Wide text = FromUtf16Bytes(writer.Finish());
        EXPECT_TRUE(text.starts_with(head));
        return lines + "\n" + ToUtf8(text.substr(head.size()));
    });
    EXPECT_FALSE(hostreg::RegTextWriter().Key(u"HKCU\\two\nlines"));
}

} // namespace
