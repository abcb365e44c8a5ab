// Commands (the first line) and a device text: the answer depends on four elements of it and on nothing else.
#include "DeviceMatch.h"

#include "Fuzz.h"
#include "XmlDocument.h"

using namespace fuzz;

namespace
{

/// The four elements alone, in another order.
_bstr_t Rebuilt(const XmlDocument& document, bool inCapitals)
{
    const XmlDocument rebuilt = XmlCreateDocumentInitialisingCom();
    const XmlElement root = XmlCreateElement(rebuilt, OLESTR("x"));
    for (const WCHAR* name : {OLESTR("vid"), OLESTR("pid"), OLESTR("iotype"), OLESTR("deviceid")})
        if (const XmlElement found = XmlSelectElement(document.Get(), _bstr_t(OLESTR("//")) + name))
        {
            const WideText text(XmlText(found.Get()).View());
            const bool isChanged = inCapitals && WideView(name) == OLESTR("deviceid");
            XmlAddTextElement(rebuilt, root, name, _bstr_t(WideView(isChanged ? Capitals(text) : text)));
        }
    XmlAppend(rebuilt.Get(), root.Get());
    return XmlSerialise(rebuilt);
}

} // namespace

void fuzz::Try(std::string_view input)
{
    const auto options = AgentOptions::Build(OLESTR(""), Widen(TakeLine(input)).c_str());
    const WideText device = Widen(input).c_str();
    if (!options)
        return;
    const bool matches = XmlDeviceMatch(*options, device.c_str());
    const XmlDocument document = XmlCreateDocumentInitialisingCom();
    if (XmlLoadText(document, device.c_str()))
    {
        Require(matches == XmlDeviceMatch(*options, Rebuilt(document, false)), "only the four elements count");
        const bool alike = matches == XmlDeviceMatch(*options, Rebuilt(document, true));
        Require(alike || !options->IsGsdMode(), "letter case counts for models alone");
    }
    else
        Require(!matches, "a text that does not load matches nothing");
}
