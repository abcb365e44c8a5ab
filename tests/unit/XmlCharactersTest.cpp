// The characters that XML can carry, and the paths of records.
#include "XmlCharacters.h"

#include "CaseName.h"
#include "RecordPath.h"

using namespace scankelv;
using namespace std::string_literals;

struct CharactersCase
{
    const char* name;
    std::wstring text, carried;
};
const CharactersCase charactersCases[] = {
    {"ControlCharacters", L"\0\x01\x08\t\n\v\f\r\x0E\x1F "s, L"\xFFFD\xFFFD\xFFFD\t\n\xFFFD\xFFFD\r\xFFFD\xFFFD "},
    {"CharactersThatStay", L" ~\x7F\xD7FF\xE000\xFFFD", L" ~\x7F\xD7FF\xE000\xFFFD"},
    {"CharactersThatAreNone", L"\xFFFE\xFFFF", L"\xFFFD\xFFFD"},
    {"SurrogatePairs", L"\xD800\xDC00\xDBFF\xDFFF", L"\xD800\xDC00\xDBFF\xDFFF"},
    {"HighHalves", L"\xD800\xDBFF\xDFFF\xD800 \xDBFF", L"\xFFFD\xDBFF\xDFFF\xFFFD \xFFFD"},
    {"LowHalves", L"\xDC00\xD800\xDC00\xDC00\xDFFF", L"\xFFFD\xD800\xDC00\xFFFD\xFFFD"},
};
using XmlCharacters = testing::TestWithParam<CharactersCase>;
TEST_P(XmlCharacters, AreCarriedOrReplaced)
{
    EXPECT_EQ(GetParam().carried, XmlCarried(GetParam().text));
    EXPECT_EQ(GetParam().carried == GetParam().text, XmlCanCarry(GetParam().text));
}
INSTANTIATE_TEST_SUITE_P(, XmlCharacters, testing::ValuesIn(charactersCases), test::caseName);

TEST(RecordPath, EndsInAtLeastThreeDigits)
{
    EXPECT_EQ(L"Software\\m\\Printer000", RecordPath(L"Software\\m", 0));
    EXPECT_EQ(L"\\Printer65535", RecordPath(L"", 65535));
}
