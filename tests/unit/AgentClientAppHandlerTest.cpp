#include "AgentClientAppHandler.h"

#include "AgentTest.h"
#include "ComThread.h"

#include <thread>

using namespace scankelv;
using namespace test;

namespace
{

struct AgentClientAppHandlerTest : AgentTest
{
    AgentClientAppHandler m_handler;
    const DebugConsoleCapture m_console;
};

TEST_F(AgentClientAppHandlerTest, AnswersOnAnyThreadAndLeavesItsComAsItWas)
{
    EXPECT_EQ(6U, m_handler.HandleEvent(L"AddBtn.OnClick", 1, 2, nullptr));
    for (const HRESULT had : {S_OK, S_FALSE}) // no COM; COM in the other model
        std::thread([&] {
            if (had == S_FALSE)
                ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            const wchar_t* const device = L"<a><iotype/><deviceid>MFG:Quellon;MODE:SCN;</deviceid></a>";
            EXPECT_EQ(1U, m_handler.CheckDevice(device, nullptr)) << had;
            EXPECT_EQ(0U, m_handler.CheckDevice(L"<a><iotype/><deviceid>MFG:Q;</deviceid></a>", nullptr)) << had;
            EXPECT_THAT(m_console.Reports(), testing::IsEmpty());
            EXPECT_EQ(had, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        }).join();
    EXPECT_TRUE(ComThread().IsValid()); // this thread has had COM before
    EXPECT_THAT(m_console.Reports(), testing::ElementsAre("comInitResult"));
}

} // namespace
