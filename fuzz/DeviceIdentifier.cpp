// A vendor text (the first line) and a device identifier: letter case and what stands before do not change the answers,
// and an identifier that is made of a list of values gives them back.
#include "DeviceIdentifier.h"

#include "Fuzz.h"
#include "LegacyModels.h"
#include "LegacyModelTables.h"

#include <algorithm>
#include <vector>

using namespace fuzz;

namespace
{

struct Answers
{
    bool hasScanMode, isVendor, isLegacyNetwork, isLegacyLocal, hasModel;
    WideText model;
    bool operator==(const Answers&) const = default;
};

/// What is said of a text in memory of exactly its size, so that no read behind it stays unseen.
Answers Asked(WideView identifier, WideView vendor)
{
    const std::vector<WCHAR> exact(identifier.begin(), identifier.end());
    const WideView text(exact.data(), exact.size());
    WideView model = OLESTR("-");
    const bool hasModel = DeviceIdModel(text, model);
    Require(hasModel || model == OLESTR("-"), "nothing is told of a model that is not there");
    const bool isLocal = IsLegacyLocalModel(text);
    const bool isVendor = DeviceIdManufacturerIs(text, vendor);
    return {DeviceIdHasScanMode(text), isVendor, IsLegacyNetworkModel(text), isLocal, hasModel, WideText(model)};
}

} // namespace

void fuzz::Try(std::string_view input)
{
    const WideText vendor = Widen(TakeLine(input));
    const WideText identifier = Widen(input);
    WideText list = Capitals(identifier);
    Answers answers = Asked(identifier, vendor);
    Require(Asked(OLESTR("CMD:SCN,a;;MOD:x;") + identifier, vendor) == answers, "fields before others change nothing");
    answers.model = Capitals(answers.model);
    Require(Asked(list, Capitals(vendor)) == answers, "letter case changes nothing");
    const auto isInList = [&](WideView family) { return list.find(family) != list.npos; };
    Require(std::ranges::any_of(LegacyNetworkModels, isInList) == answers.isLegacyNetwork, "network families");
    Require(std::ranges::any_of(LegacyLocalModels, isInList) == answers.isLegacyLocal, "local families");

    std::ranges::replace(list, ':', ',');
    std::ranges::replace(list, ';', ',');
    const WideText field = OLESTR(':') + list + OLESTR(';');
    const WideText values = OLESTR(',') + list; // each behind a comma
    const WideText name = OLESTR(',') + Capitals(vendor.substr(0, vendor.find(';')));
    const bool hasScanMode = values.find(OLESTR(",SCN")) != values.npos;
    const auto require = [&](const WideText& manufacturer, const WideText& model, bool isVendor) {
        const WideText made = OLESTR("MODE") + field + manufacturer + field + model + field;
        const Answers said = Asked(made, WideView(name).substr(1));
        Require(said.hasScanMode == hasScanMode, "the scan mode is any value");
        Require(said.isVendor == isVendor, "the vendor begins any value, the manufacturer the first one");
        Require(said.hasModel && said.model == list.substr(0, list.find(',')), "the model is the first value");
    };
    require(OLESTR("MFG"), OLESTR("MDL;X"), values.find(name) != values.npos);
    require(OLESTR("MANUFACTURER"), OLESTR("MODEL"), values.starts_with(name));
}
