// The bytes of device.xml, which everybody may write: the document model reads them, in any encoding, and the current
// device is preset from them.
#include "DeviceXml.h"

#include "Fuzz.h"
#include "StoredValues.h"
#include "TwainStorageDeviceList.h"

#include <optional>

namespace
{

using namespace fuzz;
using namespace scankelv;

XmlDocument NewDocument()
{
    XmlDocument document;
    Require(XmlOpenDocument(document), "a document can be made");
    return document;
}

XmlDocument Loaded(const _bstr_t& text)
{
    XmlDocument document = NewDocument();
    Require(XmlLoadText(document, text), "what was serialised loads", text.Narrow());
    return document;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const ResourceLocationWide location = DeviceXmlLocation();
    WriteMachineFile("ProgramData/Quellon/ScanKELV/device.xml", TextOf(data, size));

    const XmlDocument file = NewDocument();
    const bool loaded = XmlLoadFile(file, location.Text());
    if (loaded)
    {
        const _bstr_t text = XmlSerialise(file);
        const _bstr_t again = XmlSerialise(Loaded(text));
        Require(text == again, "what was loaded serialises alike", (text + OLESTR("\n") + again).Narrow());
    }

    static const std::optional<AgentOptions> options = AgentOptions::Build(OLESTR(""), OLESTR("agent"));
    const XmlDocument list = NewDocument();
    const XmlElement device = XmlCreateDeviceElement(list);
    CrossProductStorage none; // every value is the preset
    const bool added = XmlAddTwainStorageDevice(*options, list, device, none);
    const XmlNode stored = XmlFirstOf(file.Get(), OLESTR("/devicelist/device"));
    Require(!added || (loaded && stored), "only a file that loads presets a device");
    if (!added)
        return 0;
    XmlAppend(list.Get(), device.Get());
    const XmlDocument again = Loaded(XmlSerialise(list));
    const XmlNode readBack = XmlFirstOf(again.Get(), OLESTR("/device"));
    constexpr struct
    {
        const WCHAR* inFile;
        const WCHAR* inList;
        DWORD capacity;
    } rows[] = {
        {OLESTR("Location"), OLESTR("userlocation"), longCapacity},
        {OLESTR("Address"), OLESTR("devicepath"), shortCapacity},
        {OLESTR("Serial"), OLESTR("serialnumber"), shortCapacity},
    };
    for (const auto& [inFile, inList, capacity] : rows)
        Require(
            XmlChildText(readBack, inList).View() ==
                AsStored(XmlChildText(stored, inFile).View().substr(0, capacity - 1)),
            "a text of the file is the list's, cut to its capacity");
    return 0;
}
