// Online testing: what the library is asked about the stored device, and what its answer changes.
#include "RunFixture.h"

using namespace test;
using testing::HasSubstr, testing::StartsWith;

const char* const nullTexts = "<change>0</change><address><null/></address><macaddress><null/></macaddress>";
const char* const longTexts = "<change>2</change><address><repeat>9999 x</repeat></address><macaddress>y</macaddress>";

struct AnswerCase
{
    const char *name, *gives;
    const char *connectionType, *statusAndChange; ///< stored
    std::string address, address2, macAddress;
};
// The device is stored with these addresses; unless the row says otherwise, it answers with others.
const std::string old = "192.0.2.1", oldMac = "00-00-5E-00-53-01", now = "192.0.2.141", nowMac = "00-00-5E-00-53-41";
const std::string longX(255, 'x');
const AnswerCase answerCases[] = {
    {"Late", "<thread>own</thread><delay>300</delay>", "#1", "#1 #1", now, now, nowMac},
    {"LocalDevice", "", "#0", "#1 #1", now, "old", nowMac},
    {"NullTextsAndChangeOfZero", nullTexts, "#1", "#1 #1", old, old, oldMac},
    {"LongTextsUnchanged", longTexts, "#1", "#1 #0", longX, longX, "y"},
    {"AnsweredTwice", "<again>1</again>", "#1", "#1 #1", now, now, nowMac},
    {"NotThere", "<status>3</status>", "#1", "#0 #1", old, "old", oldMac},
    {"NullPointers", "<nullpointers>1</nullpointers>", "#1", "#0 #0", old, "old", oldMac},
    {"Failed", "<return>1</return>", "#1", "#7 #7", old, "old", oldMac},
};

std::string Ini(const std::string& address, const std::string& address2, const std::string& macAddress)
{
    return "[IO]\r\nAddress=" + address + "\r\nAddress2=" + address2 + "\r\nMACAddress=" + macAddress + "\r\n";
}

using AnswerTest = TableOf<AnswerCase, AgentRun>;
TEST_P(AnswerTest, IsWrittenBack)
{
    const auto& given = GetParam();
    UseGenericDriver();
    std::filesystem::create_directories(std::filesystem::path(configIni).parent_path());
    WriteFileBytes(configIni, Utf16File(ToWide(Ini(old, "old", oldMac))));
    Store(
        HKEY_CURRENT_USER, m_key,
        "Address=" + old + "\nAddress2=old\nMACAddress=" + oldMac +
            "\nOnline=#7\nChanged=#7\nConnectionType=" + given.connectionType);
    LibraryGives("QueryDeviceAddress", given.gives + std::string("<thread/><delay>0</delay>"));
    EXPECT_EQ(0, Run(L"/Q /V Vendor"));
    EXPECT_EQ("QueryDeviceAddress\n", Calls());
    EXPECT_THAT(LibraryLog(), HasSubstr("  address = " + old + "\n  macAddress = " + oldMac + "\n"));
    EXPECT_THAT(LibraryLog(), HasSubstr("  productName = Quellon Generic Scan Driver\n  vendorName = Vendor\n"));
    EXPECT_EQ(given.statusAndChange, Stored(L"Online") + " " + Stored(L"Changed"));
    EXPECT_THAT(StoredValues(), StartsWith("Address=" + given.address + "\nAddress2=" + given.address2 + "\nCh"));
    EXPECT_EQ(given.macAddress, Stored(L"MACAddress"));
    EXPECT_EQ("\uFEFF" + Ini(given.address, given.address2, given.macAddress), ConfigIni());
    EXPECT_THAT(Log(), HasSubstr("\ndo Online testing\noriginal device addresses " + old + ", " + oldMac + "\n"));
}
INSTANTIATE_TEST_SUITE_P(, AnswerTest, testing::ValuesIn(answerCases), caseName);

TEST_F(AgentRun, WritesNoAddressThatNobodyToldAndMakesNoFileForIt)
{
    LibraryGives("QueryDeviceAddress", "<address><null/></address><macaddress><null/></macaddress>");
    EXPECT_EQ(0, Run(L"/Q"));
    EXPECT_EQ("Changed=#1\nOnline=#1\n", StoredValues());
    EXPECT_FALSE(std::filesystem::exists(configIni));
    EXPECT_THAT(Log(), HasSubstr("\ndo Online testing\nfail to open user storage for read in HKCU\n"));
    EXPECT_THAT(Log(), HasSubstr("\nqdc: status 0, change 1, lpAddress , lpMACAddress \n"));
}
