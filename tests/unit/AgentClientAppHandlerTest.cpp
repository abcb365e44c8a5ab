#include "AgentClientAppHandler.h"

#include "AgentTest.h"
#include "ComThread.h"

#include <thread>

using namespace scankelv;
using namespace test;

namespace
{

using AgentClientAppHandlerTest = AgentTest;

TEST_F(AgentClientAppHandlerTest, AnswersTheLibrary)
{
    AgentClientAppHandler agent;
    IAppHandler& handler = agent;
    std::uint32_t out = 9;
    EXPECT_EQ(0U, handler.HandleEvent(L"addbtn.onclick ", 1, 2, &out));
    EXPECT_EQ(0U, handler.HandleEvent(nullptr, 1, 2, &out));
    EXPECT_EQ(9U, out);
    EXPECT_EQ(6U, handler.HandleEvent(L"addbtn.onclick", 1, 2, nullptr));
    EXPECT_EQ(6U, handler.HandleEvent(L"AddBtn.OnClick", 1, 2, &out));
    EXPECT_EQ(1U, out);
    handler.Notify(1);
    EXPECT_EQ(0U, handler.Query(7));
    EXPECT_EQ(1U, handler.CheckDevice(L"<a><iotype/><deviceid>MFG:Quellon;MODE:SCN;</deviceid></a>", nullptr));
    EXPECT_EQ(0U, handler.CheckDevice(L"<a><iotype/><deviceid>MFG:Other;MODE:SCN;</deviceid></a>", nullptr));
}

TEST_F(AgentClientAppHandlerTest, ComThreadIsCountedByItsThread)
{
    const DebugConsoleCapture console;
    std::thread([&] {
        {
            const ComThread first;
            EXPECT_TRUE(first.IsValid() && console.Reports().empty());
            EXPECT_TRUE(ComThread().IsValid());
        }
        EXPECT_EQ(S_OK, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED)); // both have ended
        EXPECT_FALSE(ComThread().IsValid());
        EXPECT_EQ(S_FALSE, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED)); // which ended nothing
    }).join();
    EXPECT_THAT(console.Reports(), testing::ElementsAre("comInitResult", "comInitResult"));
}

} // namespace
