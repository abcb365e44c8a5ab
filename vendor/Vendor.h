// What a vendor changes in the program, and nothing else needs to know. All of it may change with each release. The
// names of files, folders and keys are in vendor.cmake; C++ sources have them from VendorNames.h.
#pragma once

#include "VendorNames.h"

#include <string_view>

namespace scankelv::vendor
{

/// The maker that devices announce. The agent searches for it by default, and knows its legacy models.
inline constexpr const wchar_t* deviceVendor = L"Quellon";
/// SNMP community that the search library reads devices with; at most 63 characters.
inline constexpr const wchar_t* community = L"LANTERN";
/// The style of the library's dialog: a file that the library knows.
inline constexpr const wchar_t* dialogStyle = L"KELV.cjstyles";

// Families of older models that scan without announcing it: upper-case names, each ending in the word "SERIES".
// A vendor without any writes std::array<std::wstring_view, 0> (<array>).

inline constexpr std::wstring_view legacyNetworkModels[] = {
    L"TARN 110 SERIES",      L"TARN 120 SERIES",     L"TARN 240 SERIES",     L"TARN 260 SERIES",
    L"RILL M15 SERIES",      L"RILL M20 SERIES",     L"RILL M35 SERIES",     L"WEIR C30 SERIES",
    L"WEIR C40 SERIES",      L"WEIR C50 SERIES",     L"WEIR C60 SERIES",     L"BECKSIDE 200 SERIES",
    L"BECKSIDE 220 SERIES",  L"FOUNTEL S1 SERIES",   L"FOUNTEL S2 SERIES",   L"FOUNTEL S4 SERIES",
    L"MILLRACE 500 SERIES",  L"MILLRACE 510 SERIES", L"MILLRACE 700 SERIES", L"SPRINGHEAD D8 SERIES",
    L"SPRINGHEAD D9 SERIES", L"LOCHEN X10 SERIES",   L"LOCHEN X12 SERIES",   L"LOCHEN X20 SERIES",
    L"LOCHEN X24 SERIES",    L"CASCADA N300 SERIES", L"CASCADA N320 SERIES", L"CASCADA N500 SERIES",
};

inline constexpr std::wstring_view legacyLocalModels[] = {
    L"TARN 110 SERIES",      L"TARN 120 SERIES",     L"TARN 240 SERIES",     L"TARN 260 SERIES",
    L"RILL M15 SERIES",      L"RILL M20 SERIES",     L"RILL M35 SERIES",     L"WEIR C30 SERIES",
    L"WEIR C40 SERIES",      L"WEIR C50 SERIES",     L"WEIR C60 SERIES",     L"BECKSIDE 200 SERIES",
    L"BECKSIDE 220 SERIES",  L"FOUNTEL S1 SERIES",   L"FOUNTEL S2 SERIES",   L"FOUNTEL S4 SERIES",
    L"MILLRACE 500 SERIES",  L"MILLRACE 510 SERIES", L"MILLRACE 700 SERIES", L"SPRINGHEAD D8 SERIES",
    L"SPRINGHEAD D9 SERIES", L"LOCHEN X10 SERIES",   L"LOCHEN X12 SERIES",   L"LOCHEN X20 SERIES",
    L"LOCHEN X24 SERIES",    L"BROOKLET 100 SERIES", L"BROOKLET 105 SERIES", L"BROOKLET 130 SERIES",
    L"BROOKLET 150 SERIES",  L"BROOKLET 155 SERIES", L"DEWPOND L4 SERIES",   L"DEWPOND L6 SERIES",
    L"DEWPOND L7 SERIES",    L"DEWPOND L9 SERIES",   L"PUDDLER 60 SERIES",   L"PUDDLER 65 SERIES",
    L"PUDDLER 70 SERIES",    L"OXBOWER A310 SERIES", L"OXBOWER A330 SERIES", L"OXBOWER A350 SERIES",
    L"FORDEL F1 SERIES",     L"FORDEL F2 SERIES",    L"FORDEL F3 SERIES",
};

} // namespace scankelv::vendor
