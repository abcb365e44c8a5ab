#include "TwainStorageDeviceList.h"

#include "DeviceXml.h"
#include "XmlTest.h"

using namespace scankelv;
using namespace test;

struct CurrentCase
{
    const char* name;
    std::string stored;
    std::wstring presets; ///< of the first device of device.xml
    std::wstring texts;   ///< of all elements of the device, in their order; empty: no device list
    const char* log = "\nuiMode: 0\r\n";
};
const std::wstring full(255, L'f'), longFull(1023, L'f');
const CurrentCase currentCases[] = {
    {"OtherType", "ConnectionType=#2\nPortName=P", L"", L"NetworkMW2bPOne1a"},
    {"NoAddress", "ConnectionType=#1", L"", L"", "Skip adding current printer[Network]"},
    {"NoPort", "Address=A", L"", L"", "Skip adding current printer[USB]"},
    {"NoStorage", "", L"", L"", "fail to open TWAIN storage in Registry, skip expanding"},
    {"Presets", "Address=A",
     L"<ConnectionType>nETWORK</ConnectionType><Address>a</Address><MDL>m</MDL><PID>7</PID><Serial>s</Serial>",
     L"AANetworkmW2bOnes1a"},
    {"BrokenFile", "PortName=P", L"<Comment>c", L"PLocalMW2bPOne1a"},
    {"TooLong", "PortName=P\nComment=" + ToUtf8(longFull) + "\nMDL=" + std::string(256, 'x'),
     L"<ConnectionType>Local</ConnectionType><MDL>" + full + L"x</MDL>",
     L"P" + longFull + L"Local" + full + full + L"W2bPOne1a"},
};
using CurrentDeviceTest = TableOf<CurrentCase, XmlTest>;
TEST_P(CurrentDeviceTest, IsOfStorageFileAndOptions)
{
    const auto& [name, stored, presets, texts, log] = GetParam();
    Store(HKEY_CURRENT_USER, L"Software\\QLScan\\One", stored);
    const std::wstring path = DeviceXmlLocation().Text();
    WriteFileBytes(path, ToUtf8(L"<devicelist><device>" + presets + L"</device><device/></devicelist>"));
    XmlOptionAddDeviceListSingleSelect(
        Options(L"/V W /VID 1a /PID 2b", "ProductName=One\nModelName=M"), m_document, m_option);
    ::DeleteFileW(path.c_str());
    EXPECT_EQ(texts, XmlText(m_option.Get()).View());
    EXPECT_EQ(texts.empty(), XmlSelectFirst(m_option.Get(), L"devicelist") == nullptr);
    EXPECT_THAT(m_console.Text(), testing::HasSubstr(log));
}
INSTANTIATE_TEST_SUITE_P(, CurrentDeviceTest, testing::ValuesIn(currentCases), caseName);
