#include "Behaviour.h"

#include "VendorNames.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace simulator
{
namespace
{

std::wstring NamedOrBeside(const wchar_t* variable, std::wstring_view name)
{
    const std::wstring named = Variable(variable);
    return named.empty() ? BesideLibrary(name) : named;
}

std::uint32_t NumberFrom(std::string_view text)
{
    std::uint32_t number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc())
        throw std::runtime_error("not a number: " + std::string(text));
    return number;
}

/// The word before the first blank and the text after it.
std::pair<std::string, std::string> WordAndRest(const std::string& text)
{
    const std::size_t blank = text.find(' ');
    return blank == std::string::npos ? std::pair{text, std::string()}
                                      : std::pair{text.substr(0, blank), text.substr(blank + 1)};
}

} // namespace

HMODULE ThisLibrary()
{
    // Any address inside this library names it.
    static const char inside = 0;
    HMODULE module = nullptr;
    ::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&inside), &module);
    return module;
}

std::wstring BesideLibrary(std::wstring_view name)
{
    std::wstring path(0x8000, 0); // no path in the system is longer
    const DWORD length = ::GetModuleFileNameW(ThisLibrary(), path.data(), static_cast<DWORD>(path.size()));
    return path.substr(0, path.rfind('\\', length) + 1) += name;
}

std::wstring RecordPath()
{
    return NamedOrBeside(L"FINDWELL_RECORD", VENDOR_LIBRARY L".log");
}

Device DeviceOf(IXMLDOMNode& element)
{
    return {
        ChildText(element, "devicename"),
        L"<?xml version=\"1.0\" encoding=\"UTF-16\"?><devicelist version=\"1.0.1\">" + Xml(element) + L"</devicelist>"};
}

Behaviour::Behaviour() : m_document(LoadXmlFile(NamedOrBeside(L"FINDWELL_SETTINGS", VENDOR_LIBRARY L".xml"))) {}

std::vector<Device> Behaviour::Devices() const
{
    std::vector<Device> devices;
    for (const Node& device : Select(*m_document, "/findwell/devices/device"))
        devices.push_back(DeviceOf(*device));
    return devices;
}

std::vector<std::wstring> Behaviour::Events() const
{
    std::vector<std::wstring> events;
    for (const Node& event : Select(*m_document, "/findwell/user/event"))
        events.push_back(simulator::Text(*event));
    return events;
}

const Device*
Behaviour::Choose(const std::vector<Device>& devices, const std::function<bool(const Device&)>& accepts) const
{
    std::vector<const Device*> accepted;
    for (const Device& device : devices)
        if (accepts(device))
            accepted.push_back(&device);

    const Node choice = SelectFirst(*m_document, "/findwell/user/choice");
    const auto [how, which] = WordAndRest(choice ? Utf8(simulator::Text(*choice)) : "accepted");
    if (how == "accepted")
        return accepted.empty() ? nullptr : accepted.front();
    if (how == "position")
    {
        const std::uint32_t position = NumberFrom(which);
        return position == 0 || position > devices.size() ? nullptr : &devices[position - 1];
    }
    if (how == "name")
    {
        const auto found = std::ranges::find(devices, Utf16(which), &Device::name);
        return found == devices.end() ? nullptr : &*found;
    }
    if (how == "cancel")
        return nullptr;
    throw std::runtime_error("unknown choice: " + how);
}

Node Behaviour::Element(std::string_view call, std::string_view name) const
{
    return SelectFirst(*m_document, "/findwell/calls/" + std::string(call) + "/" + std::string(name));
}

std::uint32_t Behaviour::Number(const char* call, const char* name, std::uint32_t otherwise) const
{
    const Node element = Element(call, name);
    return element ? NumberFrom(Utf8(simulator::Text(*element))) : otherwise;
}

GivenText Behaviour::Text(const char* call, const char* name, const GivenText& otherwise) const
{
    const Node element = Element(call, name);
    if (!element)
        return otherwise;
    if (SelectFirst(*element, "null"))
        return std::nullopt;
    if (const Node file = SelectFirst(*element, "file"))
        return Utf16(FileBytes(BesideLibrary(simulator::Text(*file))));
    if (const Node repeat = SelectFirst(*element, "repeat"))
    {
        const auto [count, piece] = WordAndRest(Utf8(simulator::Text(*repeat)));
        const std::wstring once = Utf16(piece);
        std::wstring text;
        for (std::uint32_t left = NumberFrom(count); left > 0; --left)
            text += once;
        return text;
    }
    return simulator::Text(*element);
}

} // namespace simulator
