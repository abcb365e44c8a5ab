// The bytes of device.xml, which everybody may write: the document model reads them, in any encoding, and the current
// device is preset from them.
#include "DeviceXml.h"

#include "Fuzz.h"
#include "StoredValues.h"
#include "TwainStorageDeviceList.h"

#include <optional>
#include <tuple>

void fuzz::Try(std::string_view input)
{
    static const ResourceLocationWide location = DeviceXmlLocation();
    static const std::optional<AgentOptions> options = AgentOptions::Build(OLESTR(""), OLESTR("agent"));
    WriteFile(OnDrive("ProgramData/Quellon/ScanKELV/device.xml"), input);

    const XmlDocument file = XmlCreateDocumentInitialisingCom();
    const XmlDocument again = XmlCreateDocumentInitialisingCom();
    const bool loaded = XmlLoadFile(file, location.Text());
    if (loaded)
    {
        const _bstr_t text = XmlSerialise(file);
        Require(XmlLoadText(again, text) && XmlSerialise(again) == text, "what was loaded loads again", text.Narrow());
    }

    const XmlDocument list = XmlCreateDocumentInitialisingCom();
    const XmlElement device = XmlCreateDeviceElement(list);
    CrossProductStorage none; // every value is the preset
    if (!XmlAddTwainStorageDevice(*options, list, device, none))
        return;
    const XmlNode stored = XmlFirstOf(file.Get(), OLESTR("/devicelist/device"));
    Require(loaded && stored, "only a file that loads presets a device");
    XmlAppend(list.Get(), device.Get());
    Require(XmlLoadText(again, XmlSerialise(list)), "the device loads");
    const XmlNode readBack = XmlFirstOf(again.Get(), OLESTR("/device"));
    for (const auto& [inFile, inList, capacity] :
         {std::tuple(OLESTR("Location"), OLESTR("userlocation"), longCapacity),
          {OLESTR("Address"), OLESTR("devicepath"), shortCapacity},
          {OLESTR("Serial"), OLESTR("serialnumber"), shortCapacity}})
    {
        const _bstr_t given = XmlChildText(stored, inFile);
        const _bstr_t kept = XmlChildText(readBack, inList);
        const bool alike = Squeezed(kept.View()) == Squeezed(given.View().substr(0, capacity - 1));
        Require(alike, "a text of the file is the list's, cut to its capacity");
    }
}
