#include "TwainStorageDeviceList.h"

#include "AsciiCase.h"
#include "DeviceXml.h"
#include "DriverStorages.h"
#include "Loggers.h"
#include "Owners.h"
#include "StoredValues.h"

namespace scankelv
{
namespace
{

struct CurrentDevice : StoredValues
{
    std::wstring ipAddress;
    std::wstring ioType;
};

struct DeviceElement
{
    const wchar_t* name;
    std::wstring CurrentDevice::*text;
};
constexpr DeviceElement deviceElements[] = {
    {L"ipaddress", &CurrentDevice::ipAddress},
    {L"devicepath", &CurrentDevice::addressString},
    {L"comment", &CurrentDevice::commentString},
    {L"iotype", &CurrentDevice::ioType},
    {L"deviceid", &CurrentDevice::deviceIdString},
    {L"ext", &CurrentDevice::extDeviceIdString},
    {L"hostname", &CurrentDevice::hostNameString},
    {L"location", &CurrentDevice::locationString},
    {L"userlocation", &CurrentDevice::locationString},
    {L"macaddress", &CurrentDevice::macAddressString},
    {L"modelname", &CurrentDevice::mdlString},
    {L"devicename", &CurrentDevice::deviceNameString},
    {L"vendor", &CurrentDevice::mfgString},
    {L"pid", &CurrentDevice::pidString},
    {L"port", &CurrentDevice::portNameString},
    {L"productname", &CurrentDevice::productNameString},
    {L"serialnumber", &CurrentDevice::serialNumberString},
    {L"systemdevicename", &CurrentDevice::systemDeviceNameString},
    {L"vid", &CurrentDevice::vidString},
};

struct OptionFallback
{
    std::wstring CurrentDevice::*text;
    const wchar_t* (AgentOptions::*option)() const; ///< may return null
};
constexpr OptionFallback optionFallbacks[] = {
    {&CurrentDevice::mdlString, &AgentOptions::ModelName},
    {&CurrentDevice::mfgString, &AgentOptions::VendorName},
    {&CurrentDevice::pidString, &AgentOptions::ProductId},
    {&CurrentDevice::productNameString, &AgentOptions::ProductName},
    {&CurrentDevice::vidString, &AgentOptions::VendorId},
};

/// Whether device.xml may be read. Anybody may put a file there, and a large one would keep a run busy for minutes. A
/// file that cannot be opened counts as readable: the load then finds nothing.
bool IsReadablePreset(const wchar_t* path)
{
    constexpr LONGLONG largest = 0x100000; // bytes: 1 MiB
    const OwnedHandle file = Own(::CreateFileW(
        path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
        FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    return file == nullptr || (::GetFileType(file.get()) == FILE_TYPE_DISK && ::GetFileSizeEx(file.get(), &size) != 0 &&
                               size.QuadPart <= largest);
}

/// Presets every text that the current device has, and its connection type, from the first device of device.xml. No
/// file, a broken one, or no document at all leaves the values as they are.
void PresetFromDeviceXml(StoredValues& values)
{
    const ResourceLocationWide path = DeviceXmlLocation();
    const XmlDocument document = XmlCreateDocumentInitialisingCom();
    if (path.IsEmpty() || !document)
        return;
    if (!IsReadablePreset(path.Text()))
    {
        AgentLogger().WriteLine("device.xml is too large or no plain file, ignored");
        return;
    }
    if (!XmlForbidExternals(document))
        return;
    XmlForbidDocumentType(document);
    XmlLoadFile(document, path.Text());
    const XmlNode device = XmlSelectFirst(document.Get(), L"/devicelist/device");
    if (!device)
        return;
    for (const StoredValue& row : storedValues)
        if (const auto* const field = std::get_if<TextField>(&row.field);
            field != nullptr && row.BelongsTo(ValueOf::CurrentDevice))
            values.*field->member = XmlChildText(device, row.name).View().substr(0, field->capacity - 1);
    const _bstr_t connectionType = XmlChildText(device, L"ConnectionType");
    values.connectionTypeDWORD = EqualsIgnoringAsciiCase(connectionType.View(), networkIoType) ? 1 : 0;
}

} // namespace

XmlElement XmlCreateDeviceListElement(const XmlDocument& document)
{
    XmlElement list = XmlCreateElement(document, L"devicelist");
    XmlSetAttribute(list, L"version", L"1.0.1");
    return list;
}

XmlElement XmlCreateDeviceElement(const XmlDocument& document)
{
    return XmlCreateElement(document, L"device");
}

void XmlOptionAddDeviceListSingleSelect(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& option)
{
    AgentLogger().WriteLine("XmlOptionAddDeviceListSingleSelect");
    const XmlElement list = XmlCreateDeviceListElement(document);
    const XmlElement device = XmlCreateDeviceElement(document);
    CrossProductStorage storage;
    if (!TwainStorageOpenRead(storage, options.ProductName()))
    {
        AgentLogger().WriteLine("fail to open TWAIN storage in Registry, skip expanding");
        return;
    }
    if (!XmlAddTwainStorageDevice(options, document, device, storage))
        return;
    XmlAppend(list.Get(), device.Get());
    XmlAppend(option.Get(), list.Get());
}

bool XmlAddTwainStorageDevice(
    const AgentOptions& options, const XmlDocument& document, const XmlElement& device, CrossProductStorage& storage)
{
    CurrentDevice values;
    PresetFromDeviceXml(values);
    ReadStoredValues(storage, ValueOf::CurrentDevice, values);

    // Here only type 1 is a network device; below, every type but 0 is described as one.
    if (values.connectionTypeDWORD == 1 && values.addressString.empty())
    {
        AgentLogger().WriteLine("Skip adding current printer[Network]");
        return false;
    }
    const bool isLocal = values.connectionTypeDWORD == 0;
    if (isLocal && values.portNameString.empty())
    {
        AgentLogger().WriteLine("Skip adding current printer[USB]");
        return false;
    }

    values.ipAddress = isLocal ? values.portNameString : values.addressString;
    values.ioType = isLocal ? L"Local" : networkIoType;
    // Before the options replace absent texts, so that a device is never named after a configured model.
    if (values.deviceNameString.empty() && isLocal)
        values.deviceNameString = values.mdlString;
    for (const auto& [text, option] : optionFallbacks)
        if (const wchar_t* const configured = (options.*option)(); (values.*text).empty() && configured != nullptr)
            values.*text = configured;

    for (const auto& [name, text] : deviceElements)
        XmlAddTextElement(document, device, name, _bstr_t(values.*text));
    return true;
}

} // namespace scankelv
