#include "DeviceMatch.h"
#include "AgentTest.h"

namespace scankelv
{
namespace
{

using test::ToWide;

struct MatchCase
{
    const char* settings; ///< section Settings without its ProductName; null: no file
    const char* command;
    const char* elements; ///< "N" or "L" for the connection, then elements; an identifier stands in the column behind
    const char* identifier;
    bool matches;
    const char* reports = "";
};

constexpr const char* generic = "/MODE 1";
constexpr const char* tarn = "/MODE 0 /D \"Quellon TARN 110, TARN 120\" /PID 1a2b /VID c0d";
constexpr const char* noIds = "Mode=0\r\nModelName=TARN 110\r\n";
constexpr const char* noVid = "Mode=0\r\nModelName=TARN 110\r\nProductId=5\r\n";

constexpr MatchCase matchCases[] = {
    // Generic mode: the vendor, "Quellon" by default, and able to scan.
    {nullptr, "", "N", "MFG:Quellon;MODE:PRN,SCN;", true},
    {nullptr, generic, "L", "mfg:quellon;mode:prn,scn;", true},
    {nullptr, generic, "N", "MFG:Other;MODE:SCN;", false},
    {nullptr, "/V Other", "N", "MFG:Other;MODE:SCN;", true},
    {nullptr, "/V Other", "N", "MFG:Other;MDL:TARN 110 Series;", false}, // the legacy tables are Quellon's
    {nullptr, generic, "N", "MFG:Quellon;MDL:tarn 110 series;", true},
    {nullptr, generic, "N", "MFG:Quellon;MDL:tarn 110 series;MODE:PRN;", true},
    {nullptr, generic, "N", "MFG:Quellon;MDL:TARN 110;", false},
    {nullptr, generic, "N", "MFG:Quellon;MDL:,TARN 110 SERIES;", false},
    {nullptr, generic, "N", "MFG:Quellon;", false},
    {nullptr, generic, "N", "MFG:Quellon;MDL:CASCADA N300 Series;", true},
    {nullptr, generic, "L", "MFG:Quellon;MDL:CASCADA N300 Series;", false},
    {nullptr, generic, "N", "MFG:Quellon;MDL:FORDEL F1 Series;", false},
    {nullptr, generic, "L", "MFG:Quellon;MDL:FORDEL F1 Series;", true},
    // One model: the configured name contains the device's.
    {nullptr, tarn, "N", "MDL:TARN 120;MODE:SCN;", true},
    {nullptr, tarn, "N", "MDL:TARN 120;MODE:PRN;", false},
    {nullptr, tarn, "N", "MDL:Tarn 120;MODE:SCN;", false},
    {nullptr, tarn, "N", "MDL:TARN 1200;MODE:SCN;", false},
    {nullptr, tarn, "L", " MDL:TARN 110;MODE:SCN;", false}, // the blank hides the key
    {nullptr, tarn, "L<pid>1a2b</pid><vid>c0d</vid>", "MDL:;MODE:SCN;", false},
    {nullptr, tarn, "L<pid>1a2b</pid><vid>c0d</vid>", "MODE:SCN;", false},
    {nullptr, "/MODE 0 /D \"\" /PID 1 /VID 2", "N", "MDL:TARN 110;MODE:SCN;", false},
    // Another model: only a local one, by both ids.
    {nullptr, tarn, "L<pid>0x1A2B</pid><vid>0C0D</vid>", "MDL:X;MODE:SCN;", true},
    {nullptr, tarn, "N<pid>0x1A2B</pid><vid>0C0D</vid>", "MDL:X;MODE:SCN;", false},
    {nullptr, tarn, "L<pid>1a2c</pid>", "MDL:X;MODE:SCN;", false},
    {nullptr, tarn, "L<pid>1a2b</pid><vid>1c0d</vid>", "MDL:X;MODE:SCN;", false},
    {nullptr, tarn, "L<pid>11a2b</pid><vid>c0d</vid>", "MDL:X;MODE:SCN;", true},                  // the low 16 bits
    {nullptr, "/MODE 0 /D A /PID x /VID y", "L<pid>q</pid><vid></vid>", "MDL:X;MODE:SCN;", true}, // all 0
    {nullptr, tarn, "L<pid>1a2b</pid><vid>c0d</vid>", "MDL:X;MODE:PRN;", false},
    {nullptr, tarn, "L", "MDL:X;MODE:SCN;", false, "pidElement "},
    {nullptr, tarn, "L<pid>1a2b</pid>", "MDL:X;MODE:SCN;", false, "vidElement "},
    {noIds, "", "L", "MDL:X;MODE:SCN;", false},
    {noIds, "", "L", "MDL:TARN;MODE:SCN;", true},
    {noVid, "", "L<pid>5</pid>", "MDL:X;MODE:SCN;", false},
    {noVid, "/VID 6", "L<pid>5</pid><vid>6</vid>", "MDL:X;MODE:SCN;", true},
    // What is missing.
    {nullptr, "", "N", nullptr, false, "deviceIdElement "},
    {nullptr, "", "", "MFG:Quellon;MODE:SCN;", false, "ioTypeElement "},
    {nullptr, "", "N</device>", "MFG:Quellon;MODE:SCN;", false, "loadXmlResult "},
};

using DeviceMatch = test::AgentTest;

TEST_F(DeviceMatch, EveryBranch)
{
    const test::TemporaryFolder folder;
    for (const MatchCase& row : matchCases)
    {
        const std::string connection = row.elements[0] == 'N'   ? "<iotype>Network</iotype>"
                                       : row.elements[0] == 'L' ? "<iotype>Local</iotype>"
                                                                : "";
        const std::string identifier =
            row.identifier != nullptr ? "<deviceid xml:space='preserve'>" + std::string(row.identifier) + "</deviceid>"
                                      : "";
        const std::string xml =
            "<device>" + connection + (connection.empty() ? "" : row.elements + 1) + identifier + "</device>";
        SCOPED_TRACE(std::string(row.command) + " " + (row.settings != nullptr ? row.settings : "") + " " + xml);

        const test::Wide settings = row.settings != nullptr ? folder.File("ScanKELV.ini") : test::Wide();
        if (row.settings != nullptr)
            test::WriteFileBytes(settings, "[Settings]\r\nProductName=TARN Scan\r\n" + std::string(row.settings));
        const auto options = AgentOptions::Build(settings.c_str(), ToWide("agent " + std::string(row.command)).c_str());
        ASSERT_TRUE(options.has_value());
        test::DebugConsoleCapture console;
        EXPECT_EQ(row.matches, XmlDeviceMatch(*options, ToWide(xml).c_str()));
        EXPECT_EQ(row.reports, ReportedExpressions(console));
        EXPECT_EQ(*row.reports != 0, console.Text().find("XmlDeviceMatch") != std::string::npos) << console.Text();
    }
}

TEST_F(DeviceMatch, NoDocument)
{
    const auto options = AgentOptions::Build(OLESTR(""), OLESTR("agent"));
    ASSERT_TRUE(options.has_value());
    test::DebugConsoleCapture console;
    EXPECT_FALSE(XmlDeviceMatch(*options, nullptr));
    ::CoUninitialize();
    EXPECT_FALSE(XmlDeviceMatch(*options, OLESTR("<device/>")));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ("loadXmlResult createInstanceResult ", ReportedExpressions(console));
}

} // namespace
} // namespace scankelv
