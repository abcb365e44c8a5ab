// The search library's answer: what parses is consistent, can be written as a list that parses to the same, and is the
// same again when it was stored in device.xml.
#include "DeviceListParsing.h"
#include "DeviceXml.h"
#include "Fuzz.h"
#include "XmlDocument.h"

namespace
{

using namespace fuzz;
using namespace scankelv;
using Device = XmlParsedDeviceList;

struct Element
{
    const WCHAR* inList;
    const WCHAR* inFile; ///< null: not there
    _bstr_t Device::*text;
};
constexpr Element elements[] = {
    {OLESTR("iotype"), OLESTR("ConnectionType"), &Device::ioTypeString},
    {OLESTR("comment"), OLESTR("Comment"), &Device::commentString},
    {OLESTR("devicepath"), OLESTR("DeviceSelect"), &Device::address2String},
    {OLESTR("scannerport"), nullptr, &Device::scannerPortString},
    {OLESTR("deviceid"), OLESTR("DeviceID"), &Device::deviceIdString},
    {OLESTR("devicename"), OLESTR("DeviceName"), &Device::deviceNameString},
    {OLESTR("ext"), OLESTR("ExtDeviceID"), &Device::extDeviceIdString},
    {OLESTR("hostname"), OLESTR("HostName"), &Device::hostNameString},
    {OLESTR("location"), OLESTR("Location"), &Device::locationString},
    {OLESTR("macaddress"), OLESTR("MACAddress"), &Device::macAddressString},
    {OLESTR("modelname"), OLESTR("MDL"), &Device::mdlString},
    {OLESTR("vendor"), OLESTR("MFG"), &Device::mfgString},
    {OLESTR("pid"), OLESTR("PID"), &Device::pidString},
    {OLESTR("port"), OLESTR("PortName"), &Device::portNameString},
    {OLESTR("productname"), OLESTR("ProductName"), &Device::productNameString},
    {OLESTR("serialnumber"), OLESTR("Serial"), &Device::serialNumberString},
    {OLESTR("systemdevicename"), OLESTR("SystemDeviceName"), &Device::systemDeviceNameString},
    {OLESTR("userlocation"), nullptr, &Device::userLocationString},
    {OLESTR("vid"), OLESTR("VID"), &Device::vidString},
};

void RequireConsistent(const Device& device)
{
    const WideView serial = device.serialNumberString.View();
    const bool byPort = !device.isNetwork && device.scannerPortString.length() != 0;
    Require(device.isNetwork == (device.ioTypeString.View() == networkIoType), "the connection is the element's");
    Require(serial.size() <= 62 && !serial.ends_with(OLESTR(' ')), "the serial number is short and trimmed");
    Require(device.isNetwork || device.macAddressString.length() == 0, "a local device has no MAC address");
    Require(
        device.addressString == (byPort ? device.scannerPortString : device.address2String),
        "the address is the scanner port or the device path");
}

_bstr_t ListOf(const Device& device)
{
    XmlDocument document;
    XmlOpenDocument(document);
    const XmlElement list = XmlCreateElement(document, OLESTR("devicelist"));
    for (const auto& [inList, inFile, text] : elements)
        XmlAddTextElement(document, list, inList, device.*text);
    XmlAppend(document.Get(), list.Get());
    return XmlSerialise(document);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    UseMachine();
    const WideText input = Widen(TextOf(data, size));
    Device device;
    if (!ParseDeviceList(input.c_str(), device))
        return 0;
    RequireConsistent(device);

    Device again;
    Require(ParseDeviceList(ListOf(device), again), "a device can be written as a list");
    for (const auto& [inList, inFile, text] : elements)
        Require(
            AsStored((device.*text).View()) == (again.*text).View(), "a text reads as it was written",
            Format<char>("%ws", inList));

    Require(ExportDeviceXml(device), "a device can be stored");
    XmlDocument stored;
    Require(XmlOpenDocument(stored) && XmlLoadFile(stored, DeviceXmlLocation().Text()), "device.xml can be read");
    const XmlNode element = XmlFirstOf(stored.Get(), OLESTR("/devicelist/device"));
    for (const auto& [inList, inFile, text] : elements)
        if (inFile != nullptr)
            Require(
                XmlChildText(element, inFile).View() == AsStored((device.*text).View()), "a text is stored",
                Format<char>("%ws", inFile));
    return 0;
}
