// What of the run, the handler and the query's answer a started program cannot show.
#include "AgentClientAppHandler.h"
#include "AgentRun.h"
#include "AgentTest.h"
#include "ComThread.h"
#include "KELVFindwellLibrary.h"
#include "OnlineTesting.h"

#include <thread>

namespace
{

using namespace test;
using namespace scankelv;

class AgentCoreTest : public AgentTest
{
};

TEST_F(AgentCoreTest, RunFailsOnAThreadOfAnotherApartment)
{
    std::thread([] {
        ASSERT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        const DebugConsoleCapture console;
        EXPECT_FALSE(ComThread().IsValid());
        EXPECT_FALSE(RunAgent());
        const std::string text = console.Text();
        EXPECT_EQ("comInitResult comInitResult ", ReportedExpressions(console));
        EXPECT_TRUE(text.ends_with("\r\nCOM initialization failed!\r\n\r\n")) << text;
        // The failed initialisations have taken nothing of this one's count.
        EXPECT_EQ(S_FALSE, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        ::CoUninitialize();
        ::CoUninitialize();
    }).join();
}

TEST_F(AgentCoreTest, SecondInitialisationIsReportedAndStillValid)
{
    const DebugConsoleCapture console;
    EXPECT_TRUE(ComThread().IsValid());
    EXPECT_EQ("comInitResult ", ReportedExpressions(console));
}

TEST_F(AgentCoreTest, ModuleIsHeldOnceAndWhatIsMissingIsSaid)
{
    const DebugConsoleCapture console;
    LibraryModule module;
    EXPECT_FALSE(module.Load("Z:\\nowhere\\FindwellDlg.dll"));
    EXPECT_EQ(nullptr, module.Resolve("GetDeviceList"));
    EXPECT_TRUE(module.Load(TEST_LIBRARY));
    EXPECT_TRUE(module.Load("Z:\\nowhere\\FindwellDlg.dll"));
    EXPECT_NE(nullptr, module.Resolve("FreeDeviceList"));
    EXPECT_EQ(nullptr, module.Resolve("freeDeviceList"));
    EXPECT_EQ(
        "Library Z:\\nowhere\\FindwellDlg.dll not found!\nFunction GetDeviceList not resolved due to <127>!\n"
        "Attempt to load already loaded library\nFunction freeDeviceList not resolved due to <127>!\n",
        console.Text());
}

TEST_F(AgentCoreTest, HandlerAnswersTheLibrary)
{
    const struct
    {
        const WCHAR* event;
        bool hasOut;
        std::uint32_t answer;
        std::uint32_t out;
    } cases[] = {
        {OLESTR("addbtn.onclick"), true, 6, 1},
        {OLESTR("ADDBTN.OnClick"), true, 6, 1},
        {OLESTR("addbtn.onclick "), true, 0, 9},
        {OLESTR(""), true, 0, 9},
        {nullptr, true, 0, 9},
        {OLESTR("addbtn.onclick"), false, 0, 9},
    };
    AgentClientAppHandler handler;
    for (const auto& [event, hasOut, answer, expectedOut] : cases)
    {
        SCOPED_TRACE(event == nullptr ? "(null)" : ToUtf8(event));
        std::uint32_t out = 9;
        EXPECT_EQ(answer, handler.HandleEvent(event, 1, 2, hasOut ? &out : nullptr));
        EXPECT_EQ(expectedOut, out);
    }
    EXPECT_EQ(0U, handler.Query(7));
    EXPECT_EQ(0U, handler.CheckDevice(nullptr, nullptr));
    EXPECT_EQ(0U, handler.CheckDevice(OLESTR("<device>"), nullptr));
}

TEST_F(AgentCoreTest, QueryAnswerMayLackEverything)
{
    const DebugConsoleCapture console;
    const std::uint32_t answered = 0;
    EXPECT_EQ(0U, QueryDeviceAddressCallback(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0U, QueryDeviceAddressCallback(&answered, &answered, nullptr, nullptr));
    EXPECT_EQ(
        "qdc: status 1, change 2, lpAddress , lpMACAddress \r\nqdc: status 0, change 0, lpAddress , lpMACAddress \r\n",
        console.Text());
}

} // namespace
