// The binary interface of the device search library: undecorated C names, the C calling convention (__cdecl on 32-bit
// Windows), 32-bit unsigned results, terminated UTF-16 texts.
#pragma once

#include <cstdint>
#include <windows.h>

/// The application's side of the dialog. The library calls it while GetDeviceList_LCode runs, or later until the
/// process ends, from any thread, and never deletes it. The slots are in this order.
class IAppHandler
{
public:
    /// Asks whether the application takes the device.
    /// @param deviceXml  a device list with this one device, terminated
    /// @return 1 to accept, 0 to refuse
    virtual std::uint32_t CheckDevice(const wchar_t* deviceXml, const void* unused) = 0;
    virtual void Notify(std::uint32_t) {}
    /// An event of the dialog. @param out  what the library is to do, 0 for its default
    virtual std::uint32_t HandleEvent(const wchar_t* /*eventName*/, std::uint32_t, std::uint32_t, std::uint32_t* out)
    {
        *out = 0;
        return 1;
    }
    virtual std::uint32_t Query(std::uint32_t) { return 0; }
    virtual ~IAppHandler() = default;
};

extern "C" {

/// Receives the result of QueryDeviceAddress, on any thread. Status 0: the device answered, and the texts (terminated,
/// at most 255 characters) are its present addresses. Change 0 or 1: they changed. Returns 0.
using QueryDeviceAddressCallbackFunction = std::uint32_t(
    const std::uint32_t* status, const std::uint32_t* change, const wchar_t* const* address,
    const wchar_t* const* macAddress);

/// Searches and lets the user choose. Result code 1: a device was chosen, anything else: cancelled. languageCode is
/// 8-bit, terminated, and may be null. The agent releases the list text through FreeDeviceList, here and below. Returns
/// 0 for success.
using GetDeviceList_LCodeFunction = std::uint32_t(
    std::uint32_t zero, const char* languageCode, const wchar_t* filterText, std::uint32_t* resultCode,
    wchar_t** listText, IAppHandler* handler);
/// Describes one device without a dialog. Both texts have at most 63 characters. Returns 0 for success.
using GetDeviceInformationFunction =
    std::uint32_t(const wchar_t* hiddenUiArgument, wchar_t** listText, const wchar_t* community);
/// Shows the properties of the filter's device. Returns 0 for success.
using ShowPropertiesUIFunction = std::uint32_t(const wchar_t* filterText, wchar_t** listText, std::uint32_t zero);
/// Merges the filter's devices into the library's own list. Returns 0 for failure.
using MergeDevicelistXMLFunction = std::uint32_t(const wchar_t* filterText);
/// Asks for the device's present addresses. Given are the stored ones, at most 256 characters, or "0". When it returns
/// 0, the callback is called exactly once, then or later.
using QueryDeviceAddressFunction = std::uint32_t(
    const wchar_t* address, const wchar_t* macAddress, QueryDeviceAddressCallbackFunction* callback,
    const wchar_t* productName, const wchar_t* vendorName);
/// Releases a list text and makes the pointer null.
using FreeDeviceListFunction = std::uint32_t(wchar_t** listText);

} // extern "C"
