// A vendor (the first line) and a device identifier: fields before it change no answer, and an identifier made of lists
// of values gives them back.
#include "DeviceIdentifier.h"

#include "Fuzz.h"
#include "ModelComparison.h"

#include <algorithm>
#include <tuple>

using namespace scankelv;

void fuzz::Try(std::string_view input)
{
    const auto ask = [](std::wstring_view identifier, std::wstring_view vendor) {
        const std::size_t modelLength = ModelIn(identifier).value_or(L"").size();
        return std::tuple(DeviceIdHasScanMode(identifier), DeviceIdManufacturerIs(identifier, vendor), modelLength);
    };
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    std::wstring vendor = Widen(input.substr(0, lineEnd));
    std::wstring list = L";" + Widen(input.substr(std::min(lineEnd + 1, input.size())));
    Require(ask(L"CMD:SCN,a;;MOD:x" + list, vendor) == ask(list, vendor), "fields before others change nothing");

    const auto upper = [](wchar_t c) { return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c; };
    std::ranges::transform(vendor, vendor.begin(), upper);
    for (wchar_t& c : list)
        c = c == L':' || c == L';' ? L',' : upper(c);
    const std::wstring values = list.substr(1), field = L":" + values + L";";
    const std::wstring value = L"," + vendor.substr(0, vendor.find(L';'));
    const auto holds = [&](const std::wstring& part) { return list.find(part) != list.npos; };
    Require(
        ask(L"MODE" + field + L"mfg" + field + L"MDL" + field, value.substr(1)) ==
            std::tuple(holds(L",SCN"), holds(value), std::min(values.find(L','), values.size())),
        "the mode and the short key have each value of a list, the model the first");
}
