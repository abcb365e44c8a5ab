// PlatformWindows/SelectedDevice: the device that the user chose. Reading the library's answer, checking it by its
// identifier, and storing it where the scan driver reads it.
#pragma once

#include "BstrText.h"

namespace scankelv
{

/// The text of element "iotype" for a network device; every other text means a locally attached one.
inline constexpr std::wstring_view networkIoType = L"Network";

/// One selected device. A null text counts as empty everywhere.
struct XmlParsedDeviceList
{
    _bstr_t addressString; ///< the address by which the driver reaches the device
    bool commentPresents = false;
    _bstr_t commentString;
    _bstr_t ioTypeString;
    _bstr_t deviceIdString;
    _bstr_t deviceNameString;
    _bstr_t address2String; ///< the device path
    _bstr_t extDeviceIdString;
    _bstr_t hostNameString;
    bool isNetwork = false;
    _bstr_t locationString;
    _bstr_t macAddressString; ///< empty for a local device
    _bstr_t mdlString;
    _bstr_t pidString; ///< hexadecimal digits, as received
    _bstr_t portNameString;
    _bstr_t productNameString;
    _bstr_t scannerPortString;
    _bstr_t serialNumberString; ///< at most 62 characters, no trailing blanks
    bool scannerPortPresents = false;
    _bstr_t systemDeviceNameString;
    bool userLocationPresents = false;
    _bstr_t userLocationString;
    _bstr_t mfgString;
    _bstr_t vidString; ///< hexadecimal digits, as received
};

} // namespace scankelv
