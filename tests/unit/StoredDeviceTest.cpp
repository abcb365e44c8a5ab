// The device that a list describes, and what is stored of it.
#include "StoredDevice.h"
#include "DeviceListParsing.h"
#include "DeviceXml.h"
#include "OptionsTest.h"

#include <set>

using namespace scankelv;
using namespace test;

namespace
{

/// The list of one device with these changes, "element=text" or "element=-" for one left out, a bar behind each.
WideText ListText(const std::string& changes)
{
    std::string list =
        "<devicelist version='1'><device><iotype>Network</iotype><comment>2nd floor</comment>"
        "<devicepath>10.0.0.7</devicepath><scannerport>USBSCAN1</scannerport><deviceid>MFG:Q;MDL:T;</deviceid>"
        "<devicename>Hall</devicename><ext>ext 1</ext><hostname>hall.example</hostname>"
        "<location>Köln &amp; Z</location><macaddress>02-07</macaddress><modelname>TARN 110</modelname>"
        "<vendor>Quellon</vendor><pid>1a2b</pid><port>QP_1</port><productname>TARN Scan</productname>"
        "<serialnumber>SN1</serialnumber><systemdevicename>qlscan0</systemdevicename>"
        "<userlocation>Desk</userlocation><vid>0x0c0d</vid></device></devicelist>";
    for (const std::string& change : Parts(changes))
    {
        const std::string name = change.substr(0, change.find('=')), text = change.substr(name.size() + 1);
        const std::string end = "</" + name + ">";
        const std::size_t start = list.find("<" + name + ">");
        list.replace(
            start, list.find(end) + end.size() - start,
            text == "-" ? "" : "<" + name + " xml:space='preserve'>" + text + end);
    }
    return ToWide(list);
}

using StoredDevice = OptionsTest;

TEST_F(StoredDevice, ElementsAndTheirAbsence)
{
    const AgentOptions options[] = {
        Options("/M Driver /D x", "ProductName=x\r\nModelName=x"),
        Options("/M Driver", "ProductName=x\r\nModelName=x\r\nPropertiesUI=1")};
    XmlParsedDeviceList used; // a record used before
    std::set<std::string> usual;
    ExpectAnswers("unit/data/StoredDevice.txt", [&](const std::string& given) {
        const bool withProperties = given.starts_with("PropertiesUI|");
        XmlParsedDeviceList device = used;
        const DebugConsoleCapture console;
        if (!ParseDeviceList(ListText(given.substr(withProperties ? 13 : 0)).c_str(), device))
            return ReportedExpressions(console) + "\n";
        EXPECT_TRUE(StoreDeviceListAndUpdateIcc(options[withProperties ? 1 : 0], device));
        std::string answer;
        std::istringstream lines(ToUtf8(WideFromNarrow(AgentLines(console)))); // the log is in the 8-bit code page
        for (std::string line; std::getline(lines, line) && !line.starts_with("File ");)
            if (!usual.contains(line))
                answer += line + "\n";
        if (usual.empty())
        {
            std::istringstream first(answer);
            for (std::string line; std::getline(first, line);)
                usual.insert(line);
            used = device;
        }
        return answer;
    });
}

TEST_F(StoredDevice, WithoutDocumentsNoListIsRead)
{
    XmlParsedDeviceList device;
    const DebugConsoleCapture console;
    ::CoUninitialize();
    EXPECT_FALSE(ParseDeviceList(ListText("").c_str(), device));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
}

TEST_F(StoredDevice, DeviceXmlThatCannotBeSavedStopsNothingElse)
{
    const Wide file = DeviceXmlLocation().Text();
    ::DeleteFileW(file.c_str());
    ::CreateDirectoryW(file.c_str(), nullptr);
    XmlParsedDeviceList device;
    ASSERT_TRUE(ParseDeviceList(ListText("").c_str(), device));
    const DebugConsoleCapture console;
    EXPECT_TRUE(StoreDeviceListAndUpdateIcc(Options("/M Driver"), device));
    EXPECT_TRUE(ReportedExpressions(console).ends_with("exportResult ")) << console.Text();
    EXPECT_FALSE(StoredText(HKEY_CURRENT_USER, OLESTR("Software\\QLScan\\Driver")).empty());
    ::RemoveDirectoryW(file.c_str());
}

TEST_F(StoredDevice, UpdaterThatIsNoProgram)
{
    const Wide updater = LocationOfModuleFile(OLESTR("Hueward.exe")).Text();
    WriteFileBytes(updater, "no program");
    for (const std::size_t length : {0U, 1016U, 1017U, 5000U})
    {
        const std::string name(length, 'n'), quoted = ("\"\"\"" + name + "\"\"\"").substr(0, 1022);
        XmlParsedDeviceList device;
        ASSERT_TRUE(ParseDeviceList(ListText("productname=" + name).c_str(), device));
        const DebugConsoleCapture console;
        EXPECT_TRUE(StoreDeviceListAndUpdateIcc(Options("/M Driver"), device));
        const std::string log = console.Text();
        EXPECT_NE(std::string::npos, log.find("triple-quoted name " + quoted + "\r\n")) << log;
        EXPECT_NE(std::string::npos, log.find(" with argument \"" + quoted + "\" in working directory \"")) << log;
        EXPECT_EQ("result ", ReportedExpressions(console).substr(0, 7)) << log;
        EXPECT_NE(std::string::npos, log.find("Hueward failed.\r\n")) << log;
        EXPECT_NE(
            std::string::npos,
            StoredText(HKEY_CURRENT_USER, OLESTR("Software\\QLScan\\Driver")).find("ProductName = 1 '" + name + "'"));
    }
    ::DeleteFileW(updater.c_str());
}

} // namespace
