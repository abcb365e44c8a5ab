#include "LegacyModels.h"

#include "LegacyModelTables.h"

#include <algorithm>
#include <span>

namespace scankelv
{
namespace
{

constexpr WCHAR UpperAscii(WCHAR letter)
{
    return letter >= OLESTR('a') && letter <= OLESTR('z') ? static_cast<WCHAR>(letter - OLESTR('a') + OLESTR('A'))
                                                          : letter;
}

/// Only such a name can be found in an upper-cased model.
constexpr bool IsFamilyName(WideView name)
{
    return name.ends_with(WideView(OLESTR(" SERIES"))) &&
           std::ranges::all_of(name, [](WCHAR letter) { return UpperAscii(letter) == letter; });
}

constexpr auto namesAlsoLocal = std::ranges::count_if(
    LegacyNetworkModels, [](WideView name) { return std::ranges::count(LegacyLocalModels, name) == 1; });

static_assert(std::size(LegacyNetworkModels) == 28 && std::size(LegacyLocalModels) == 43 && namesAlsoLocal == 25);
static_assert(std::ranges::all_of(LegacyNetworkModels, IsFamilyName));
static_assert(std::ranges::all_of(LegacyLocalModels, IsFamilyName));

bool ContainsAny(WideView model, std::span<const WideView> families)
{
    const auto equal = [](WCHAR letter, WCHAR upper) { return UpperAscii(letter) == upper; };
    return std::ranges::any_of(families, [&](WideView family) {
        return std::search(model.begin(), model.end(), family.begin(), family.end(), equal) != model.end();
    });
}

} // namespace

bool IsLegacyNetworkModel(WideView model) noexcept
{
    return ContainsAny(model, LegacyNetworkModels);
}

bool IsLegacyLocalModel(WideView model) noexcept
{
    return ContainsAny(model, LegacyLocalModels);
}

} // namespace scankelv
