// A vendor text (the first line) and a device identifier, against readers that are slow and plain.
#include "DeviceIdentifier.h"

#include "Fuzz.h"
#include "LegacyModels.h"
#include "LegacyModelTables.h"

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

namespace
{

using namespace fuzz;

bool Begins(WideView text, WideView start)
{
    return Upper(text.substr(0, start.size())) == Upper(start);
}

struct Field
{
    WideView key;                 ///< the whole field
    std::vector<WideView> values; ///< each with all that follows it
};

std::vector<Field> FieldsOf(WideView identifier)
{
    std::vector<Field> fields;
    for (std::size_t start = 0; start < identifier.size();)
    {
        std::size_t end = start;
        while (end < identifier.size() && identifier[end] != ';')
            ++end;
        Field field{identifier.substr(start, end - start), {}};
        std::size_t value = start;
        while (value < identifier.size() && identifier[value] != ':')
            ++value;
        // A value ends at this field's end, or at a comma that another follows; one of a later field ends there.
        for (++value; value < identifier.size();)
        {
            field.values.push_back(identifier.substr(value));
            while (value < identifier.size() && identifier[value] != ',' && identifier[value] != ';')
                ++value;
            if (value == end)
                break;
            ++value;
        }
        fields.push_back(field);
        start = end + 1;
    }
    return fields;
}

/// The first field of any of the keys.
std::optional<Field> FirstField(WideView identifier, std::initializer_list<WideView> keys)
{
    for (const Field& field : FieldsOf(identifier))
        for (const WideView key : keys)
            if (Begins(field.key, key))
                return field;
    return std::nullopt;
}

bool HasScanMode(WideView identifier)
{
    const auto field = FirstField(identifier, {OLESTR("MODE")});
    return field && std::ranges::any_of(field->values, [](WideView v) { return Begins(v, OLESTR("SCN")); });
}

bool ManufacturerIs(WideView identifier, WideView vendor)
{
    auto field = FirstField(identifier, {OLESTR("MFG"), OLESTR("MANUFACTURER")});
    if (field && !Begins(field->key, OLESTR("MFG")) && field->values.size() > 1)
        field->values.resize(1);
    return field && std::ranges::any_of(field->values, [&](WideView value) { return Begins(value, vendor); });
}

std::optional<WideView> Model(WideView identifier)
{
    const auto field = FirstField(identifier, {OLESTR("MDL"), OLESTR("MODEL")});
    if (!field || field->values.empty())
        return std::nullopt;
    const WideView value = field->values.front();
    return value.substr(0, value.find_first_of(OLESTR(",;")));
}

bool IsLegacy(WideView model, std::span<const WideView> families)
{
    const WideText upper = Upper(model);
    return std::ranges::any_of(families, [&](WideView family) { return upper.find(family) != upper.npos; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace scankelv;
    std::string_view input = TextOf(data, size);
    const WideText vendor = Widen(TakeLine(input));
    const WideText identifier = Widen(input);

    Require(DeviceIdHasScanMode(identifier) == HasScanMode(identifier), "the scan mode is found");
    Require(DeviceIdManufacturerIs(identifier, vendor) == ManufacturerIs(identifier, vendor), "the vendor is found");
    const WideView untouched = OLESTR("untouched");
    WideView model = untouched;
    const std::optional<WideView> expected = Model(identifier);
    Require(DeviceIdModel(identifier, model) == expected.has_value(), "the model is found");
    Require(model == expected.value_or(untouched), "the model is the first value");
    Require(IsLegacyNetworkModel(identifier) == IsLegacy(identifier, LegacyNetworkModels), "network families");
    Require(IsLegacyLocalModel(identifier) == IsLegacy(identifier, LegacyLocalModels), "local families");
    return 0;
}
