// From the library's answer to the driver: DeviceListParsing, StoredDevice and DeviceXml.
#include "StoredDevice.h"

#include "AgentTest.h"
#include "ColourProfileUpdater.h"
#include "DeviceListParsing.h"
#include "DeviceXml.h"

#include <sddl.h>

using namespace scankelv;
using namespace test;
using testing::EndsWith, testing::HasSubstr, testing::StartsWith;

/// Every element, in the order in which they are looked up.
const std::string sample =
    "<devicelist><device><iotype>Network</iotype><comment>a&#10;[b]</comment><devicepath>10.0.0.7</devicepath>"
    "<scannerport>USB1</scannerport><deviceid>MFG:Q;MDL:T;</deviceid><devicename>Hall</devicename><ext>日</ext>"
    "<hostname>host</hostname><location>Köln</location><macaddress>02-07</macaddress><modelname>TARN</modelname>"
    "<vendor>Quellon</vendor><pid>1a2b</pid><port>QP_1</port><productname>Scan</productname><serialnumber>SN1"
    "</serialnumber><systemdevicename>sys</systemdevicename><userlocation>Desk</userlocation><vid>0xFFFFFFFF</vid>"
    "</device></devicelist>";

/// The sample with the elements from the first to the last replaced.
std::wstring SampleWith(const std::string& first, const std::string& last, std::string_view instead)
{
    const std::size_t start = sample.find("<" + first + ">"), end = sample.find("</" + last + ">") + last.size() + 3;
    return ToWide(std::string(sample).replace(start, end - start, instead));
}
const char* const oneModel = "ProductName=Driver\r\nModelName=x\r\n";
const std::wstring productKey = L"Software\\QLScan\\Driver";

struct StoredDeviceTest : AgentTest
{
    /// Reads the list into a record used before, and stores it.
    bool StoreList(const std::wstring& list, const AgentOptions& options)
    {
        XmlParsedDeviceList device;
        EXPECT_TRUE(ParseDeviceList(ToWide(sample).c_str(), device) && ParseDeviceList(list.c_str(), device));
        m_console.Clear();
        return StoreDeviceListAndUpdateIcc(options, device);
    }

    StoredDeviceTest()
    {
        const wchar_t* const folders = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";
        Store(HKEY_LOCAL_MACHINE, folders, L"Common AppData", m_data.Path());
    }

    const TemporaryFolder m_data; ///< the machine-wide application data
    const std::wstring m_configIni = m_data.File(L"QLScan\\Quellon Generic Scan Driver\\Config.ini");
    const std::wstring m_deviceXml = m_data.File(L"Quellon\\ScanKELV\\device.xml");
    DebugConsoleCapture m_console;
};

