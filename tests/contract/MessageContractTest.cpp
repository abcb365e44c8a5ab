// The texts of the system's error codes: their form; the wording is each system's own.
#include "LastError.h"
#include "TestSupport.h"

#include <set>
#include <tuple>

namespace
{

using test::kept;
using test::LastError;

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
    const DWORD codes[] = {0, 2, 3, 5, 6, 8, 13, 14, 32, 80, 87, 112, 122, 123, 126, 127, 161, 183, 193, 234, 1018};
    for (const DWORD code : codes)
    {
        SCOPED_TRACE(code);
        const std::string text = MessageOf(code);
        EXPECT_TRUE(text.size() > 3 && text.find_first_of("\r\n") == text.size() - 2 && text.ends_with("\r\n")) << text;
        EXPECT_TRUE(texts.insert(text).second) << text;
        for (const DWORD language : {0U, 0x409U})
            EXPECT_EQ(text, MessageOf(code, language));
        EXPECT_EQ(text, MessageOf(code == 0 ? 0 : 0x80070000U | code));
    }
    EXPECT_NE(std::string::npos, MessageOf(ERROR_BAD_EXE_FORMAT).find("%1"));
}

TEST(Message, RefusalsLeaveTheBufferAlone)
{
    const std::string known = MessageOf(5);
    const auto length = static_cast<DWORD>(known.size());
    const std::tuple<DWORD, DWORD, DWORD, DWORD> rows[] = {
        // code, language, room; last error
        {99999, 0, 100, ERROR_MR_MID_NOT_FOUND},
        {0xFFFFFFFF, 0, 100, ERROR_MR_MID_NOT_FOUND},
        {5, 0x7777, 100, ERROR_RESOURCE_LANG_NOT_FOUND},
        {5, 0x400, length, ERROR_INSUFFICIENT_BUFFER}, // none for the terminator
        {5, 0x400, length + 1, kept}};
    for (const auto& [code, language, room, error] : rows)
    {
        std::string text(128, '#');
        EXPECT_EQ(
            error, LastError().Of(::FormatMessageA(systemText, nullptr, code, language, text.data(), room, nullptr)));
        EXPECT_EQ(error == kept ? known + '\0' : std::string(length + 1, '#'), text.substr(0, length + 1)) << error;
    }
}

} // namespace
