// A vendor (the first line) and a device identifier: letter case and other fields change no answer, and an identifier
// made of lists of values gives them back.
#include "DeviceIdentifier.h"

#include "Fuzz.h"
#include "LegacyModelTables.h"
#include "ModelComparison.h"

#include <algorithm>
#include <tuple>

using namespace scankelv;

static std::wstring Capitals(std::wstring text)
{
    std::ranges::transform(text, text.begin(), [](wchar_t c) { return c >= L'a' && c <= L'z' ? c - 32 : c; });
    return text;
}

/// Whether it has a scan mode and is the vendor's, and its model.
static std::tuple<bool, bool, std::wstring> Ask(const std::wstring& identifier, std::wstring_view vendor)
{
    const std::wstring_view model = ModelIn(identifier).value_or(L"");
    fuzz::Require(IsConfiguredModel(model, identifier), "the model is a part of the identifier");
    return {DeviceIdHasScanMode(identifier), DeviceIdManufacturerIs(identifier, vendor), std::wstring(model)};
}

void fuzz::Try(std::string_view input)
{
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    const std::wstring vendor = Capitals(Widen(input.substr(0, lineEnd)));
    const std::wstring identifier = Widen(input.substr(std::min(lineEnd + 1, input.size())));
    auto answers = Ask(identifier, vendor);
    auto& [scans, isVendor, model] = answers;
    Require(Ask(L"CMD:SCN,a;;MOD:x;" + identifier, vendor) == answers, "fields before others change nothing");
    model = Capitals(model);
    Require(Ask(Capitals(identifier), vendor) == answers, "letter case changes nothing");

    const bool isOld = DeviceIdManufacturerIs(identifier, L"Quellon");
    const auto inModel = [&, &name = model](std::wstring_view family) {
        return isOld && name.find(family) != name.npos;
    };
    const bool isNetwork = std::ranges::any_of(LegacyNetworkModels, inModel);
    const bool isLocal = std::ranges::any_of(LegacyLocalModels, inModel);
    Require(CanScan(identifier, true) == (scans || isNetwork), "the mode or a network family scans");
    Require(CanScan(identifier, false) == (scans || isLocal), "the mode or a local family scans");

    std::wstring list = L"," + Capitals(identifier);
    std::ranges::replace(list, L':', L',');
    std::ranges::replace(list, L';', L',');
    const std::wstring name = L"," + vendor.substr(0, vendor.find(L';')), field = L":" + list.substr(1) + L";";
    const auto holds = [&](const std::wstring& value) { return list.find(value) != list.npos; };
    Require(
        Ask(L"MODE" + field + L"MFG" + field + L"MDL" + field, name.substr(1)) ==
            std::tuple(holds(L",SCN"), holds(name), list.substr(1, list.find(L',', 1) - 1)),
        "the mode and the short key have each value of a list, the model the first");
    Require(
        DeviceIdManufacturerIs(L"MANUFACTURER" + field, name.substr(1)) == list.starts_with(name),
        "the long key has its first value");
}
