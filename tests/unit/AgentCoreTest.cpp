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
    AgentClientAppHandler handler;
    for (const auto& [event, answer] :
         {std::pair<const WCHAR*, std::uint32_t>(OLESTR("addbtn.onclick"), 6U),
          {OLESTR("ADDBTN.OnClick"), 6U},
          {OLESTR("addbtn.onclick "), 0U},
          {OLESTR(""), 0U},
          {nullptr, 0U}})
    {
        std::uint32_t out = 9;
        EXPECT_EQ(answer, handler.HandleEvent(event, 1, 2, &out));
        EXPECT_EQ(answer == 6 ? 1U : 9U, out);
        EXPECT_EQ(answer, handler.HandleEvent(event, 1, 2, nullptr));
    }
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
