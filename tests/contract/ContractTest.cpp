// What Windows and its stand-in promise: one test for each file of calls/, and what no line of text can hold.
#include "Script.h"

#include <chrono>
#include <set>

namespace
{

class Contract : public testing::TestWithParam<const char*>
{
};

TEST_P(Contract, Holds)
{
    test::RunScript(GetParam());
}

INSTANTIATE_TEST_SUITE_P(, Contract, testing::Values(SCRIPTS), [](const auto& file) {
    return std::string(file.param);
});

TEST(Kernel, TimeAndSleep)
{
    ::SetLastError(test::kept);
    SYSTEMTIME time{};
    ::GetLocalTime(&time);
    EXPECT_TRUE(time.wYear >= 2024 && time.wMonth >= 1 && time.wMonth <= 12 && time.wDay >= 1 && time.wDay <= 31);
    EXPECT_TRUE(time.wHour < 24 && time.wMinute < 60 && time.wSecond < 61 && time.wMilliseconds < 1000);
    const auto before = std::chrono::steady_clock::now();
    ::Sleep(200);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(199));
    EXPECT_EQ(test::kept, ::GetLastError());
}

TEST(Kernel, EveryCodeHasAMessageOfItsOwnWithALineBreak)
{
    std::set<std::string> texts;
    for (const DWORD code :
         {0U, 2U, 3U, 5U, 6U, 8U, 13U, 14U, 32U, 80U, 87U, 112U, 122U, 123U, 126U, 127U, 161U, 183U, 193U, 234U, 1018U})
    {
        char text[1024];
        const std::size_t length = ::FormatMessageA(
            FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text, sizeof(text), nullptr);
        const std::string message(text, length);
        EXPECT_TRUE(length > 3 && message.find_first_of("\r\n") == length - 2 && message.ends_with("\r\n")) << message;
        EXPECT_TRUE(text[length] == '\0' && texts.insert(message).second) << message;
        EXPECT_EQ(code == 193, message.find("%1") != std::string::npos); // what could be inserted stays
    }
}

} // namespace
