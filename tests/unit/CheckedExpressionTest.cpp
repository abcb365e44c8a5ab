#include "CheckedExpression.h"

#include "TestSupport.h"

#include <cerrno>
#include <cstring>

using namespace scankelv;
using namespace test;

const std::string ods = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId()), xs(3000, 'x');
const std::string denied = SystemMessage(ERROR_ACCESS_DENIED);

// The first use of this logger in the program, which changes the last error, must be this failed check: it is written
// first.
TEST(CheckedTest, ReportsItsPlaceAndTheLastError)
{
    const DebugConsoleCapture console;
    ::SetLastError(ERROR_ACCESS_DENIED);
    const int line = __LINE__ + 1;
    EXPECT_FALSE(Checked(DebugConsoleLogger, CheckLastError, 0, "result", 1));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), ::GetLastError());
    EXPECT_EQ(
        "w1 Module ODS logs to debug console. Logging configured by default.\r\n" + ods +
            "Expression  result  failed!\r\nContext: " + denied +
            " \r\nvirtual void CheckedTest_ReportsItsPlaceAndTheLastError_Test::TestBody(),\r\n" + __FILE__ +
            Format<char>("(%d)\r\n", line),
        console.Text());
    LoggerTypeAbstract& (&unused)() = *+[]() -> LoggerTypeAbstract& { throw "a check that passes asks for no logger"; };
    EXPECT_TRUE(Checked(unused, CheckBoolean, 1, "passes", 0));
}

static std::string Evaluated(CheckKind kind, DWORD value)
{
    char text[reportTextCapacity] = "untouched";
    bool failed = value != 0;
    errno = ENOENT;
    ::SetLastError(ERROR_ACCESS_DENIED);
    EvaluateCheck(kind, value, failed, text);
    return (failed ? "fails: " : "passes: ") + std::string(text);
}
TEST(EvaluateCheckTest, TellsAFailureAndItsText)
{
    for (const CheckKind kind : {CheckBoolean, CheckErrno, CheckLastError, CheckKind("bad argument")})
        EXPECT_EQ("passes: untouched", Evaluated(kind, 0x80000000));
    EXPECT_EQ("passes: untouched", Evaluated(CheckErrorCode, 0));
    EXPECT_EQ("fails: ", Evaluated(CheckBoolean, 0));
    EXPECT_EQ("fails: " + std::string(std::strerror(ENOENT)), Evaluated(CheckErrno, 0));
    EXPECT_EQ("fails: " + SystemMessage(ERROR_FILE_NOT_FOUND), Evaluated(CheckErrorCode, ERROR_FILE_NOT_FOUND));
    EXPECT_EQ("fails: UNKNOWN ERROR 0x2000ABCD!", Evaluated(CheckErrorCode, 0x2000ABCD));
    EXPECT_EQ("fails: " + denied, Evaluated(CheckLastError, 0));
    EXPECT_EQ("fails: bad argument", Evaluated("bad argument", 0));
    char text[reportTextCapacity];
    EXPECT_EQ(denied.size(), FormatSystemErrorText(ERROR_ACCESS_DENIED, text));
    EXPECT_EQ(std::strlen("UNKNOWN ERROR 0xFFFA!"), FormatSystemErrorText(0xFFFA, text));
}

static std::string Report(const char* expression, const char* caller, const char* file, const char* context, int level)
{
    LoggerTypeAbstract& logger = DebugConsoleLogger(); // whose first use writes its description
    const DebugConsoleCapture console;
    ReportFailedExpression(logger, expression, caller, file, 7, context, level);
    return console.Text();
}
TEST(ReportFailedExpressionTest, WritesOneEntry)
{
    EXPECT_EQ(ods + "Expression  e  failed!\r\nContext: c \r\nf,\r\na(7)\r\n", Report("e", "f", "a", "c", -1));
    EXPECT_EQ("", Report("e", "f()", "a", "c", 2));
    EXPECT_EQ(ods + "\r\nContext:  \r\nf(),\r\na(7)\r\n", Report(nullptr, "f()", "a", "", 0));
    EXPECT_EQ(ods + "\r\nUNKNOWN CALLER,\r\nUNKNOWN FILE(7)\r\n", Report(nullptr, nullptr, nullptr, nullptr, 0));
    const std::string cut = "Expression  " + xs.substr(0, 1011) + "\r\n" + xs.substr(0, 1023) + "\r\n";
    EXPECT_EQ(ods + cut, Report(xs.c_str(), xs.c_str(), "a", "c", 0));
}
