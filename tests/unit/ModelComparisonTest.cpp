// What an identifier says of the device's model, and the tables of legacy families.
#include "ModelComparison.h"

#include "CaseName.h"

using namespace scankelv;

struct ScanCase
{
    const char* name;
    const wchar_t* identifier;
    bool asNetwork, asLocal;
};
const ScanCase scanCases[] = {
    {"ScanMode", L"MFG:Other;MODE:SCN", true, true},
    {"LastOfNetwork", L"MFG:Quellon;MDL:CASCADA N500 SERIES;", true, false},
    {"LastOfLocal", L"MFG:Quellon;MDL:FORDEL F3 SERIES;", false, true},
    {"PartOfALongerName", L"manufacturer:quellon inc.;model:my weir c40 series 2;mode:prn", true, true},
    {"StartOfAFamilyAlone", L"MFG:Quellon;MDL:TARN 110 SERIE;", false, false},
};
using Scanning = testing::TestWithParam<ScanCase>;
TEST_P(Scanning, IsAnnouncedOrOfALegacyFamily)
{
    EXPECT_EQ(GetParam().asNetwork, CanScan(GetParam().identifier, true));
    EXPECT_EQ(GetParam().asLocal, CanScan(GetParam().identifier, false));
}
INSTANTIATE_TEST_SUITE_P(, Scanning, testing::ValuesIn(scanCases), test::caseName);
