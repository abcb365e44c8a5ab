#include "LegacyModels.h"

#include "AsciiCase.h"
#include "Vendor.h"

#include <algorithm>
#include <span>

namespace scankelv
{
namespace
{

/// Whether the name can be found: models are compared in upper case.
constexpr bool IsFamilyName(std::wstring_view name)
{
    return name.ends_with(std::wstring_view(L" SERIES")) &&
           std::ranges::all_of(name, [](wchar_t letter) { return UpperAscii(letter) == letter; });
}

static_assert(std::ranges::all_of(vendor::legacyNetworkModels, IsFamilyName));
static_assert(std::ranges::all_of(vendor::legacyLocalModels, IsFamilyName));

bool ContainsAny(std::wstring_view model, std::span<const std::wstring_view> families)
{
    const auto equal = [](wchar_t letter, wchar_t upper) { return UpperAscii(letter) == upper; };
    return std::ranges::any_of(families, [&](std::wstring_view family) {
        return std::search(model.begin(), model.end(), family.begin(), family.end(), equal) != model.end();
    });
}

} // namespace

bool IsLegacyNetworkModel(std::wstring_view model) noexcept
{
    return ContainsAny(model, vendor::legacyNetworkModels);
}

bool IsLegacyLocalModel(std::wstring_view model) noexcept
{
    return ContainsAny(model, vendor::legacyLocalModels);
}

} // namespace scankelv
