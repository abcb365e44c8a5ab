#include "AgentRun.h"

#include "AgentClientAppHandler.h"
#include "CheckedExpression.h"
#include "ComThread.h"
#include "DeviceListParsing.h"
#include "DeviceMatch.h"
#include "DriverStorages.h"
#include "FilterText.h"
#include "Loggers.h"
#include "OnlineTesting.h"
#include "StoredDevice.h"
#include "Vendor.h"
#include "XmlDocument.h"

#include <algorithm>
#include <array>

namespace scankelv
{
namespace
{

constexpr std::size_t argumentCapacity = 64; // characters, terminator counted
using ArgumentBuffer = std::array<wchar_t, argumentCapacity>;

constexpr std::uint32_t deviceObtained = 1;

/// Owns a list text of the library and releases it through FreeDeviceList.
class DeviceListText
{
public:
    explicit DeviceListText(const KELVFindwellLibrary& library) : m_library(library) {}
    ~DeviceListText()
    {
        if (m_text != nullptr)
            m_library.FreeDeviceList()(&m_text);
    }
    DeviceListText(const DeviceListText&) = delete;
    DeviceListText& operator=(const DeviceListText&) = delete;

    wchar_t** Receive() { return &m_text; }
    const wchar_t* Get() const { return m_text; }

private:
    const KELVFindwellLibrary& m_library;
    wchar_t* m_text = nullptr;
};

bool Fail(const char* message)
{
    AgentLogger().WriteLine("%s", message);
    return false;
}

ArgumentBuffer Argument(std::wstring_view text)
{
    ArgumentBuffer buffer{};
    std::ranges::copy(text.substr(0, argumentCapacity - 1), buffer.begin());
    return buffer;
}

/// Whether the dialog is skipped: generic-driver mode, SUIFT is set, and a device has been stored before.
bool StoredUiModeSkipsDialog(const AgentOptions& options)
{
    CrossProductStorage storage;
    if (!options.IsGsdMode() || !options.IsSuiftOn() || !TwainStorageOpenRead(storage, options.ProductName()))
        return false;
    DWORD uiMode = 0;
    storage.GetULong("UI_Mode", &uiMode);
    AgentLogger().WriteLine("uiMode: %lu", uiMode);
    return uiMode != 0;
}

/// Calls the one function of the library that the options select.
bool ObtainDevice(
    const AgentOptions& options, const KELVFindwellLibrary& library, const wchar_t* filterText,
    std::uint32_t& resultCode, DeviceListText& deviceList)
{
    if (options.PropertiesWanted() && library.ShowPropertiesUI() != nullptr)
    {
        if (library.ShowPropertiesUI()(filterText, deviceList.Receive(), 0) != 0)
            return Fail("\nShowPropertiesUI failed!\n");
    }
    else if (options.DeviceListMode() || options.MultiSelectMode())
    {
        if (library.MergeDevicelistXML() == nullptr)
            return Fail("\nMergeDevicelistXML not linked!\n");
        if (library.MergeDevicelistXML()(filterText) == 0)
            return Fail("\nMergeDevicelistXML failed!\n");
    }
    else if (!options.HiddenUiRequested())
    {
        const _bstr_t languageCode(options.LanguageCode());
        static AgentClientAppHandler handler; // the library may call it late
        if (library.GetDeviceList_LCode()(
                0, languageCode.Narrow(), filterText, &resultCode, deviceList.Receive(), &handler) != 0)
            return Fail("\nGetDeviceList_LCode failed!\n");
        return true; // the library has set resultCode
    }
    else
    {
        const ArgumentBuffer hiddenUiArgument = Argument(options.HiddenUiArgument());
        const ArgumentBuffer community = Argument(vendor::community);
        if (library.GetDeviceInformation()(hiddenUiArgument.data(), deviceList.Receive(), community.data()) != 0)
            return Fail("\nGetDeviceInformation failed!\n");
    }
    resultCode = deviceObtained;
    return true;
}

bool ReadDeviceList(
    const AgentOptions& options, std::uint32_t resultCode, const wchar_t* deviceListXml, XmlParsedDeviceList& device)
{
    if (deviceListXml == nullptr)
        return Fail("\ndeviceListXml is empty!\n");
    AgentLogger().WriteLine("\ndeviceListXml: \n%S\n", deviceListXml);
    if (resultCode != deviceObtained)
        return Fail("The device search canceled.");
    if (options.HiddenUiRequested() && !XmlDeviceMatch(options, deviceListXml))
        return Fail("The device found does not match condition.");
    return ParseDeviceList(deviceListXml, device) || Fail("The device information not parsed.");
}

struct RecordText
{
    _bstr_t XmlParsedDeviceList::*to;
    _bstr_t parsedMultiDeviceInfo::*from; // null: empty text
};
constexpr RecordText recordTexts[] = {
    {&XmlParsedDeviceList::address2String, &parsedMultiDeviceInfo::devicepath},
    {&XmlParsedDeviceList::commentString, nullptr},
    {&XmlParsedDeviceList::deviceIdString, &parsedMultiDeviceInfo::deviceid},
    {&XmlParsedDeviceList::deviceNameString, &parsedMultiDeviceInfo::drivername},
    {&XmlParsedDeviceList::extDeviceIdString, &parsedMultiDeviceInfo::ext},
    {&XmlParsedDeviceList::hostNameString, &parsedMultiDeviceInfo::hostname},
    {&XmlParsedDeviceList::ioTypeString, &parsedMultiDeviceInfo::iotype},
    {&XmlParsedDeviceList::locationString, &parsedMultiDeviceInfo::location},
    {&XmlParsedDeviceList::macAddressString, &parsedMultiDeviceInfo::macaddress},
    {&XmlParsedDeviceList::mdlString, &parsedMultiDeviceInfo::modelname},
    {&XmlParsedDeviceList::pidString, &parsedMultiDeviceInfo::pid},
    {&XmlParsedDeviceList::portNameString, &parsedMultiDeviceInfo::ipaddress},
    {&XmlParsedDeviceList::productNameString, &parsedMultiDeviceInfo::productname},
    {&XmlParsedDeviceList::scannerPortString, &parsedMultiDeviceInfo::devicepath},
    {&XmlParsedDeviceList::serialNumberString, nullptr},
    {&XmlParsedDeviceList::systemDeviceNameString, &parsedMultiDeviceInfo::systemdevicename},
    {&XmlParsedDeviceList::userLocationString, nullptr},
    {&XmlParsedDeviceList::mfgString, &parsedMultiDeviceInfo::vendor},
    {&XmlParsedDeviceList::vidString, &parsedMultiDeviceInfo::vid},
};

/// Fills the selected device from the default record. A record always has a scanner port: its device path.
void FillFromRecord(XmlParsedDeviceList& device, const parsedMultiDeviceInfo& record)
{
    for (const auto& [to, from] : recordTexts)
        device.*to = from == nullptr ? _bstr_t(L"") : record.*from;
    device.addressString = record.ipv6address.length() != 0 ? record.ipv6address : record.ipaddress;
    device.isNetwork = record.iotype.View() == networkIoType;
    device.commentPresents = false;
    device.scannerPortPresents = true;
    device.userLocationPresents = false;
}

bool Run()
{
    const ComThread comThread;
    if (!comThread.IsValid())
        return Fail("\nCOM initialization failed!\n");
    const KELVFindwellLibrary library;
    if (!library.IsValid())
        return Fail("\nloading Findwell library failed!\n");
    const AgentOptions& options = AgentOptions::Instance();

    ResetOnlineTesting();
    if (options.NeedQueryAddress() && library.QueryDeviceAddress() != nullptr)
        RunOnlineTesting(options, library);
    else
        AgentLogger().WriteLine("do not do Online testing");
    if (options.NeedQueryAddress())
    {
        AgentLogger().WriteLine("skip UI due to needQueryAddress");
        return true;
    }
    if (StoredUiModeSkipsDialog(options))
    {
        AgentLogger().WriteLine("skip UI due to UI_Mode");
        return true;
    }

    AgentLogger().WriteLine("\n entering XmlGenerateFilterText\n");
    _bstr_t filterText;
    parsedMultiDeviceInfo record;
    bool deviceInfoParsed = false;
    if (!XmlGenerateFilterText(options, DialogMode5, filterText, record, deviceInfoParsed))
        return Fail("\nXmlGenerateFilterText failed!\n");
    if (options.DeviceListMode() && !deviceInfoParsed)
        return Fail("The device information in /devicelist mode not parsed.");
    AgentLogger().WriteLine("\ncontentFilterOption: \n%S\n", static_cast<const wchar_t*>(filterText));

    std::uint32_t resultCode = 0;
    DeviceListText deviceList(library);
    if (!ObtainDevice(options, library, filterText, resultCode, deviceList))
        return false;
    XmlParsedDeviceList device;
    if (options.DeviceListMode())
        FillFromRecord(device, record);
    else if (!ReadDeviceList(options, resultCode, deviceList.Get(), device))
        return false;
    return StoreDeviceListAndUpdateIcc(options, device) || Fail("The device information not stored.");
}

} // namespace

bool RunAgent()
{
    try
    {
        return Run();
    }
    catch (const XmlError& error)
    {
        Checked(AgentLogger, CheckErrorCode, static_cast<DWORD>(error.Code()), "XML document operation", 1);
    }
    catch (const std::exception& error)
    {
        Checked(AgentLogger, error.what(), FALSE, "RunAgent", 1);
    }
    return false;
}

} // namespace scankelv
