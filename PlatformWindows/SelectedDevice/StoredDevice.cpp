#include "StoredDevice.h"

#include "CheckedExpression.h"
#include "ColourProfileUpdater.h"
#include "DeviceXml.h"
#include "DriverStorages.h"
#include "FolderOperations.h"
#include "Loggers.h"
#include "TextScan.h"
#include "TimeStamp.h"
#include "WiaStorage.h"
#include "XmlError.h"

#include <algorithm>
#include <new>
#include <variant>

namespace scankelv
{
namespace
{

constexpr DWORD localDevice = 0;
constexpr DWORD networkDevice = 1;

constexpr DWORD selectNetwork = 0;
constexpr DWORD selectLocal = 2;
constexpr DWORD selectScannerPort = 4;

/// The selected device and the values derived from it, as the driver reads them.
struct StoredDevice : XmlParsedDeviceList
{
    StoredDevice(const XmlParsedDeviceList& device, DWORD propertiesUI);

    DWORD connectionTypeDWORD = isNetwork ? networkDevice : localDevice;
    DWORD deviceSelectDWORD = isNetwork ? selectNetwork : (scannerPortPresents ? selectScannerPort : selectLocal);
    DWORD uiMode = 1;
    DWORD pidDWORD = ScanHexadecimal32(pidString.View(), 0);
    DWORD vidDWORD = ScanHexadecimal32(vidString.View(), 0);
    _bstr_t storedLocation;
};

StoredDevice::StoredDevice(const XmlParsedDeviceList& device, DWORD propertiesUI)
    : XmlParsedDeviceList(device),
      storedLocation(propertiesUI != 0 && userLocationPresents ? userLocationString : locationString)
{
}

using Text = _bstr_t StoredDevice::*;
using Number = DWORD StoredDevice::*;
using Flag = bool StoredDevice::*;
struct Hexadecimal ///< a number that is logged in both notations
{
    Number number;
};

/// The text, terminated; empty for the null text.
const wchar_t* Terminated(const _bstr_t& text)
{
    return text.View().data();
}

/// One visitor for several kinds of members.
template <class... Visit>
struct Visitor : Visit...
{
    using Visit::operator()...;
};
template <class... Visit>
Visitor(Visit...) -> Visitor<Visit...>; // Clang 14 does not find it by itself

struct LogLine
{
    const char* label;
    std::variant<Text, Number, Hexadecimal, Flag> member;
    Flag onlyIf = nullptr;
};

// In the order of the log. Two labels have no colon: readers of the log know them so.
constexpr LogLine logLines[] = {
    {"addressString:", &StoredDevice::addressString},
    {"address2String:", &StoredDevice::address2String},
    {"commentPresents:", &StoredDevice::commentPresents},
    {"commentString:", &StoredDevice::commentString},
    {"connectionTypeDWORD:", &StoredDevice::connectionTypeDWORD},
    {"deviceIdString:", &StoredDevice::deviceIdString},
    {"deviceNameString:", &StoredDevice::deviceNameString},
    {"deviceSelectDWORD:", &StoredDevice::deviceSelectDWORD},
    {"extDeviceIdString:", &StoredDevice::extDeviceIdString},
    {"hostNameString:", &StoredDevice::hostNameString},
    {"locationString:", &StoredDevice::storedLocation},
    {"macAddressString:", &StoredDevice::macAddressString},
    {"mdlString:", &StoredDevice::mdlString},
    {"mfgString:", &StoredDevice::mfgString},
    {"pidDWORD:", Hexadecimal{&StoredDevice::pidDWORD}},
    {"portNameString:", &StoredDevice::portNameString},
    {"productNameString:", &StoredDevice::productNameString},
    {"serialNumberString:", &StoredDevice::serialNumberString},
    {"systemDeviceNameString:", &StoredDevice::systemDeviceNameString},
    {"uiMode:", &StoredDevice::uiMode},
    {"userLocationPresents", &StoredDevice::userLocationPresents},
    {"userLocationString", &StoredDevice::userLocationString, &StoredDevice::userLocationPresents},
    {"vidDWORD:", Hexadecimal{&StoredDevice::vidDWORD}},
};

void LogDevice(const StoredDevice& device)
{
    LoggerTypeAbstract& logger = AgentLogger();
    for (const auto& [label, member, onlyIf] : logLines)
    {
        if (onlyIf != nullptr && !(device.*onlyIf))
            continue;
        std::visit(
            Visitor{
                [&, name = label](Text text) { logger.WriteLine("%s %ws", name, Terminated(device.*text)); },
                [&, name = label](Number number) { logger.WriteLine("%s %lu", name, device.*number); },
                [&, name = label](Hexadecimal value) {
                    logger.WriteLine("%s %lu (0x%lx)", name, device.*value.number, device.*value.number);
                },
                [&, name = label](Flag flag) { logger.WriteLine("%s %d", name, device.*flag); },
            },
            member);
    }
}

/// Where a value is written: the bits of a StoredValue.
constexpr unsigned inRegistry = 1;
constexpr unsigned inConfigIni = 2;

struct StoredValue
{
    const wchar_t* name;
    std::variant<Text, Number> member;
    unsigned places = inRegistry | inConfigIni;
};

// In the order in which both places are written. The registry key ends with "savedAt". Its "Address2" is written by
// the online testing alone.
constexpr StoredValue storedValues[] = {
    {L"Address", &StoredDevice::addressString},
    {L"Address2", &StoredDevice::address2String, inConfigIni},
    {L"Comment", &StoredDevice::commentString},
    {L"ConnectionType", &StoredDevice::connectionTypeDWORD},
    {L"DeviceID", &StoredDevice::deviceIdString},
    {L"DeviceName", &StoredDevice::deviceNameString},
    {L"DeviceSelect", &StoredDevice::deviceSelectDWORD},
    {L"ExtDeviceID", &StoredDevice::extDeviceIdString},
    {L"HostName", &StoredDevice::hostNameString},
    {L"Location", &StoredDevice::storedLocation},
    {L"MACAddress", &StoredDevice::macAddressString},
    {L"MDL", &StoredDevice::mdlString},
    {L"MFG", &StoredDevice::mfgString},
    {L"PID", &StoredDevice::pidDWORD},
    {L"PortName", &StoredDevice::portNameString},
    {L"ProductName", &StoredDevice::productNameString},
    {L"Serial", &StoredDevice::serialNumberString},
    {L"SystemDeviceName", &StoredDevice::systemDeviceNameString},
    {L"UI_Mode", &StoredDevice::uiMode, inRegistry},
    {L"VID", &StoredDevice::vidDWORD},
};

constexpr auto CountIn(unsigned place)
{
    return std::ranges::count_if(
        storedValues, [place](const StoredValue& value) { return (value.places & place) != 0; });
}
static_assert(CountIn(inRegistry) == 19 && CountIn(inConfigIni) == 19);

/// Calls `put` for each value of one place. A value that cannot be written does not stop the others.
template <class Put>
void ForEachValue(const StoredDevice& device, unsigned place, Put put)
{
    for (const auto& [name, member, places] : storedValues)
        if ((places & place) != 0)
            std::visit([&, key = name](auto field) { put(key, device.*field); }, member);
}

void WriteRegistry(CrossProductStorage& storage, const StoredDevice& device)
{
    ForEachValue(
        device, inRegistry,
        Visitor{
            [&](const wchar_t* name, const _bstr_t& text) { storage.SetString(name, Terminated(text)); },
            [&](const wchar_t* name, DWORD number) { storage.SetULong(name, number); },
        });
    char savedAt[256];
    FormatTimeStamp(savedAt);
    storage.SetString<char>("savedAt", savedAt);
}

bool WriteConfigIni(const StoredDevice& device)
{
    const ResourceLocationWide path = WiaConfigLocationWide();
    if (path.View().empty())
        return false;
    PathExists(path.Text(), false); // for its line
    WriteWiaStorage(path, [&device](WiaStorageKeys& keys) {
        ForEachValue(
            device, inConfigIni,
            Visitor{
                [&](const wchar_t* key, const _bstr_t& text) { keys.SetString(key, Terminated(text)); },
                [&](const wchar_t* key, DWORD number) { keys.SetULong(key, number); },
            });
    });
    return true;
}

/// A device.xml that cannot be written is reported but stops nothing: the driver reads the registry first.
void TryExportDeviceXml(const XmlParsedDeviceList& device, PlaceHere place = {})
{
    HRESULT exportResult = S_OK;
    try
    {
        ExportDeviceXml(device);
    }
    catch (const XmlError& error)
    {
        exportResult = error.Code();
    }
    catch (const std::bad_alloc&)
    {
        exportResult = E_OUTOFMEMORY;
    }
    Checked(AgentLogger, CheckErrorCode, static_cast<DWORD>(exportResult), "exportResult", 0, place);
}

} // namespace

bool StoreDeviceListAndUpdateIcc(const AgentOptions& options, const XmlParsedDeviceList& selected)
{
    const StoredDevice device(selected, options.PropertiesUI());
    LogDevice(device);
    StartColourProfileUpdater(Terminated(device.productNameString));

    CrossProductStorage twainStorage(UserHive, TwainStoragePath(options.ProductName()).Text(), AccessWrite);
    if (!Checked(AgentLogger, "prerequisite check", twainStorage.IsValid(), "twainStorage.IsValid()", 0))
        return false;
    TryExportDeviceXml(device);
    WriteRegistry(twainStorage, device);
    return !options.IsGsdMode() || WriteConfigIni(device);
}

} // namespace scankelv
