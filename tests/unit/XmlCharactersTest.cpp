// The characters that XML can carry.
#include "XmlCharacters.h"

#include "CaseName.h"

using namespace scankelv;
using namespace std::string_literals;

struct CharactersCase
{
    const char* name;
    std::wstring text, carried;
};
const CharactersCase charactersCases[] = {
    {"ControlCharacters", L"\0\x01\x08\t\n\v\f\r\x0E\x1F "s, L"\xFFFD\xFFFD\xFFFD\t\n\xFFFD\xFFFD\r\xFFFD\xFFFD "},
    {"AllThatStays", L" ~\xD7FF\xE000\xFFFD\xD800\xDC00\xDBFF\xDFFF", L" ~\xD7FF\xE000\xFFFD\xD800\xDC00\xDBFF\xDFFF"},
    {"LoneHalves", L"\xD800\xDBFF\xDFFF\xDC00 \xFFFF\xDBFF", L"\xFFFD\xDBFF\xDFFF\xFFFD \xFFFD\xFFFD"},
};
using XmlCharacters = testing::TestWithParam<CharactersCase>;
TEST_P(XmlCharacters, AreCarriedOrReplaced)
{
    EXPECT_EQ(GetParam().carried, XmlCarried(GetParam().text));
    EXPECT_EQ(GetParam().carried == GetParam().text, XmlCanCarry(GetParam().text));
}
INSTANTIATE_TEST_SUITE_P(, XmlCharacters, testing::ValuesIn(charactersCases), test::caseName);
