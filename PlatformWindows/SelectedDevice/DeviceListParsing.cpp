#include "DeviceListParsing.h"

#include "Loggers.h"
#include "XmlDocument.h"

namespace scankelv
{
namespace
{

using Device = XmlParsedDeviceList;

/// Characters; the driver's field has no space for more.
constexpr std::size_t serialNumberLength = 62;

void SetConnection(Device& device)
{
    device.isNetwork = device.ioTypeString.View() == networkIoType;
}

void SetDefaultScannerPort(Device& device)
{
    device.scannerPortString = device.address2String;
}

void IgnoreEmptyScannerPort(Device& device)
{
    device.scannerPortPresents = device.scannerPortPresents && device.scannerPortString.length() != 0;
}

void DropLocalMacAddress(Device& device)
{
    if (!device.isNetwork)
        device.macAddressString = L"";
}

void NormaliseSerialNumber(Device& device)
{
    const std::wstring_view cut = device.serialNumberString.View().substr(0, serialNumberLength);
    device.serialNumberString = _bstr_t(cut.substr(0, cut.find_last_not_of(L' ') + 1));
}

/// What happens to the member when the element is absent.
enum class Absent
{
    Fails,
    Empties,
    Keeps
};

struct ListElement
{
    const wchar_t* query;
    const char* expression; ///< what the report of a missing element names
    Absent absent;
    _bstr_t Device::*text;
    bool Device::*found = nullptr;
    void (*follow)(Device&) = nullptr; ///< sets other members by the element's text
};

// In look-up order: a report names the first missing element, and each `follow` relies on the elements before its own.
constexpr ListElement listElements[] = {
    {L"//iotype", "ioTypeElement", Absent::Fails, &Device::ioTypeString, nullptr, SetConnection},
    {L"//comment", "commentElement", Absent::Empties, &Device::commentString, &Device::commentPresents},
    {L"//devicepath", "devicePathElement", Absent::Fails, &Device::address2String, nullptr, SetDefaultScannerPort},
    {L"//scannerport", "scannerPortElement", Absent::Keeps, &Device::scannerPortString, &Device::scannerPortPresents,
     IgnoreEmptyScannerPort},
    {L"//deviceid", "deviceIdElement", Absent::Fails, &Device::deviceIdString},
    {L"//devicename", "deviceNameElement", Absent::Fails, &Device::deviceNameString},
    {L"//ext", "extElement", Absent::Fails, &Device::extDeviceIdString},
    {L"//hostname", "hostNameElement", Absent::Empties, &Device::hostNameString},
    {L"//location", "locationElement", Absent::Fails, &Device::locationString},
    {L"//macaddress", "macAddressElement", Absent::Fails, &Device::macAddressString, nullptr, DropLocalMacAddress},
    {L"//modelname", "modelNameElement", Absent::Fails, &Device::mdlString},
    {L"//vendor", "vendorElement", Absent::Fails, &Device::mfgString},
    {L"//pid", "pidElement", Absent::Fails, &Device::pidString},
    {L"//port", "portElement", Absent::Fails, &Device::portNameString},
    {L"//productname", "productNameElement", Absent::Fails, &Device::productNameString},
    {L"//serialnumber", "serialNumberElement", Absent::Empties, &Device::serialNumberString, nullptr,
     NormaliseSerialNumber},
    {L"//systemdevicename", "systemDeviceNameElement", Absent::Empties, &Device::systemDeviceNameString},
    {L"//userlocation", "userLocationElement", Absent::Keeps, &Device::userLocationString,
     &Device::userLocationPresents},
    {L"//vid", "vidElement", Absent::Fails, &Device::vidString},
};
static_assert(std::size(listElements) == 19);

} // namespace

bool ParseDeviceList(const wchar_t* deviceListXml, XmlParsedDeviceList& device)
{
    XmlDocument document;
    if (!XmlOpenText(document, deviceListXml))
        return false;

    for (const ListElement& row : listElements)
    {
        const XmlNode element = XmlSelectFirst(document.Get(), row.query);
        const bool found(element);
        if (row.absent == Absent::Fails && !Checked(AgentLogger, CheckBoolean, found, row.expression, 1))
            return false;
        if (row.found != nullptr)
            device.*row.found = found;
        if (found)
            device.*row.text = XmlText(element.Get());
        else if (row.absent == Absent::Empties)
            device.*row.text = L"";
        if (row.follow != nullptr)
            row.follow(device);
    }

    const bool byScannerPort = !device.isNetwork && device.scannerPortString.length() != 0;
    device.addressString = byScannerPort ? device.scannerPortString : device.address2String;
    return true;
}

} // namespace scankelv
