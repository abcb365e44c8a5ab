// What the sample file says: the devices that a search finds, how the user behaves, what each call returns.
#pragma once

#include "XmlFile.h"

#include <functional>
#include <optional>

namespace simulator
{

/// A text that the application gets; none: it gets a null pointer.
using GivenText = std::optional<std::wstring>;

struct Device
{
    std::wstring name; ///< its devicename
    std::wstring list; ///< a device list text with this one device
};

Device DeviceOf(IXMLDOMNode& element);

/// The sample file, read afresh for each call. Every member throws std::runtime_error when it cannot be read.
class Behaviour
{
public:
    /// The file named by FINDWELL_SETTINGS, or else FindwellDlg.xml beside the library.
    Behaviour();

    std::vector<Device> Devices() const;
    std::vector<std::wstring> Events() const;
    /// The device that the user takes, asking `accepts` about each one in turn; null when the user cancels.
    const Device* Choose(const std::vector<Device>& devices, const std::function<bool(const Device&)>& accepts) const;

    /// A number, or a text, of one call: the element /findwell/calls/CALL/NAME, or the default when there is none.
    std::uint32_t Number(const char* call, const char* name, std::uint32_t otherwise) const;
    GivenText Text(const char* call, const char* name, const GivenText& otherwise) const;

private:
    /// Null when the file does not have it.
    Node Element(std::string_view call, std::string_view name) const;

    Node m_document;
};

HMODULE ThisLibrary();
/// The path of a file beside this library.
std::wstring BesideLibrary(std::wstring_view name);
/// The file named by FINDWELL_RECORD, or else FindwellDlg.log beside the library.
std::wstring RecordPath();

} // namespace simulator
