// What the readers of device identifiers find.
#include "DeviceIdentifier.h"

#include "CaseName.h"

using namespace scankelv;

constexpr std::wstring_view none = L"untouched"; ///< no model: what was there stays
constexpr std::size_t million = 1'000'000; ///< in time with the square of it, no test would end before its timeout

struct IdentifierCase
{
    const char* name;
    std::wstring identifier;
    bool scans, isVendor;
    std::wstring_view model, vendor = L"Quellon";
};
const IdentifierCase identifierCases[] = {
    {"Usual", L"MFG:Quellon;CMD:PJL,URF;MDL:TARN 110;CLS:PRINTER;MODE:PRN,SCN,FAX;", true, true, L"TARN 110"},
    {"LetterCaseWithoutEnd", L"mode:prn,scn4;mdl:tarn 110;mfg:azAZ", true, true, L"tarn 110", L"AZaz"},
    {"LongKeys", L"MODEL:Rill;MANUFACTURER:Quellon Inc.;MODE:SCN", false, true, L"Rill"},
    {"LongerKeys", L"MDLX:A;MFGY:Quellon;MODES:SCN", true, true, L"A"},
    {"OtherKeys", L"MD:A;XMFG:Quellon;MOD:SCN;MANUFACTURE:Quellon;CMD:MDL,MFG:Quellon,MODE:SCN", false, false, none},
    {"BlanksAndSecondColonsAreText", L" MFG:Quellon;MDL:: A ;MODE: SCN;", false, false, L": A "},
    {"FirstFieldOfAKindDecides", L"MODE:PRN;MODE:SCN;MFG:B;MFG:Quellon;MDL:A;MODEL:B;", false, false, L"A"},
    {"LongKeyHasItsFirstValue", L"MANUFACTURER:Other,Quellon;MODEL:A,B", false, false, L"A"},
    {"ColonMissingTakesTheNextOne", L"MDL;MFG;MODE;X:Quellon,SCN;", true, true, L"Quellon"},
    {"NothingAfterTheColon", L"MDL;MFG;MODE:", false, false, none, L""},
    {"EmptyFieldsValuesAndVendor", L";;MFG:;;MDL:,B;MODE:,;;", false, true, L"", L""},
    {"LongLists", std::wstring(million, L';') + L"MODE:" + std::wstring(million, L',') + L"SCN", true, false, none},
};
using DeviceIdentifier = testing::TestWithParam<IdentifierCase>;
TEST_P(DeviceIdentifier, IsRead)
{
    std::wstring_view model = none;
    EXPECT_EQ(GetParam().scans, DeviceIdHasScanMode(GetParam().identifier));
    EXPECT_EQ(GetParam().isVendor, DeviceIdManufacturerIs(GetParam().identifier, GetParam().vendor));
    EXPECT_EQ(GetParam().model != none, DeviceIdModel(GetParam().identifier, model));
    EXPECT_EQ(GetParam().model, model);
}
INSTANTIATE_TEST_SUITE_P(, DeviceIdentifier, testing::ValuesIn(identifierCases), test::caseName);
