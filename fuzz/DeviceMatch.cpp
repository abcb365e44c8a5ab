// Commands (the first line) and a device text: the answer depends on four elements of it and on nothing else.
#include "DeviceMatch.h"

#include "Fuzz.h"
#include "XmlDocument.h"

namespace
{

using namespace fuzz;
using namespace scankelv;

WideText CaseSwapped(WideView text)
{
    WideText swapped(text);
    for (WCHAR& unit : swapped)
        if ((unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z'))
            unit ^= 0x20;
    return swapped;
}

/// The four elements alone, in another order and below others.
_bstr_t Rebuilt(const XmlDocument& document, bool swapped)
{
    XmlDocument rebuilt;
    XmlOpenDocument(rebuilt);
    const XmlElement root = XmlCreateElement(rebuilt, OLESTR("x"));
    const XmlElement inner = XmlCreateElement(rebuilt, OLESTR("y"));
    for (const WCHAR* name : {OLESTR("vid"), OLESTR("pid"), OLESTR("iotype"), OLESTR("deviceid")})
        if (const XmlElement found = XmlSelectElement(document.Get(), _bstr_t(OLESTR("//")) + name))
        {
            const _bstr_t text = XmlText(found.Get());
            const bool isId = WideView(name) == OLESTR("deviceid");
            XmlAddTextElement(rebuilt, inner, name, swapped && isId ? _bstr_t(CaseSwapped(text.View())) : text);
        }
    XmlAppend(root.Get(), inner.Get());
    XmlAppend(rebuilt.Get(), root.Get());
    return XmlSerialise(rebuilt);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    UseMachine();
    std::string_view input = TextOf(data, size);
    const WideText line = Widen(TakeLine(input));
    const WideText device = Widen(input).c_str();
    const auto options = AgentOptions::Build(OLESTR(""), line.c_str());
    if (!options)
        return 0;

    const bool matches = XmlDeviceMatch(*options, device.c_str());
    Require(matches == XmlDeviceMatch(*options, device.c_str()), "a second look gives the same");
    XmlDocument document;
    if (!XmlOpenDocument(document) || !XmlLoadText(document, device.c_str()))
    {
        Require(!matches, "a text that does not load matches nothing");
        return 0;
    }
    Require(matches == XmlDeviceMatch(*options, Rebuilt(document, false)), "only the four elements count");
    if (options->IsGsdMode())
        Require(matches == XmlDeviceMatch(*options, Rebuilt(document, true)), "letter case counts for models alone");
    return 0;
}
