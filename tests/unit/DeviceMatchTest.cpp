#include "DeviceMatch.h"
#include "OptionsTest.h"

using namespace scankelv;
using namespace test;

namespace
{

using DeviceMatch = OptionsTest;

TEST_F(DeviceMatch, EveryBranch)
{
    constexpr const char* generic = "/MODE 1";
    constexpr const char* tarn = "/MODE 0 /D \"Quellon TARN 110, TARN 120\" /PID 1a2b /VID c0d";
    constexpr const char* noIds = "ProductName=TARN Scan\r\nModelName=TARN 110\r\n";
    constexpr const char* noVid = "ProductName=TARN Scan\r\nModelName=TARN 110\r\nProductId=5\r\n";
    const struct
    {
        const char *settings, *command;
        const char* elements;   ///< "N" or "L" for the connection, then other elements
        const char* identifier; ///< null: none
        bool matches;
        const char* reports = "";
    } rows[] = {
        // Generic mode: the vendor, "Quellon" by default, and able to scan.
        {"", "", "N", "MFG:Quellon;MODE:PRN,SCN;", true},
        {"", generic, "L", "mfg:quellon;mode:prn,scn;", true},
        {"", generic, "N", "MFG:Other;MODE:SCN;", false},
        {"", "/V Other", "N", "MFG:Other;MODE:SCN;", true},
        {"", "/V Other", "N", "MFG:Other;MDL:TARN 110 Series;", false}, // the legacy tables are Quellon's
        {"", generic, "N", "MFG:Quellon;MDL:tarn 110 series;MODE:PRN;", true},
        {"", generic, "N", "MFG:Quellon;MDL:TARN 110;", false},
        {"", generic, "N", "MFG:Quellon;", false},
        {"", generic, "N", "MFG:Quellon;MDL:CASCADA N300 Series;", true},
        {"", generic, "L", "MFG:Quellon;MDL:CASCADA N300 Series;", false},
        {"", generic, "N", "MFG:Quellon;MDL:FORDEL F3 Series;", false},
        {"", generic, "L", "MFG:Quellon;MDL:Quellon FORDEL f3 series (Copy 2);", true},
        // One model: the configured name contains the device's.
        {"", tarn, "N", "MDL:TARN 120;MODE:SCN;", true},
        {"", tarn, "N", "MDL:TARN 120;MODE:PRN;", false},
        {"", tarn, "N", "MDL:Tarn 120;MODE:SCN;", false},
        {"", tarn, "N", "MDL:TARN 1200;MODE:SCN;", false},
        {"", tarn, "L", " MDL:TARN 110;MODE:SCN;", false}, // the blank hides the key
        {"", tarn, "L<pid>1a2b</pid><vid>c0d</vid>", "MDL:;MODE:SCN;", false},
        {"", "/MODE 0 /D \"\" /PID 1 /VID 2", "N", "MDL:TARN 110;MODE:SCN;", false},
        // Another model: only a local one, by both ids.
        {"", tarn, "L<pid>0x1A2B</pid><vid>0C0D</vid>", "MDL:X;MODE:SCN;", true},
        {"", tarn, "N<pid>0x1A2B</pid><vid>0C0D</vid>", "MDL:X;MODE:SCN;", false},
        {"", tarn, "L<pid>1a2c</pid>", "MDL:X;MODE:SCN;", false},
        {"", tarn, "L<pid>1a2b</pid><vid>1c0d</vid>", "MDL:X;MODE:SCN;", false},
        {"", tarn, "L<pid>11a2b</pid><vid>c0d</vid>", "MDL:X;MODE:SCN;", true},                  // the low 16 bits
        {"", "/MODE 0 /D A /PID x /VID y", "L<pid>q</pid><vid></vid>", "MDL:X;MODE:SCN;", true}, // all 0
        {"", tarn, "L", "MDL:X;MODE:SCN;", false, "pidElement "},
        {"", tarn, "L<pid>1a2b</pid>", "MDL:X;MODE:SCN;", false, "vidElement "},
        {noIds, "", "L", "MDL:X;MODE:SCN;", false},
        {noIds, "", "L", "MDL:TARN;MODE:SCN;", true},
        {noVid, "", "L<pid>5</pid>", "MDL:X;MODE:SCN;", false},
        {noVid, "/VID 6", "L<pid>5</pid><vid>6</vid>", "MDL:X;MODE:SCN;", true},
        // What is missing.
        {"", "", "N", nullptr, false, "deviceIdElement "},
        {"", "", "", "MFG:Quellon;MODE:SCN;", false, "ioTypeElement "},
        {"", "", "N</device>", "MFG:Quellon;MODE:SCN;", false, "loadXmlResult "},
    };
    for (const auto& row : rows)
    {
        std::string xml = row.elements;
        if (!xml.empty())
            xml.replace(0, 1, xml[0] == 'N' ? "<iotype>Network</iotype>" : "<iotype>Local</iotype>");
        if (row.identifier != nullptr)
            xml += "<deviceid xml:space='preserve'>" + std::string(row.identifier) + "</deviceid>";
        xml = "<device>" + xml + "</device>";
        SCOPED_TRACE(std::string(row.command) + " " + row.settings + " " + xml);
        const AgentOptions options = Options(row.command, row.settings);
        const DebugConsoleCapture console;
        EXPECT_EQ(row.matches, XmlDeviceMatch(options, ToWide(xml).c_str()));
        EXPECT_EQ(row.reports, ReportedExpressions(console));
        EXPECT_EQ(*row.reports != 0, console.Text().find("XmlDeviceMatch") != std::string::npos) << console.Text();
    }
    const AgentOptions options = Options("");
    const DebugConsoleCapture console;
    EXPECT_FALSE(XmlDeviceMatch(options, nullptr));
    ::CoUninitialize();
    EXPECT_FALSE(XmlDeviceMatch(options, OLESTR("<device/>")));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ("loadXmlResult createInstanceResult ", ReportedExpressions(console));
}

} // namespace
