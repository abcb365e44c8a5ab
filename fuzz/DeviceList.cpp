// The search library's answer: what parses is consistent, and device.xml then holds the texts of the list.
#include "DeviceListParsing.h"
#include "DeviceXml.h"
#include "Fuzz.h"
#include "XmlDocument.h"

using namespace fuzz;

namespace
{

/// In the list, and in the file.
constexpr const char* elements[][2] = {
    {"iotype", "ConnectionType"},
    {"comment", "Comment"},
    {"devicepath", "DeviceSelect"},
    {"deviceid", "DeviceID"},
    {"devicename", "DeviceName"},
    {"ext", "ExtDeviceID"},
    {"hostname", "HostName"},
    {"location", "Location"},
    {"macaddress", "MACAddress"},
    {"modelname", "MDL"},
    {"vendor", "MFG"},
    {"pid", "PID"},
    {"port", "PortName"},
    {"productname", "ProductName"},
    {"serialnumber", "Serial"},
    {"systemdevicename", "SystemDeviceName"},
    {"vid", "VID"}};

WideText ElementText(const XmlDocument& document, const std::string& query)
{
    const XmlElement element = XmlSelectElement(document.Get(), Widen(query).c_str());
    return element ? Squeezed(XmlText(element.Get()).View()) : WideText();
}

} // namespace

void fuzz::Try(std::string_view input)
{
    const WideText text = Widen(input).c_str();
    XmlParsedDeviceList device;
    if (!ParseDeviceList(text.c_str(), device))
        return;
    const WideView serial = device.serialNumberString.View();
    const bool byPort = !device.isNetwork && device.scannerPortString.length() != 0;
    const _bstr_t& address = byPort ? device.scannerPortString : device.address2String;
    Require(device.isNetwork == (device.ioTypeString.View() == networkIoType), "the connection is the element's");
    Require(serial.size() <= 62 && !serial.ends_with(OLESTR(' ')), "the serial number is short and trimmed");
    Require(device.isNetwork || device.macAddressString.length() == 0, "a local device has no MAC address");
    Require(device.addressString == address, "the address is the scanner port or the device path");

    const XmlDocument list = XmlCreateDocumentInitialisingCom();
    const XmlDocument stored = XmlCreateDocumentInitialisingCom();
    Require(XmlLoadText(list, text.c_str()), "what parsed loads");
    Require(ExportDeviceXml(device), "a device can be stored");
    Require(XmlLoadFile(stored, DeviceXmlLocation().Text()), "device.xml can be read");
    for (const auto& [inList, inFile] : elements)
    {
        const WideText given = ElementText(list, std::string("//") + inList);
        const WideText kept = ElementText(stored, std::string("/devicelist/device/") + inFile);
        const bool isCut = inFile == std::string_view("Serial") || inFile == std::string_view("MACAddress");
        Require(isCut ? given.starts_with(kept) : given == kept, "the file holds the list's texts", inFile);
    }
}
