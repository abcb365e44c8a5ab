// The values of a stored device, as the device lists read them from a storage.
#pragma once

#include "CrossProductStorage.h"

#include <variant>

namespace scankelv
{

/// The fields that a read fills. A value that the storage lacks leaves its field unchanged.
struct StoredValues
{
    std::wstring addressString;
    std::wstring commentString;
    DWORD connectionTypeDWORD = 0; ///< 0: local, 1: network
    std::wstring deviceIdString;
    std::wstring deviceNameString;
    DWORD deviceSelectDWORD = 0;
    std::wstring extDeviceIdString;
    std::wstring hostNameString;
    DWORD ipv6DWORD = 0; ///< 1: the address is an IPv6 address
    std::wstring locationString;
    std::wstring macAddressString;
    std::wstring mdlString;
    std::wstring mfgString;
    std::wstring pidString; ///< the stored number as "0x1a"
    std::wstring portNameString;
    std::wstring productNameString;
    std::wstring serialNumberString;
    std::wstring systemDeviceNameString;
    DWORD uiMode = 0;
    std::wstring vidString;       ///< the stored number as "0x1a"
    DWORD defaultDeviceDWORD = 0; ///< 1: the default one of several records
};

/// Which device lists read a value.
enum class ValueOf : unsigned char
{
    CurrentDevice = 1,
    Record = 2,
    Both = 3
};

/// A text of at most `capacity` characters, terminator counted.
struct TextField
{
    std::wstring StoredValues::*member;
    DWORD capacity;
};
struct NumberField
{
    DWORD StoredValues::*member;
    bool loggedWhenAbsent;
};
/// A number that is kept as hexadecimal text if it exists.
struct IdentifierField
{
    std::wstring StoredValues::*member;
    const char* textLabel;
};

struct StoredValue
{
    const wchar_t* name;
    const char* label; ///< begins the value's log line
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
    {L"Address", "addressString", TextField{&StoredValues::addressString, shortCapacity}, ValueOf::Both},
    {L"Comment", "commentString", TextField{&StoredValues::commentString, longCapacity}, ValueOf::CurrentDevice},
    {L"ConnectionType", "connectionTypeDWORD", NumberField{&StoredValues::connectionTypeDWORD, true}, ValueOf::Both},
    {L"DeviceID", "deviceIdString", TextField{&StoredValues::deviceIdString, shortCapacity}, ValueOf::Both},
    {L"DeviceName", "deviceNameString", TextField{&StoredValues::deviceNameString, shortCapacity}, ValueOf::Both},
    {L"DeviceSelect", "deviceSelectDWORD", NumberField{&StoredValues::deviceSelectDWORD, true}, ValueOf::CurrentDevice},
    {L"ExtDeviceID", "extDeviceIdString", TextField{&StoredValues::extDeviceIdString, shortCapacity}, ValueOf::Both},
    {L"HostName", "hostNameString", TextField{&StoredValues::hostNameString, shortCapacity}, ValueOf::Both},
    {L"IPv6", "ipv6DWORD", NumberField{&StoredValues::ipv6DWORD, true}, ValueOf::Record},
    {L"Location", "locationString", TextField{&StoredValues::locationString, longCapacity}, ValueOf::Both},
    {L"MACAddress", "macAddressString", TextField{&StoredValues::macAddressString, shortCapacity}, ValueOf::Both},
    {L"MDL", "mdlString", TextField{&StoredValues::mdlString, shortCapacity}, ValueOf::Both},
    {L"MFG", "mfgString", TextField{&StoredValues::mfgString, shortCapacity}, ValueOf::Both},
    {L"PID", "pidDWORD", IdentifierField{&StoredValues::pidString, "pidString"}, ValueOf::Both},
    {L"PortName", "portNameString", TextField{&StoredValues::portNameString, shortCapacity}, ValueOf::Both},
    {L"ProductName", "productNameString", TextField{&StoredValues::productNameString, shortCapacity},
     ValueOf::CurrentDevice},
    {L"Serial", "serialNumberString", TextField{&StoredValues::serialNumberString, shortCapacity},
     ValueOf::CurrentDevice},
    {L"SystemDeviceName", "systemDeviceNameString", TextField{&StoredValues::systemDeviceNameString, shortCapacity},
     ValueOf::Both},
    {L"UI_Mode", "uiMode", NumberField{&StoredValues::uiMode, true}, ValueOf::CurrentDevice},
    {L"VID", "vidDWORD", IdentifierField{&StoredValues::vidString, "vidString"}, ValueOf::Both},
    {L"Default", "defaultDeviceDWORD", NumberField{&StoredValues::defaultDeviceDWORD, false}, ValueOf::Record},
};

/// Reads the values of one list, each followed by its log line.
void ReadStoredValues(CrossProductStorage& storage, ValueOf list, StoredValues& values);

/// Reads one text. A text longer than `capacity` counts as absent; one that fills it without a stored terminator loses
/// its last character.
/// @param capacity  characters, terminator counted, at most `longCapacity`
/// @return false, `text` unchanged, when the text cannot be read
bool ReadStoredText(CrossProductStorage& storage, const wchar_t* name, DWORD capacity, std::wstring& text);

} // namespace scankelv
