// Online testing: what the library reports, and what of it is stored.
#include "Installation.h"

namespace
{

using namespace test;

const Wide driverKey = OLESTR("Software\\QLScan\\Run Driver");
const std::string cut(255, 'x');

struct QueryCase
{
    const char* name;
    int connectionType; // as stored before; -1: no stored device
    const char* report; // what the library's query gives
    std::string values; // stored afterwards
    const char* lines;
};

const QueryCase queryCases[] = {
    {"AnsweredFromAnotherThread", 1,
     "<thread>own</thread><delay>300</delay><change>1</change><address>192.0.2.77</address><macaddress>M2</macaddress>",
     "Online=#1|Changed=#1|Address=192.0.2.77|Address2=192.0.2.77|MACAddress=M2",
     "do Online testing|original device addresses 192.0.2.1, M1|store Query results|"
     "qdc: status 0, change 1, lpAddress 192.0.2.77, lpMACAddress M2|remove Online status|remove Changed status|"
     "store Online status 1|patch device addresses 192.0.2.77, M2|store Changed status 1|"
     "skip UI due to needQueryAddress"},
    {"AnsweredUnchanged", 1, "<change>2</change><address>192.0.2.77</address>",
     "Online=#1|Changed=#0|Address=192.0.2.77|Address2=192.0.2.77|MACAddress=M1",
     "qdc: status 0, change 2, lpAddress 192.0.2.77, lpMACAddress M1|store Changed status 0"},
    {"ChangeOfZero", 1, "<change>0</change>", "Changed=#1|Address=192.0.2.1", "store Changed status 1"},
    {"LocalDevice", 0, "<address>USB9</address>", "Online=#1|Address=USB9|Address2=(none)|MACAddress=M1",
     "patch device addresses USB9, M1"},
    {"DidNotAnswer", 1, "<status>3</status><change>9</change><address>X</address>",
     "Online=#0|Changed=#0|Address=192.0.2.1|Address2=(none)|MACAddress=M1",
     "store Online status 0|do not patch device addresses|store Changed status 0"},
    {"QueryRefused", 1, "<return>1</return>", "Online=#7|Changed=#8|Address=192.0.2.1|Address2=(none)|MACAddress=M1",
     "do not store Query results|skip UI due to needQueryAddress"},
    {"NoStoredDevice", -1, "", "Online=#1|Changed=#1|Address=0|Address2=(none)|MACAddress=0",
     "fail to open user storage for read in HKCU|original device addresses 0, 0|store Online status 1"},
    {"NullTexts", 1, "<address><null/></address><macaddress><null/></macaddress>",
     "Online=#1|Address=|Address2=|MACAddress=", "qdc: status 0, change 0, lpAddress , lpMACAddress "},
    {"TextsOf10000Characters", 1,
     "<thread>own</thread><address><repeat>10000 x</repeat></address><macaddress><repeat>255 x</repeat></macaddress>",
     "Address=" + cut + "|Address2=" + cut + "|MACAddress=" + cut, "store Online status 1"},
};

class OnlineTestingRun : public testing::TestWithParam<QueryCase>
{
};

TEST_P(OnlineTestingRun, StoresWhatTheDeviceAnswered)
{
    const QueryCase& query = GetParam();
    const Installation installation;
    installation.Settings("ProductName=Run Driver\r\nModelName=None\r\nVendorName=Quellon GmbH");
    installation.Behave("accepted", "QueryDeviceAddress", query.report);
    if (query.connectionType >= 0)
    {
        StoreText(HKEY_CURRENT_USER, driverKey, OLESTR("Address"), OLESTR("192.0.2.1"));
        StoreText(HKEY_CURRENT_USER, driverKey, OLESTR("MACAddress"), OLESTR("M1"));
        StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("ConnectionType"), static_cast<DWORD>(query.connectionType));
        StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("Online"), 7);
        StoreNumber(HKEY_CURRENT_USER, driverKey, OLESTR("Changed"), 8);
    }

    const ProgramResult result = installation.Run("/Q");

    EXPECT_EQ(0U, result.exitCode);
    ExpectLines(result.debugConsole, query.lines);
    ExpectStored(driverKey, query.values);
    const std::string before = query.connectionType >= 0 ? "192.0.2.1" : "0";
    const std::string macBefore = query.connectionType >= 0 ? "M1" : "0";
    EXPECT_TRUE(installation.Asked().starts_with(
        "QueryDeviceAddress\n  address = " + before + "\n  macAddress = " + macBefore +
        "\n  productName = Run Driver\n  vendorName = Quellon GmbH\n"))
        << installation.Asked();
}

INSTANTIATE_TEST_SUITE_P(Runs, OnlineTestingRun, testing::ValuesIn(queryCases), [](const auto& run) {
    return std::string(run.param.name);
});

TEST(OnlineTestingRun, PatchesConfigIniAndKeepsItsOtherLines)
{
    const Installation installation;
    ASSERT_EQ(0U, installation.Run().exitCode);
    installation.Behave("accepted", "QueryDeviceAddress", "<address>192.0.2.77</address>");
    std::string expected = ReadFileBytes(wiaStorage);
    ASSERT_EQ(0U, installation.Run("/Q").exitCode);
    const std::string before = Utf16Bytes(OLESTR("192.0.2.41"));
    for (std::size_t at = 0; (at = expected.find(before)) != std::string::npos;)
        expected.replace(at, before.size(), Utf16Bytes(OLESTR("192.0.2.77")));
    EXPECT_EQ(expected, ReadFileBytes(wiaStorage));
}

} // namespace
