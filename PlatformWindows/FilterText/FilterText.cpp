#include "FilterText.h"

#include "Loggers.h"
#include "MultiSelectDeviceList.h"
#include "TwainStorageDeviceList.h"

#include <iterator>
#include <utility>
#include <variant>

namespace scankelv
{
namespace
{

/// The texts of the filter that follow the options and the dialog mode.
struct VaryingTexts
{
    _bstr_t path;
    _bstr_t dialogMode;
    _bstr_t vendor;
    _bstr_t productName;
    _bstr_t properties;
};

struct FilterElement
{
    const WCHAR* name;
    std::variant<const WCHAR*, _bstr_t VaryingTexts::*> text;
};
constexpr FilterElement filterElements[] = {
    {OLESTR("xmldevicepath"), &VaryingTexts::path},
    {OLESTR("iprangepath"), &VaryingTexts::path},
    {OLESTR("dialogmode"), &VaryingTexts::dialogMode},
    {OLESTR("snmp_community_key"), OLESTR("LANTERN")},
    {OLESTR("vendor"), &VaryingTexts::vendor},
    {OLESTR("appname"), &VaryingTexts::productName},
    {OLESTR("iotype"), OLESTR("All")},
    {OLESTR("iodetail"), OLESTR("scan")},
    {OLESTR("updateonselect"), OLESTR("0")},
    {OLESTR("searchusbscanner"), OLESTR("1")},
    {OLESTR("dialogcaption"), OLESTR("Available Scan")},
    {OLESTR("codejock"), OLESTR("KELV.cjstyles")},
    {OLESTR("properties"), &VaryingTexts::properties},
};

constexpr const WCHAR* dialogModes[] = {
    OLESTR("0"), OLESTR("1"), OLESTR("2"), OLESTR("3"), OLESTR("4"), OLESTR("5"),
};

/// The digit of a mode; of the mode that the agent passes for one that there is not.
const WCHAR* DialogModeText(tagDialogMode mode)
{
    const auto index = static_cast<std::size_t>(mode);
    return index < std::size(dialogModes) ? dialogModes[index] : dialogModes[DialogMode5];
}

} // namespace

bool XmlGenerateFilterText(
    const AgentOptions& options, tagDialogMode mode, _bstr_t& filterText, parsedMultiDeviceInfo& device,
    bool& deviceInfoParsed)
{
    XmlDocument document;
    if (!XmlOpenDocument(document))
        return false;
    XmlAddDeclaration(document);
    const XmlElement option = XmlCreateElement(document, OLESTR("option"));
    const _bstr_t productName = options.ProductName();
    const VaryingTexts varying = {
        .path = OLESTR("ScanKELV-") + productName,
        .dialogMode = DialogModeText(mode),
        .vendor = options.VendorName(),
        .productName = productName,
        .properties = options.PropertiesUI() != 0 ? OLESTR("1") : OLESTR("0"),
    };
    for (const auto& [name, text] : filterElements)
    {
        const auto* const fixedText = std::get_if<const WCHAR*>(&text);
        _bstr_t content = fixedText != nullptr ? _bstr_t(*fixedText) : varying.*std::get<1>(text);
        XmlAddTextElement(document, option, name, std::move(content));
    }

    LoggerTypeAbstract& log = AgentLogger();
    const auto addRecords = [&](const WCHAR* recordPath) {
        XmlOptionAddDeviceListMultiSelect(options, document, option, recordPath, device, deviceInfoParsed);
    };
    if (options.DeviceListMode())
    {
        log.WriteLine("DeviceList - expanding the filter");
        addRecords(options.DeviceListRegistryPath());
    }
    else if (options.MultiSelectMode())
    {
        log.WriteLine("MultiSelect - expanding the filter");
        addRecords(options.MultiDeviceRegistryPath());
    }
    else if (options.IsCurrentDeviceFeatureOn() || options.PropertiesWanted())
    {
        log.WriteLine("Current device feature ON - expanding the filter");
        XmlOptionAddDeviceListSingleSelect(options, document, option);
    }
    else
        log.WriteLine("Current device feature OFF - not expanding the filter");

    XmlAppend(document.Get(), option.Get());
    filterText = XmlSerialise(document);
    return true;
}

} // namespace scankelv
