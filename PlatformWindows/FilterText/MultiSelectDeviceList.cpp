#include "MultiSelectDeviceList.h"

#include "Loggers.h"
#include "MultiSelectRecord.h"
#include "StoredValues.h"
#include "TwainStorageDeviceList.h"
#include "XmlParsedDeviceList.h"

#include <optional>

namespace scankelv
{
namespace
{

constexpr RecordMessages messages = {"\ntry to open \"%ws\"", "MultiSelectStorageOpenRead failed!"};

using Info = parsedMultiDeviceInfo;

struct RecordElement
{
    const wchar_t* name;
    _bstr_t Info::*text; ///< a null text gives an element without content
    const wchar_t* nameWithPropertiesUI = nullptr;
};
constexpr RecordElement recordElements[] = {
    {L"ipv6address", &Info::ipv6address},
    {L"ipaddress", &Info::ipaddress},
    {L"devicepath", &Info::devicepath},
    {L"iotype", &Info::iotype},
    {L"deviceid", &Info::deviceid},
    {L"devicename", &Info::devicename},
    {L"ext", &Info::ext},
    {L"hostname", &Info::hostname},
    {L"location", &Info::location, L"userlocation"},
    {L"macaddress", &Info::macaddress},
    {L"modelname", &Info::modelname},
    {L"drivername", &Info::drivername},
    {L"printername", &Info::printername},
    {L"vendor", &Info::vendor},
    {L"pid", &Info::pid},
    {L"port", &Info::port},
    {L"productname", &Info::productname},
    {L"systemdevicename", &Info::systemdevicename},
    {L"vid", &Info::vid},
};

/// Only two texts may be null: the IPv6 address of a device that has none, and the port of one that is not local.
Info DescribeRecord(const StoredValues& values)
{
    const _bstr_t address(values.addressString);
    const _bstr_t hostName(values.hostNameString);
    const _bstr_t model(values.mdlString);
    const _bstr_t port(values.portNameString);
    const _bstr_t vendor(values.mfgString);
    const bool isLocal = values.connectionTypeDWORD == 0;
    const bool isIpv6 = values.ipv6DWORD == 1;
    return {
        .deviceid = _bstr_t(values.deviceIdString),
        .devicename = _bstr_t(values.deviceNameString),
        .devicepath = values.hostNameString.empty() ? address : hostName,
        .drivername = model,
        .ext = _bstr_t(values.extDeviceIdString),
        .hostname = hostName,
        .iotype = _bstr_t(values.connectionTypeDWORD == 1 ? networkIoType : L"Local"),
        .ipaddress = isLocal ? port : address,
        .ipv6address = isIpv6 ? address : _bstr_t(),
        .isDefault = values.defaultDeviceDWORD == 1,
        .isIpv6 = isIpv6,
        .location = _bstr_t(values.locationString),
        .macaddress = _bstr_t(values.macAddressString),
        .modelname = model,
        .pid = _bstr_t(values.pidString),
        .port = isLocal ? port : _bstr_t(),
        .printername = model,
        .productname = vendor + L" " + model,
        .systemdevicename = _bstr_t(values.systemDeviceNameString),
        .vendor = vendor,
        .vid = _bstr_t(values.vidString),
    };
}

} // namespace

void XmlOptionAddDeviceListMultiSelect(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& option, const wchar_t* recordPath,
    parsedMultiDeviceInfo& device, bool& deviceInfoParsed)
{
    deviceInfoParsed = false;
    const XmlElement list = XmlCreateDeviceListElement(document);
    std::optional<Info> defaultDevice;
    unsigned short found = 0;
    for (; found < recordLimit; ++found)
    {
        CrossProductStorage record;
        if (!OpenRecord(record, recordPath, found, messages))
            break;
        const XmlElement element = XmlCreateDeviceElement(document);
        Info info;
        XmlAddMultiSelectDevice(options, document, element, record, info);
        if (info.isDefault && !defaultDevice)
            defaultDevice = std::move(info);
        XmlAppend(list.Get(), element.Get());
    }
    if (found == 0)
    {
        AgentLogger().WriteLine("no multi-select records found, device list generation canceled!");
        return;
    }
    if (!defaultDevice)
    {
        // Read again rather than kept, so that the record's present values count, also if it was deleted since.
        CrossProductStorage record;
        OpenRecord(record, recordPath, 0, messages);
        XmlAddMultiSelectDevice(options, document, XmlCreateDeviceElement(document), record, defaultDevice.emplace());
    }
    XmlAppend(option.Get(), list.Get());
    device = *std::move(defaultDevice);
    deviceInfoParsed = true;
}

void XmlAddMultiSelectDevice(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& element, CrossProductStorage& storage,
    parsedMultiDeviceInfo& device)
{
    StoredValues values;
    ReadStoredValues(storage, ValueOf::Record, values);
    device = DescribeRecord(values);
    for (const auto& [plainName, member, nameWithPropertiesUI] : recordElements)
    {
        const bool renamed = nameWithPropertiesUI != nullptr && options.PropertiesUI() != 0;
        const wchar_t* const name = renamed ? nameWithPropertiesUI : plainName;
        if (const _bstr_t& text = device.*member; text.IsNull())
            XmlAddEmptyElement(document, element, name);
        else
            XmlAddTextElement(document, element, name, text);
    }
}

} // namespace scankelv
