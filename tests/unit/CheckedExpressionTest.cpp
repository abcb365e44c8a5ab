#include "Reports.h"

#include <cerrno>
#include <cstring>

using namespace scankelv;
using namespace test;

namespace
{

// The first use of the logger of this program must be the failed check of this test: it stands first.
TEST(Checked, TheLoggersFirstUseDoesNotHideTheLastError)
{
    const DebugConsoleCapture console;
    ::SetLastError(ERROR_ACCESS_DENIED);
    const int line = __LINE__ + 1;
    EXPECT_FALSE(Checked(DebugConsoleLogger, CheckLastError, 0, "result", 1));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), ::GetLastError());
    // The description of the logger, then the entry of five lines.
    const std::string prefix = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId());
    const std::string expected = "w1 Module ODS logs to debug console. Logging configured by default.\r\n" + prefix +
                                 "Expression  result  failed!\r\nContext: " + SystemText(ERROR_ACCESS_DENIED) +
                                 " \r\n" + PlaceHere().signature + ",\r\n" + __FILE__ + Format<char>("(%d)\r\n", line);
    EXPECT_EQ(expected, console.Text());
}

TEST(Checked, EveryKindOfValue)
{
    const std::string untouched(reportTextCapacity, '#');
    const std::tuple<CheckKind, DWORD, std::string> rows[] = {// kind, value, the buffer: untouched when it passes
                                                              {CheckBoolean, 0, ""},
                                                              {CheckBoolean, 1, untouched},
                                                              {CheckErrno, 0, std::strerror(ENOENT)},
                                                              {CheckErrno, 7, untouched},
                                                              {CheckErrorCode, 0, untouched},
                                                              {CheckErrorCode, 2, SystemText(2)},
                                                              {CheckErrorCode, 0x80070002, SystemText(2)},
                                                              {CheckErrorCode, 0x2000ABCD, "UNKNOWN ERROR 0x2000ABCD!"},
                                                              {CheckErrorCode, 0xFFFA, "UNKNOWN ERROR 0xFFFA!"},
                                                              {CheckLastError, 0, SystemText(5)},
                                                              {CheckLastError, 0xFFFFFFFF, untouched},
                                                              {"bad argument", 0, "bad argument"},
                                                              {"bad argument", 1, untouched}};
    for (const auto& [kind, value, expected] : rows)
    {
        char text[reportTextCapacity];
        std::memset(text, '#', sizeof(text));
        bool failed = expected == untouched;
        errno = ENOENT;
        ::SetLastError(5);
        EvaluateCheck(kind, value, failed, text);
        EXPECT_EQ(expected != untouched, failed) << expected;
        EXPECT_EQ(expected, failed ? text : std::string(text, sizeof(text)));
    }
    EXPECT_EQ('\n', SystemText(2).back()); // the system's own line break stays
}

TEST(Checked, ReportsEveryShapeOfTheirTexts)
{
    const std::string longText(3000, 'x'), prefix = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId());
    const struct
    {
        const char *expression, *caller, *file, *context;
        int level;
        std::string entry;
    } rows[] = {
        {"e", "f()", "a.cpp", "c", 0, prefix + "Expression  e  failed!\r\nContext: c \r\nf(),\r\na.cpp(7)\r\n"},
        {"e", "f", "a", "", -1, prefix + "Expression  e  failed!\r\nContext:  \r\nf,\r\na(7)\r\n"},
        {"e", nullptr, nullptr, nullptr, 1,
         prefix + "Expression  e  failed!\r\nUNKNOWN CALLER,\r\nUNKNOWN FILE(7)\r\n"},
        {nullptr, "f", "a", "c", 0, prefix + "\r\nContext: c \r\nf,\r\na(7)\r\n"},
        {"e", "f", "a", "c", silentLevel, ""},
        {longText.c_str(), longText.c_str(), "a", "c", 0,
         prefix + "Expression  " + longText.substr(0, 1023 - 12) + "\r\n" + longText.substr(0, 1023) + "\r\n"}};
    for (const auto& row : rows)
    {
        const DebugConsoleCapture console;
        ReportFailedExpression(DebugConsoleLogger(), row.expression, row.caller, row.file, 7, row.context, row.level);
        EXPECT_EQ(row.entry, console.Text());
    }
}

} // namespace
