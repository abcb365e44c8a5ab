#include "DeviceIdentifier.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;

namespace
{

TEST(DeviceIdentifier, Readers)
{
    constexpr struct
    {
        const char* text;
        bool scans;
        bool ofQuellon;
        const char* model; ///< null: none
    } rows[] = {
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
        {"MDL", false, false, nullptr},
        {"MDL:", false, false, nullptr},
        {"MFG:;MDL:,B;MODE:,,SCN", true, false, ""},
        {"MODE:PRN;SCN:A;MFG:Other;Quellon:B", false, false, nullptr}, // the next field is no value
        {"MDL::B:C;", false, false, ":B:C"},
        {"", false, false, nullptr},
        {";;;:::,,,MOD", false, false, nullptr},
        // Only ASCII letters lose their case.
        {"MDL:\xC3\xA4\xF0\x9F\x96\xA8;MFG:QUELL\xC3\x96N;", false, false, "\xC3\xA4\xF0\x9F\x96\xA8"},
    };
    for (const auto& row : rows)
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

} // namespace
