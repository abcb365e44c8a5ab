#include "DeviceIdentifier.h"
#include "LegacyModels.h"
#include "TestSupport.h"

namespace scankelv
{
namespace
{

using test::ToUtf8;
using test::ToWide;

struct Identifier
{
    const char* text;
    bool scans;
    bool ofQuellon;
    const char* model; ///< null: none
};

constexpr Identifier identifiers[] = {
    // As devices announce them: any order, any letter case, long lists, no closing semicolon.
    {"MFG:Quellon;CMD:PJL,PCL,PCLXL,URF,HBP;MDL:TARN 110;CLS:PRINTER;MODE:PRN,SCN,FAX;", true, true, "TARN 110"},
    {"mode:prn,scn4;mdl:tarn 110;mfg:QUELLON", true, true, "tarn 110"},
    {"MODE:SCNX;MODEL:Rill M15,Rill M20;MANUFACTURER:Quellon Inc.", true, true, "Rill M15"},
    {"MANUFACTURER:Other,Quellon;MODEL:A", false, false, "A"}, // the long key counts by its first value alone
    {"MFG:Other,quellon;MDL:A", false, true, "A"},             // the short one by each of them
    // The first field of a kind decides.
    {"MODE:PRN;MODE:SCN;MFG:Other;MFG:Quellon;MDL:A;MDL:B;", false, false, "A"},
    {"MODE:PRN,SCAN,xSCN;MFG:MyQuellon;MDL:;MDL:B", false, false, ""},
    // A key is recognised by its beginning, "MODEL" as "MODE" too; "MANUFACTURERS" as the manufacturer.
    {"MODEL:SCN;MANUFACTURERS:Quellon", true, true, "SCN"},
    {"MODEL:A;MODE:SCN", false, false, "A"},
    {"MDLX:A;MFGY:Quellon;MODES:SCN", true, true, "A"},
    // Blanks are part of the text.
    {"MFG: Quellon; MDL:A; MODE:SCN;", false, false, nullptr},
    {"MDL: A ;MODE: SCN", false, false, " A "},
    // Fields without a colon take their value from a later one, or have none.
    {"MDL;MFG;X:Quellon;MODE", false, true, "Quellon"},
    {"MODE;X:A,SCN;", true, false, nullptr},
    {"MODE;X:A,B", false, false, nullptr},
    {"MDL", false, false, nullptr},
    {"MDL:", false, false, nullptr},
    {"MFG:;MDL:,B;MODE:,,SCN", true, false, ""},
    {"MODE:PRN;SCN:A;MFG:Other;Quellon:B", false, false, nullptr}, // the next field is no value
    {"MODE:PRN,", false, false, nullptr},
    {"MDL::B:C;", false, false, ":B:C"},
    {"", false, false, nullptr},
    {";;;:::,,,", false, false, nullptr},
    {"MOD", false, false, nullptr},
    // Only ASCII letters lose their case.
    {"MDL:\xC3\xA4\xF0\x9F\x96\xA8;MFG:QUELL\xC3\x96N;", false, false, "\xC3\xA4\xF0\x9F\x96\xA8"},
};

TEST(DeviceIdentifier, Readers)
{
    for (const Identifier& row : identifiers)
    {
        SCOPED_TRACE(row.text);
        const WideText text = ToWide(row.text);
        EXPECT_EQ(row.scans, DeviceIdHasScanMode(text));
        EXPECT_EQ(row.ofQuellon, DeviceIdManufacturerIs(text, OLESTR("Quellon")));
        WideView model = OLESTR("untouched");
        EXPECT_EQ(row.model != nullptr, DeviceIdModel(text, model));
        EXPECT_EQ(row.model != nullptr ? row.model : "untouched", ToUtf8(model));
    }
}

TEST(DeviceIdentifier, VendorText)
{
    constexpr struct
    {
        const char* identifier;
        const WCHAR* vendor;
        bool is;
    } rows[] = {
        {"MFG:Quellon;", OLESTR(""), true},
        {"MFG:;", OLESTR(""), true},
        {"MFG:", OLESTR(""), false},
        {"MDL:Quellon;", OLESTR(""), false},
        {"MFG:Quellon, Inc.;", OLESTR("Quellon, Inc."), true},
        {"MFG:Quel", OLESTR("Quellon"), false},
    };
    for (const auto& [identifier, vendor, is] : rows)
        EXPECT_EQ(is, DeviceIdManufacturerIs(ToWide(identifier), vendor)) << identifier << " by " << ToUtf8(vendor);
}

// A reader that looked for the value of every field would not end within the hour.
TEST(DeviceIdentifier, HostileLength)
{
    for (const WCHAR* piece : {OLESTR(";"), OLESTR("x;"), OLESTR(":"), OLESTR(","), OLESTR("MDLMODEMFG")})
    {
        WideText text;
        while (text.size() < 4'000'000)
            text += piece;
        EXPECT_FALSE(DeviceIdHasScanMode(text) || DeviceIdManufacturerIs(text, OLESTR("Quellon")));
        WideView model;
        EXPECT_FALSE(DeviceIdModel(text, model));
    }
}

TEST(LegacyModels, Lookup)
{
    constexpr struct
    {
        const WCHAR* model;
        bool network;
        bool local;
    } rows[] = {
        {OLESTR("TARN 110 SERIES"), true, true},
        {OLESTR("Quellon Lochen x24 series (Copy 2)"), true, true}, // the last row that both have
        {OLESTR("Cascada N500 Series"), true, false},
        {OLESTR("brooklet 100 series"), false, true},
        {OLESTR("FORDEL F3 SERIES"), false, true},
        {OLESTR("TARN 110"), false, false},
        {OLESTR("TARN 110  SERIES"), false, false},
        {OLESTR(""), false, false},
    };
    for (const auto& [model, network, local] : rows)
    {
        EXPECT_EQ(network, IsLegacyNetworkModel(model)) << ToUtf8(model);
        EXPECT_EQ(local, IsLegacyLocalModel(model)) << ToUtf8(model);
    }
}

} // namespace
} // namespace scankelv
