#include "CodePage.h"

#include "TestSupport.h"

using namespace scankelv;

// Characters that the code page has or lacks, and a surrogate pair, around the border of what is converted at once
// (128) and of Format's own space (256).
TEST(CodePageTest, ConvertsTextsWhole)
{
    for (const std::size_t before : {0U, 125U, 126U, 127U, 254U, 255U, 256U})
    {
        std::wstring wide(before, L'x');
        EXPECT_EQ(std::string(before, 'x'), Format<char>("%ws", wide));
        wide += L"\x00E4\xD83D\xDE00\x20AC\x0416" + std::wstring(300, L'\xE4');
        char narrow[2048];
        wchar_t back[2048];
        ::WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, narrow, 2048, nullptr, nullptr);
        ::MultiByteToWideChar(CP_ACP, 0, narrow, -1, back, 2048);
        EXPECT_EQ(std::string(narrow) + narrow, NarrowFromWide(wide) + Format<char>("%ws", wide));
        EXPECT_EQ(std::wstring(back) + back, WideFromNarrow(narrow) + Format<wchar_t>("%s", narrow));
    }
}
