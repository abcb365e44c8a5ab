// Numbers read from texts; a text without a number gives the preset, which is 7 here.
#include "TextScan.h"

#include "CaseName.h"

using namespace scankelv;

struct TextScanCase
{
    const char* name;
    const wchar_t* text;
    std::uint32_t hexadecimal16, hexadecimal32, decimal16;
};
const TextScanCase textScanCases[] = {
    {"SignAlone", L"-", 7, 7, 7},
    {"PrefixAlone", L"0x", 7, 7, 0},
    {"WhiteSpaceAndSign", L" \t\n\v\f\r+12 34", 0x12, 0x12, 12},
    {"EachKindOfDigitThenRubbish", L"0X19afAFg", 0xAFAF, 0x19AFAF, 0},
    {"Beyond16Bits", L"-65537", 0xAAC9, 0xFFF9AAC9, 0xFFFF},
    {"Beyond32Bits", L"-100000005", 0xFFFB, 0xFFFFFFFF, 0x1EFB},
    {"Beyond64Bits", L"10000000000000001", 1, 0xFFFFFFFF, 1},
};
using TextScan = testing::TestWithParam<TextScanCase>;
TEST_P(TextScan, ReadsANumber)
{
    EXPECT_EQ(GetParam().hexadecimal16, ScanHexadecimal16(GetParam().text, 7));
    EXPECT_EQ(GetParam().hexadecimal32, ScanHexadecimal32(GetParam().text, 7));
    EXPECT_EQ(GetParam().decimal16, ScanDecimal16(GetParam().text, 7));
}
INSTANTIATE_TEST_SUITE_P(, TextScan, testing::ValuesIn(textScanCases), test::caseName);
