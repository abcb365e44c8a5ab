// The values of a stored device, as the device lists read them from a storage.
#pragma once

#include "CrossProductStorage.h"

#include <variant>

namespace scankelv
{

/// The fields that a read fills. What a storage does not hold leaves its field as it was.
struct StoredValues
{
    WideText addressString;
    WideText commentString;
    DWORD connectionTypeDWORD = 0; ///< 0: local, 1: network
    WideText deviceIdString;
    WideText deviceNameString;
    DWORD deviceSelectDWORD = 0;
    WideText extDeviceIdString;
    WideText hostNameString;
    DWORD ipv6DWORD = 0; ///< 1: the address is an IPv6 address
    WideText locationString;
    WideText macAddressString;
    WideText mdlString;
    WideText mfgString;
    WideText pidString; ///< the stored number as "0x1a"
    WideText portNameString;
    WideText productNameString;
    WideText serialNumberString;
    WideText systemDeviceNameString;
    DWORD uiMode = 0;
    WideText vidString;           ///< the stored number as "0x1a"
    DWORD defaultDeviceDWORD = 0; ///< 1: the default one of several records
};

/// Which device lists read a value.
enum class ValueOf : unsigned char
{
    CurrentDevice = 1,
    Record = 2,
    Both = 3
};

/// A text with room for `capacity` characters, terminator counted.
struct TextField
{
    WideText StoredValues::*member;
    DWORD capacity;
};
struct NumberField
{
    DWORD StoredValues::*member;
    bool loggedWhenAbsent;
};
/// A number that is kept as text, when it exists.
struct IdentifierField
{
    WideText StoredValues::*member;
    const char* textLabel;
};

struct StoredValue
{
    const WCHAR* name;
    const char* label; ///< of the line that logs it
    std::variant<TextField, NumberField, IdentifierField> field;
    ValueOf list;

    constexpr bool BelongsTo(ValueOf asked) const
    {
        return (static_cast<unsigned>(list) & static_cast<unsigned>(asked)) != 0;
    }
};

inline constexpr DWORD shortCapacity = 256;
inline constexpr DWORD longCapacity = 1024;

/// In the order in which they are read.
inline constexpr StoredValue storedValues[] = {
    {OLESTR("Address"), "addressString", TextField{&StoredValues::addressString, shortCapacity}, ValueOf::Both},
    {OLESTR("Comment"), "commentString", TextField{&StoredValues::commentString, longCapacity}, ValueOf::CurrentDevice},
    {OLESTR("ConnectionType"), "connectionTypeDWORD", NumberField{&StoredValues::connectionTypeDWORD, true},
     ValueOf::Both},
    {OLESTR("DeviceID"), "deviceIdString", TextField{&StoredValues::deviceIdString, shortCapacity}, ValueOf::Both},
    {OLESTR("DeviceName"), "deviceNameString", TextField{&StoredValues::deviceNameString, shortCapacity},
     ValueOf::Both},
    {OLESTR("DeviceSelect"), "deviceSelectDWORD", NumberField{&StoredValues::deviceSelectDWORD, true},
     ValueOf::CurrentDevice},
    {OLESTR("ExtDeviceID"), "extDeviceIdString", TextField{&StoredValues::extDeviceIdString, shortCapacity},
     ValueOf::Both},
    {OLESTR("HostName"), "hostNameString", TextField{&StoredValues::hostNameString, shortCapacity}, ValueOf::Both},
    {OLESTR("IPv6"), "ipv6DWORD", NumberField{&StoredValues::ipv6DWORD, true}, ValueOf::Record},
    {OLESTR("Location"), "locationString", TextField{&StoredValues::locationString, longCapacity}, ValueOf::Both},
    {OLESTR("MACAddress"), "macAddressString", TextField{&StoredValues::macAddressString, shortCapacity},
     ValueOf::Both},
    {OLESTR("MDL"), "mdlString", TextField{&StoredValues::mdlString, shortCapacity}, ValueOf::Both},
    {OLESTR("MFG"), "mfgString", TextField{&StoredValues::mfgString, shortCapacity}, ValueOf::Both},
    {OLESTR("PID"), "pidDWORD", IdentifierField{&StoredValues::pidString, "pidString"}, ValueOf::Both},
    {OLESTR("PortName"), "portNameString", TextField{&StoredValues::portNameString, shortCapacity}, ValueOf::Both},
    {OLESTR("ProductName"), "productNameString", TextField{&StoredValues::productNameString, shortCapacity},
     ValueOf::CurrentDevice},
    {OLESTR("Serial"), "serialNumberString", TextField{&StoredValues::serialNumberString, shortCapacity},
     ValueOf::CurrentDevice},
    {OLESTR("SystemDeviceName"), "systemDeviceNameString",
     TextField{&StoredValues::systemDeviceNameString, shortCapacity}, ValueOf::Both},
    {OLESTR("UI_Mode"), "uiMode", NumberField{&StoredValues::uiMode, true}, ValueOf::CurrentDevice},
    {OLESTR("VID"), "vidDWORD", IdentifierField{&StoredValues::vidString, "vidString"}, ValueOf::Both},
    {OLESTR("Default"), "defaultDeviceDWORD", NumberField{&StoredValues::defaultDeviceDWORD, false}, ValueOf::Record},
};

/// Reads the values of one list, each followed by its log line.
void ReadStoredValues(CrossProductStorage& storage, ValueOf list, StoredValues& values);

/// Reads one text. @param capacity  terminator counted, at most `longCapacity`; a longer text counts as absent, and one
/// that fills it without a stored terminator is cut by a character
/// @return false, the text as it was, when the storage does not give it
bool ReadStoredText(CrossProductStorage& storage, const WCHAR* name, DWORD capacity, WideText& text);

} // namespace scankelv
