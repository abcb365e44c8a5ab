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
    EXPECT_FALSE(Checked(DebugConsoleLogger(), CheckLastError, 0, "result", 1));
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
    const struct
    {
        const char* name;
        CheckKind kind;
        DWORD value;
        bool failed;
        std::string text; ///< of a failed check; one that passes leaves the buffer alone
    } cases[] = {
        {"boolean fails", CheckBoolean, 0, true, ""},
        {"boolean passes", CheckBoolean, 1, false, ""},
        {"errno fails", CheckErrno, 0, true, std::strerror(ENOENT)},
        {"errno passes", CheckErrno, 7, false, ""},
        {"code passes", CheckErrorCode, 0, false, ""},
        {"code fails", CheckErrorCode, 2, true, SystemText(2)},
        {"status fails", CheckErrorCode, 0x80070002, true, SystemText(2)},
        {"unknown code", CheckErrorCode, 0x2000ABCD, true, "UNKNOWN ERROR 0x2000ABCD!"},
        {"unknown short code", CheckErrorCode, 0xFFFA, true, "UNKNOWN ERROR 0xFFFA!"},
        {"last error fails", CheckLastError, 0, true, SystemText(5)},
        {"last error passes", CheckLastError, 0xFFFFFFFF, false, ""},
        {"context fails", "bad argument", 0, true, "bad argument"},
        {"context passes", "bad argument", 1, false, ""},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        char text[reportTextCapacity];
        std::memset(text, '#', sizeof(text));
        bool failed = !row.failed;
        errno = ENOENT;
        ::SetLastError(5);
        EvaluateCheck(row.kind, row.value, failed, text);
        EXPECT_EQ(row.failed, failed);
        if (failed)
            EXPECT_STREQ(row.text.c_str(), text);
        else
            EXPECT_EQ(std::string(sizeof(text), '#'), std::string(text, sizeof(text)));
    }
    EXPECT_EQ('\n', SystemText(2).back()); // the system's own line break stays
}

TEST(Checked, ReportsEveryShapeOfTheirTexts)
{
    const std::string longText(3000, 'x');
    const std::string prefix = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId());
    const struct
    {
        const char *expression, *caller, *file, *context;
        int level;
        std::string entry;
    } cases[] = {
        {"e", "void f()", "a.cpp", "c", 0, "Expression  e  failed!\r\nContext: c \r\nvoid f(),\r\na.cpp(7)\r\n"},
        {"e", "void f()", "a.cpp", "", -1, "Expression  e  failed!\r\nContext:  \r\nvoid f(),\r\na.cpp(7)\r\n"},
        {"e", nullptr, nullptr, nullptr, 1, "Expression  e  failed!\r\nUNKNOWN CALLER,\r\nUNKNOWN FILE(7)\r\n"},
        {nullptr, "f", "a", "c", 0, "\r\nContext: c \r\nf,\r\na(7)\r\n"},
        {"e", "f", "a", "c", silentLevel, ""},
        {longText.c_str(), longText.c_str(), "a", "c", 0,
         "Expression  " + longText.substr(0, 1023 - 12) + "\r\n" + longText.substr(0, 1023) + "\r\n"},
    };
    for (const auto& row : cases)
    {
        const DebugConsoleCapture console;
        ReportFailedExpression(DebugConsoleLogger(), row.expression, row.caller, row.file, 7, row.context, row.level);
        EXPECT_EQ(row.entry.empty() ? "" : prefix + row.entry, console.Text());
    }
}

} // namespace
