#include "CheckedExpression.h"

#include "TestSupport.h"

#include <cerrno>
#include <cstring>

using namespace scankelv;
using namespace test;

const std::string ods = Format<char>("ODS {%lX}: ", ::GetCurrentThreadId()), xs(3000, 'x');
const std::string denied = SystemMessage(ERROR_ACCESS_DENIED);

// Written first: the first use of this logger in the program, which changes the last error, must be this failed check.
TEST(CheckedTest, ReportsItsPlaceAndTheLastError)
{
    const DebugConsoleCapture console;
    ::SetLastError(ERROR_ACCESS_DENIED);
    const std::string place = __FILE__ + Format<char>("(%d)\r\n", __LINE__ + 1);
    EXPECT_FALSE(Checked(DebugConsoleLogger, CheckLastError, 0, "result", 1));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), ::GetLastError());
    const std::string caller = "virtual void CheckedTest_ReportsItsPlaceAndTheLastError_Test::TestBody(),\r\n";
    EXPECT_EQ(
        "w1 Module ODS logs to debug console. Logging configured by default.\r\n" + ods +
            "Expression  result  failed!\r\nContext: " + denied + " \r\n" + caller + place,
        console.Text());
}

TEST(EvaluateCheckTest, TellsAFailureAndItsText)
{
    const auto evaluated = [](CheckKind kind, DWORD value) {
        char text[reportTextCapacity] = "untouched";
        bool failed = value != 0;
        errno = ENOENT;
        ::SetLastError(ERROR_ACCESS_DENIED);
        EvaluateCheck(kind, value, failed, text);
        return (failed ? "fails: " : "passes: ") + std::string(text);
    };
    EXPECT_EQ("passes: untouched", evaluated(CheckBoolean, 0x80000000));
    EXPECT_EQ("passes: untouched", evaluated(CheckErrorCode, 0));
    EXPECT_EQ("fails: ", evaluated(CheckBoolean, 0));
    EXPECT_EQ("fails: " + std::string(std::strerror(ENOENT)), evaluated(CheckErrno, 0));
    EXPECT_EQ("fails: " + SystemMessage(ERROR_FILE_NOT_FOUND), evaluated(CheckErrorCode, ERROR_FILE_NOT_FOUND));
    EXPECT_EQ("fails: UNKNOWN ERROR 0x2000ABCD!", evaluated(CheckErrorCode, 0x2000ABCD));
    EXPECT_EQ("fails: bad argument", evaluated("bad argument", 0));
}

TEST(ReportFailedExpressionTest, NamesWhatIsUnknownAndCutsWhatIsLong)
{
    DebugConsoleLogger(); // whose first use writes its description
    const DebugConsoleCapture console;
    ReportFailedExpression(DebugConsoleLogger(), "silent", nullptr, nullptr, 7, nullptr, silentLevel);
    ReportFailedExpression(DebugConsoleLogger(), nullptr, nullptr, nullptr, 7, nullptr, silentLevel + 1);
    ReportFailedExpression(DebugConsoleLogger(), xs.c_str(), xs.c_str(), "a", 7, xs.c_str(), 0);
    const std::string cut = "Expression  " + xs.substr(0, 1011) + "\r\n" + xs.substr(0, 1023) + "\r\n";
    EXPECT_EQ(ods + "\r\nUNKNOWN CALLER,\r\nUNKNOWN FILE(7)\r\n" + ods + cut, console.Text());
}