TEST_F(StoredDeviceTest, EveryPlaceAndTheLogHoldTheDevice)
{
    WriteFileBytes(DeviceXmlLocation().Text(), std::string(5000, 'x')); // which is replaced
    ASSERT_TRUE(StoreList(ToWide(sample), Options(L"/MODE 1 /M Driver")));
    EXPECT_THAT(
        m_console.Text(),
        StartsWith(
            "addressString: 10.0.0.7\r\naddress2String: 10.0.0.7\r\ncommentPresents: 1\r\ncommentString: a\r\n[b]\r\n"
            "connectionTypeDWORD: 1\r\ndeviceIdString: MFG:Q;MDL:T;\r\ndeviceNameString: Hall\r\ndeviceSelectDWORD: 0"
            "\r\nextDeviceIdString: ?\r\nhostNameString: host\r\nlocationString: K\xF6ln\r\nmacAddressString: 02-07\r\n"
            "mdlString: TARN\r\nmfgString: Quellon\r\npidDWORD: 6699 (0x1a2b)\r\nportNameString: QP_1\r\n"
            "productNameString: Scan\r\nserialNumberString: SN1\r\nsystemDeviceNameString: sys\r\nuiMode: 1\r\n"
            "userLocationPresents 1\r\nuserLocationString Desk\r\nvidDWORD: 4294967295 (0xffffffff)\r\n"));
    EXPECT_THAT(
        StoredValues(HKEY_CURRENT_USER, productKey),
        testing::MatchesRegex(
            "Address=10.0.0.7\nComment=a\n\\[b\\]\nConnectionType=#1\nDeviceID=MFG:Q;MDL:T;\nDeviceName=Hall\n"
            "DeviceSelect=#0\nExtDeviceID=\xE6\x97\xA5\nHostName=host\nLocation=K\xC3\xB6ln\nMACAddress=02-07\n"
            "MDL=TARN\nMFG=Quellon\nPID=#6699\nPortName=QP_1\nProductName=Scan\nSerial=SN1\nSystemDeviceName=sys\n"
            "UI_Mode=#1\nVID=#4294967295\nsavedAt=\\d\\d\\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d\n"));
    EXPECT_EQ(
        Utf16File(
            L"[IO]\r\nAddress=10.0.0.7\r\nAddress2=10.0.0.7\r\nComment=a [b]\r\nConnectionType=1\r\nDeviceID=MFG:Q;"
            L"MDL:T;\r\nDeviceName=Hall\r\nDeviceSelect=0\r\nExtDeviceID=\u65E5\r\nHostName=host\r\nLocation=K\u00F6ln"
            L"\r\nMACAddress=02-07\r\nMDL=TARN\r\nMFG=Quellon\r\nPID=6699\r\nPortName=QP_1\r\nProductName=Scan\r\n"
            L"Serial=SN1\r\nSystemDeviceName=sys\r\nVID=-1\r\n"),
        ReadFileBytes(m_configIni));
    EXPECT_EQ(
        Utf16File( // line ends as Wine's document model writes them
            L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<devicelist version=\"1.0.2\"><device>"
            L"<Address>10.0.0.7</Address><Comment>a\n[b]</Comment><ConnectionType>Network</ConnectionType>"
            L"<DeviceID>MFG:Q;MDL:T;</DeviceID><DeviceName>Hall</DeviceName><DeviceSelect>10.0.0.7</DeviceSelect>"
            L"<ExtDeviceID>\u65E5</ExtDeviceID><HostName>host</HostName><Location>K\u00F6ln</Location>"
            L"<MACAddress>02-07</MACAddress><MDL>TARN</MDL><MFG>Quellon</MFG><PID>1a2b</PID><PortName>QP_1</PortName>"
            L"<ProductName>Scan</ProductName><Serial>SN1</Serial><SystemDeviceName>sys</SystemDeviceName>"
            L"<UI_Mode>1</UI_Mode><VID>0xFFFFFFFF</VID></device></devicelist>\n"),
        ReadFileBytes(m_deviceXml));
}

