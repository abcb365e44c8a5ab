#include "AgentClientAppHandler.h"

#include "AgentTest.h"
#include "ComThread.h"

#include <thread>

using namespace scankelv;
using namespace test;
using testing::HasSubstr, testing::Not;

using AgentClientAppHandlerTest = AgentTest;
TEST_F(AgentClientAppHandlerTest, AnswersOnAnyThreadAndLeavesItsComAsItWas)
{
    AgentClientAppHandler handler;
    const DebugConsoleCapture console;
    EXPECT_EQ(6U, handler.HandleEvent(L"AddBtn.OnClick", 1, 2, nullptr));
    for (const HRESULT had : {S_OK, S_FALSE}) // no COM; COM in the other model
        std::thread([&] {
            if (had == S_FALSE)
                ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            const wchar_t* const device = L"<a><iotype/><deviceid>MFG:Quellon;MODE:SCN;</deviceid></a>";
            EXPECT_EQ(1U, handler.CheckDevice(device, nullptr)) << had;
            EXPECT_EQ(had, ::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
        }).join();
    EXPECT_THAT(console.Text(), Not(HasSubstr("Expression")));
    EXPECT_TRUE(ComThread().IsValid()); // this thread has had COM before
    EXPECT_THAT(console.Text(), HasSubstr("Expression  comInitResult  failed!"));
}
