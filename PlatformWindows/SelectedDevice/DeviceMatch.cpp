#include "DeviceMatch.h"

#include "DeviceIdentifier.h"
#include "Loggers.h"
#include "ModelComparison.h"
#include "TextScan.h"
#include "XmlDocument.h"
#include "XmlParsedDeviceList.h"

#include <new>

namespace scankelv
{
namespace
{

/// A product or vendor id that a local device must share with the settings.
struct ConfiguredId
{
    const wchar_t* (AgentOptions::*configured)() const;
    const wchar_t* query;
    const char* expression;
};
constexpr ConfiguredId configuredIds[] = {
    {&AgentOptions::ProductId, L"//pid", "pidElement"},
    {&AgentOptions::VendorId, L"//vid", "vidElement"},
};

bool HasConfiguredIds(const AgentOptions& options, const XmlDocument& document, PlaceHere place = {})
{
    for (const auto& [configured, query, expression] : configuredIds)
    {
        const wchar_t* const wanted = (options.*configured)();
        if (wanted == nullptr)
            return false;
        const XmlNode element = XmlSelectFirst(document.Get(), query);
        if (!Checked(AgentLogger, CheckBoolean, bool(element), expression, 0, place))
            return false;
        // An unreadable id counts as 0 on either side.
        if (ScanHexadecimal16(wanted, 0) != ScanHexadecimal16(XmlText(element.Get()).View(), 0))
            return false;
    }
    return true;
}

} // namespace

bool XmlDeviceMatch(const AgentOptions& options, const wchar_t* deviceXml) noexcept
try
{
    XmlDocument document;
    if (!XmlOpenText(document, deviceXml))
        return false;
    const XmlNode deviceIdElement = XmlSelectFirst(document.Get(), L"//deviceid");
    if (!Checked(AgentLogger, CheckBoolean, bool(deviceIdElement), "deviceIdElement", 1))
        return false;
    const _bstr_t deviceId = XmlText(deviceIdElement.Get());
    const XmlNode ioTypeElement = XmlSelectFirst(document.Get(), L"//iotype");
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
        const std::optional<std::wstring_view> model = ModelIn(deviceId.View());
        if (!model)
            return false;
        if (!IsConfiguredModel(*model, options.ModelName()) && (isNetwork || !HasConfiguredIds(options, document)))
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