struct ListCase
{
    const char *name, *element; ///< what `instead` replaces
    std::string instead, log, registry, settings = oneModel;
};
const std::string x61(61, 'x'), serial = "<serialnumber xml:space='preserve'>", end = "</serialnumber>";
const std::string properties = oneModel + std::string("PropertiesUI=1\r\n");
const ListCase listCases[] = {
    {"LetterCaseOfNetwork", "iotype", "<iotype>network</iotype>", "macAddressString: \r", "ConnectionType=#0\n"},
    {"LocalWithPort", "iotype", "<iotype>Local</iotype>", "address2String: 10.0.0.7", "Address=USB1\n"},
    {"LocalWithEmptyPort", "iotype", "<iotype/><scannerport/>", "deviceSelectDWORD: 2", "Address=10.0.0.7\n"},
    {"NoComment", "comment", "", "commentPresents: 0", "Comment=\n"},
    {"NoHost", "hostname", "", "hostNameString: \r", "HostName=\n"},
    {"SerialCut", "serialnumber", serial + x61 + "yz" + end, x61 + "y\r", "Serial=" + x61 + "y\n"},
    {"SerialTrimmed", "serialnumber", serial + x61 + "  y" + end, x61 + "\r", "Serial=" + x61 + "\n"},
    {"SerialTab", "serialnumber", serial + " a\t  " + end, " a\t\r", "Serial= a\t\n"},
    {"FirstOfDevices", "iotype", "<iotype>Network</iotype><pid>9</pid></device><device>", "(0x9)", "PID=#9\n"},
    {"UnreadableId", "vid", "<vid>x1</vid>", "vidDWORD: 0 (0x0)", "VID=#0\n"},
    {"UserLocation", "vid", "<vid>1</vid>", "locationString: Desk\r", "Location=Desk\n", properties},
    {"NoUserLocation", "userlocation", "", "userLocationPresents 0\r\nvid", "Location=K\xC3\xB6ln\n", properties},
};
using ListTest = TableOf<ListCase, StoredDeviceTest>;
TEST_P(ListTest, DecidesWhatIsStored)
{
    const auto& [name, element, instead, log, registry, settings] = GetParam();
    ASSERT_TRUE(StoreList(SampleWith(element, element, instead), Options(L"", settings)));
    EXPECT_THAT(m_console.Text(), HasSubstr(log));
    EXPECT_THAT(StoredValues(HKEY_CURRENT_USER, productKey), HasSubstr(registry));
    EXPECT_FALSE(std::filesystem::exists(m_configIni)); // is the generic driver's
}
INSTANTIATE_TEST_SUITE_P(, ListTest, testing::ValuesIn(listCases), caseName);

TEST_F(StoredDeviceTest, FirstRequiredElementThatIsMissingIsReported)
{
    XmlParsedDeviceList device;
    for (std::string element :
         {"ioType", "devicePath", "deviceId", "deviceName", "ext", "location", "macAddress", "modelName", "vendor",
          "pid", "port", "productName", "vid"})
    {
        const std::string report = "Expression  " + element + "Element  failed!";
        std::ranges::transform(element, element.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
        EXPECT_FALSE(ParseDeviceList(SampleWith(element, "vid", "").c_str(), device));
        EXPECT_THAT(m_console.Text(), HasSubstr(report));
    }
}

TEST_F(StoredDeviceTest, FolderOfDeviceXmlIsOpenToEveryone)
{
    const wchar_t* const folder = L"C:\\ProgramData\\Quellon\\ScanKELV"; // wherever the shell keeps its data
    std::filesystem::remove_all(folder);                                 // which others may not write to when it is new
    std::filesystem::create_directories(folder);
    DeviceXmlLocation();
    BYTE rights[1024];
    DWORD size = 0;
    wchar_t* text = nullptr;
    EXPECT_TRUE(::GetFileSecurityW(folder, DACL_SECURITY_INFORMATION, rights, sizeof(rights), &size));
    ::ConvertSecurityDescriptorToStringSecurityDescriptorW(rights, 1, DACL_SECURITY_INFORMATION, &text, nullptr);
    EXPECT_THAT(text, EndsWith(L"(A;OICI;0x1301ff;;;WD)")); // as Wine shows mode 0777
    ::LocalFree(text);
}

TEST_F(StoredDeviceTest, UpdatersNameIsOneArgumentAndCutAndAFailedStartIsLogged)
{
    const std::wstring updater = LocationOfModuleFile(L"Hueward.exe").Text();
    WriteFileBytes(updater, "no program");
    EXPECT_FALSE(StartColourProfileUpdater((L"\" /" + std::wstring(1014, L'x')).c_str()));
    ::DeleteFileW(updater.c_str());
    EXPECT_THAT(m_console.Text(), HasSubstr("triple-quoted name \"\"\"' /" + std::string(1014, 'x') + "\"\"\r\n"));
    const std::string about = "about to [open] <" + ToUtf8(updater) + "> with argument \"\"\"\"' /x";
    EXPECT_THAT(m_console.Text(), testing::AllOf(HasSubstr(about), EndsWith("\nHueward failed.\r\n")));
}
