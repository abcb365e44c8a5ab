#include "ModelComparison.h"

#include "DeviceIdentifier.h"
#include "LegacyModels.h"
#include "Vendor.h"

namespace scankelv
{

std::optional<std::wstring_view> ModelIn(std::wstring_view identifier) noexcept
{
    std::wstring_view model;
    return DeviceIdModel(identifier, model) && !model.empty() ? std::optional(model) : std::nullopt;
}

bool IsConfiguredModel(std::wstring_view model, std::wstring_view configured) noexcept
{
    return configured.find(model) != std::wstring_view::npos;
}

bool CanScan(std::wstring_view identifier, bool isNetwork) noexcept
{
    if (DeviceIdHasScanMode(identifier))
        return true;
    const std::optional<std::wstring_view> model = ModelIn(identifier);
    if (!model || !DeviceIdManufacturerIs(identifier, vendor::deviceVendor))
        return false;
    return isNetwork ? IsLegacyNetworkModel(*model) : IsLegacyLocalModel(*model);
}

} // namespace scankelv
