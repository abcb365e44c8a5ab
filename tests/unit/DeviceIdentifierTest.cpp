#include "DeviceIdentifier.h"
#include "TestSupport.h"

using namespace scankelv;
using namespace test;

namespace
{

TEST(DeviceIdentifier, Readers)
{
    ExpectAnswers("unit/data/DeviceIdentifier.txt", [](const std::string& given) {
        const WideText text = ToWide(given);
        WideView model = OLESTR("untouched");
        const bool hasModel = DeviceIdModel(text, model);
        return std::string(DeviceIdHasScanMode(text) ? "scans, " : "") +
               (DeviceIdManufacturerIs(text, OLESTR("Quellon")) ? "by Quellon, " : "") +
               (DeviceIdManufacturerIs(text, OLESTR("")) ? "by somebody, " : "") + (hasModel ? "[" : "no model, ") +
               ToUtf8(model) + (hasModel ? "]\n" : "\n");
    });
    EXPECT_TRUE(DeviceIdManufacturerIs(OLESTR("MFG:Quellon, Inc.;"), OLESTR("Quellon, Inc."))); // over the comma
}

// A reader that looked for the value of every field, or for the field's end at every value, would not end within the
// hour.
TEST(DeviceIdentifier, HostileLength)
{
    for (const WCHAR* start : {OLESTR(""), OLESTR("MODE:"), OLESTR("MFG:")})
        for (const WCHAR* piece : {OLESTR(";"), OLESTR("x;"), OLESTR(":"), OLESTR(","), OLESTR("MDLMODEMFG")})
        {
            WideText text = start;
            while (text.size() < 4'000'000)
                text += piece;
            WideView model;
            EXPECT_FALSE(
                DeviceIdHasScanMode(text) || DeviceIdManufacturerIs(text, OLESTR("Quellon")) ||
                DeviceIdModel(text, model));
        }
}

} // namespace
