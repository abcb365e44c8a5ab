#include "DeviceMatch.h"

#include "DeviceIdentifier.h"
#include "LegacyModels.h"
#include "Loggers.h"
#include "TextScan.h"
#include "XmlDocument.h"
#include "XmlParsedDeviceList.h"

#include <new>

namespace scankelv
{
namespace
{

/// The vendor whose older devices scan without announcing it, whatever vendor is configured.
constexpr WideView legacyVendor = OLESTR("Quellon");

/// A product or vendor id that a local device must share with the settings.
struct ConfiguredId
{
    const WCHAR* (AgentOptions::*configured)() const;
    const WCHAR* query;
    const char* expression;
};
constexpr ConfiguredId configuredIds[] = {
    {&AgentOptions::ProductId, OLESTR("//pid"), "pidElement"},
    {&AgentOptions::VendorId, OLESTR("//vid"), "vidElement"},
};

bool HasConfiguredIds(const AgentOptions& options, const XmlDocument& document, PlaceHere place = {})
{
    for (const auto& [configured, query, expression] : configuredIds)
    {
        const WCHAR* const wanted = (options.*configured)();
        if (wanted == nullptr)
            return false;
        const XmlElement element = XmlSelectElement(document.Get(), query);
        if (!Checked(AgentLogger, CheckBoolean, bool(element), expression, 0, place))
            return false;
        // An unreadable id counts as 0 on either side.
        if (ScanHexadecimal16(wanted, 0) != ScanHexadecimal16(XmlText(element.Get()).View(), 0))
            return false;
    }
    return true;
}

/// An empty model is no model: every model name would contain it.
bool FindModel(WideView identifier, WideView& model)
{
    return DeviceIdModel(identifier, model) && !model.empty();
}

bool CanScan(WideView identifier, bool isNetwork)
{
    if (DeviceIdHasScanMode(identifier))
        return true;
    WideView model;
    if (!DeviceIdManufacturerIs(identifier, legacyVendor) || !FindModel(identifier, model))
        return false;
    return isNetwork ? IsLegacyNetworkModel(model) : IsLegacyLocalModel(model);
}

} // namespace

bool XmlDeviceMatch(const AgentOptions& options, const WCHAR* deviceXml) noexcept
try
{
    XmlDocument document;
    if (!XmlOpenDocument(document))
        return false;
    if (!Checked(AgentLogger, CheckBoolean, XmlLoadText(document, deviceXml), "loadXmlResult", 1))
        return false;
    const XmlElement deviceIdElement = XmlSelectElement(document.Get(), OLESTR("//deviceid"));
    if (!Checked(AgentLogger, CheckBoolean, bool(deviceIdElement), "deviceIdElement", 1))
        return false;
    const _bstr_t deviceId = XmlText(deviceIdElement.Get());
    const XmlElement ioTypeElement = XmlSelectElement(document.Get(), OLESTR("//iotype"));
    if (!Checked(AgentLogger, CheckBoolean, bool(ioTypeElement), "ioTypeElement", 1))
        return false;
    const bool isNetwork = XmlText(ioTypeElement.Get()).View() == networkIoType;

    if (options.IsGsdMode())
    {
        if (!DeviceIdManufacturerIs(deviceId.View(), options.VendorName()))
            return false;
    }
    else
    {
        WideView model;
        if (!FindModel(deviceId.View(), model))
            return false;
        const bool isConfiguredModel = WideView(options.ModelName()).find(model) != WideView::npos;
        if (!isConfiguredModel && (isNetwork || !HasConfiguredIds(options, document)))
            return false;
    }
    return CanScan(deviceId.View(), isNetwork);
}
catch (const XmlError& error)
{
    Checked(AgentLogger, CheckErrorCode, static_cast<DWORD>(error.Code()), "matchResult", 1);
    return false;
}
catch (const std::bad_alloc&)
{
    Checked(AgentLogger, CheckErrorCode, static_cast<DWORD>(E_OUTOFMEMORY), "matchResult", 1);
    return false;
}

} // namespace scankelv
