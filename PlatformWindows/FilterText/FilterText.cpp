#include "FilterText.h"

#include "Loggers.h"
#include "MultiSelectDeviceList.h"
#include "TwainStorageDeviceList.h"
#include "Vendor.h"

#include <iterator>
#include <utility>
#include <variant>

namespace scankelv
{
namespace
{

/// The texts of the filter that depend on the options and the dialog mode.
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
    const wchar_t* name;
    std::variant<const wchar_t*, _bstr_t VaryingTexts::*> text;
};
constexpr FilterElement filterElements[] = {
    {L"xmldevicepath", &VaryingTexts::path},
    {L"iprangepath", &VaryingTexts::path},
    {L"dialogmode", &VaryingTexts::dialogMode},
    {L"snmp_community_key", vendor::community},
    {L"vendor", &VaryingTexts::vendor},
    {L"appname", &VaryingTexts::productName},
    {L"iotype", L"All"},
    {L"iodetail", L"scan"},
    {L"updateonselect", L"0"},
    {L"searchusbscanner", L"1"},
    {L"dialogcaption", L"Available Scan"},
    {L"codejock", vendor::dialogStyle},
    {L"properties", &VaryingTexts::properties},
};

constexpr const wchar_t* dialogModes[] = {
    L"0", L"1", L"2", L"3", L"4", L"5",
};

/// The digit of a mode; an unknown mode gets the digit of the mode that the agent passes.
const wchar_t* DialogModeText(tagDialogMode mode)
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
    const XmlElement option = XmlCreateElement(document, L"option");
    const _bstr_t productName = options.ProductName();
    const VaryingTexts varying = {
        .path = VENDOR_PROGRAM L"-" + productName,
        .dialogMode = DialogModeText(mode),
        .vendor = options.VendorName(),
        .productName = productName,
        .properties = options.PropertiesUI() != 0 ? L"1" : L"0",
    };
    for (const auto& [name, text] : filterElements)
    {
        const auto* const fixedText = std::get_if<const wchar_t*>(&text);
        _bstr_t content = fixedText != nullptr ? _bstr_t(*fixedText) : varying.*std::get<1>(text);
        XmlAddTextElement(document, option, name, std::move(content));
    }

    LoggerTypeAbstract& log = AgentLogger();
    const auto addRecords = [&](const wchar_t* recordPath) {
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
