#include "LegacyModels.h"

#include "AsciiCase.h"
#include "LegacyModelTables.h"

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

constexpr auto namesAlsoLocal = std::ranges::count_if(
    LegacyNetworkModels, [](std::wstring_view name) { return std::ranges::count(LegacyLocalModels, name) == 1; });

static_assert(std::size(LegacyNetworkModels) == 28 && std::size(LegacyLocalModels) == 43 && namesAlsoLocal == 25);
static_assert(std::ranges::all_of(LegacyNetworkModels, IsFamilyName));
static_assert(std::ranges::all_of(LegacyLocalModels, IsFamilyName));

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
    return ContainsAny(model, LegacyNetworkModels);
}

bool IsLegacyLocalModel(std::wstring_view model) noexcept
{
    return ContainsAny(model, LegacyLocalModels);
}

} // namespace scankelv
