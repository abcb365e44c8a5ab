#include "TestSupport.h"

#include <set>

namespace
{

constexpr DWORD marker = 0xDEADBEEF;
constexpr DWORD systemText = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

std::string MessageOf(DWORD code, DWORD language = 0x400)
{
    char text[1024];
    const DWORD length = ::FormatMessageA(systemText, nullptr, code, language, text, sizeof(text), nullptr);
    EXPECT_EQ('\0', text[length]);
    return {text, length};
}

TEST(Message, EveryCodeHasATextOfItsOwnWithALineBreak)
{
    std::set<std::string> texts;
    const DWORD codes[] = {0,   2,   3,   5,   6,   8,   13,  14,  32,  80,   87,  112,
                           122, 123, 126, 127, 161, 183, 193, 206, 234, 1018, 1155};
    for (const DWORD code : codes)
    {
        SCOPED_TRACE(code);
        ::SetLastError(marker);
        const std::string text = MessageOf(code);
        EXPECT_EQ(marker, ::GetLastError());
        EXPECT_TRUE(text.size() > 3 && text.substr(text.size() - 2) == "\r\n") << text;
        EXPECT_EQ(text.size() - 2, text.find_first_of("\r\n"));
        EXPECT_TRUE(texts.insert(text).second) << text;
        for (const DWORD language : {0U, 0x409U})
            EXPECT_EQ(text, MessageOf(code, language));
        if (code != 0)
        {
            EXPECT_EQ(text, MessageOf(0x80070000U | code));
        }
    }
    EXPECT_NE(std::string::npos, MessageOf(ERROR_BAD_EXE_FORMAT).find("%1"));
}

TEST(Message, RefusalsLeaveTheBufferAlone)
{
    const auto length = static_cast<DWORD>(MessageOf(5).size());
    const struct
    {
        const char* what;
        DWORD code;
        DWORD language;
        DWORD room;
        DWORD error; // 0: the text
    } rows[] = {
        {"unknown code", 99999, 0, 100, ERROR_MR_MID_NOT_FOUND},
        {"all bits", 0xFFFFFFFF, 0, 100, ERROR_MR_MID_NOT_FOUND},
        {"unknown language", 5, 0x7777, 100, ERROR_RESOURCE_LANG_NOT_FOUND},
        {"no room for the terminator", 5, 0x400, length, ERROR_INSUFFICIENT_BUFFER},
        {"exact room", 5, 0x400, length + 1, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        char text[128];
        std::fill(std::begin(text), std::end(text), '#');
        ::SetLastError(marker);
        EXPECT_EQ(
            row.error == 0 ? length : 0,
            ::FormatMessageA(systemText, nullptr, row.code, row.language, text, row.room, nullptr));
        EXPECT_EQ(row.error == 0 ? marker : row.error, ::GetLastError());
        EXPECT_EQ(row.error == 0 ? MessageOf(5) + '\0' : "#", std::string(text, row.error == 0 ? length + 1 : 1));
    }
}

} // namespace
