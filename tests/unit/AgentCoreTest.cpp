// What of the run, the handler and the query's answer a started program cannot show.
#include "AgentClientAppHandler.h"
#include "AgentRun.h"
#include "AgentTest.h"
#include "ComThread.h"
#include "OnlineTesting.h"

#include <thread>

namespace
{

using namespace test;
using namespace scankelv;

using AgentCoreTest = AgentTest;

TEST_F(AgentCoreTest, ComOfAnotherApartmentFailsAndAnInitialisedOneIsReported)
{
    const DebugConsoleCapture console;
    std::thread([&] {
        ASSERT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        EXPECT_FALSE(ComThread().IsValid() || RunAgent());
        EXPECT_TRUE(console.Text().ends_with("\r\nCOM initialization failed!\r\n\r\n")) << console.Text();
        // The failed initialisations have taken nothing of this one's count.
        EXPECT_EQ(S_FALSE, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        ::CoUninitialize();
        ::CoUninitialize();
    }).join();
    EXPECT_TRUE(ComThread().IsValid());
    EXPECT_EQ("comInitResult comInitResult comInitResult ", ReportedExpressions(console));
}

TEST_F(AgentCoreTest, HandlerAnswersTheLibrary)
{
    AgentClientAppHandler handler;
    std::uint32_t out = 9;
    EXPECT_EQ(
        0U, handler.HandleEvent(OLESTR("addbtn.onclick "), 1, 2, &out) + handler.HandleEvent(nullptr, 1, 2, &out));
    EXPECT_EQ(9U, out);
    EXPECT_EQ(6U, handler.HandleEvent(OLESTR("addbtn.OnClick"), 1, 2, nullptr));
    EXPECT_EQ(0U, handler.Query(7) + handler.CheckDevice(nullptr, nullptr));
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
