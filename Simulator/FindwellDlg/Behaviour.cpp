#include "Behaviour.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace simulator
{
namespace
{

using scankelv::_bstr_t;

Wide ModulePath()
{
    // Any address inside this library names it.
    static const char inside = 0;
    HMODULE module = nullptr;
    ::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&inside), &module);
    Wide path(1024, 0);
    for (;;)
    {
        const DWORD length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size())
        {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

Wide NamedOrBeside(const WCHAR* variable, WideView name)
{
    const Wide named = Variable(variable);
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

_bstr_t Query(const char* text)
{
    return _bstr_t(Utf16(text));
}

std::vector<scankelv::XmlNode> Nodes(const scankelv::XmlDocument& document, const char* query)
{
    std::vector<scankelv::XmlNode> nodes;
    scankelv::XmlNodeList list;
    LONG count = 0;
    if (document.Get()->selectNodes(Query(query).Get(), list.Receive()) == S_OK && list)
        list.Get()->get_length(&count);
    for (LONG i = 0; i < count; ++i)
        list.Get()->get_item(i, nodes.emplace_back().Receive());
    return nodes;
}

} // namespace

Wide BesideLibrary(WideView name)
{
    const Wide path = ModulePath();
    return path.substr(0, path.rfind('\\') + 1) += name;
}

Wide RecordPath()
{
    return NamedOrBeside(OLESTR("FINDWELL_RECORD"), OLESTR("FindwellDlg.log"));
}

Behaviour::Behaviour()
{
    const Wide path = NamedOrBeside(OLESTR("FINDWELL_SETTINGS"), OLESTR("FindwellDlg.xml"));
    if (scankelv::XmlCreateDocument(m_document) < 0 || m_document.Get()->put_async(VARIANT_FALSE) < 0 ||
        !scankelv::XmlLoadFile(m_document, _bstr_t(path)))
        throw std::runtime_error("cannot read " + Utf8(path));
}

std::vector<Device> Behaviour::Devices() const
{
    std::vector<Device> devices;
    for (const scankelv::XmlNode& node : Nodes(m_document, "/findwell/devices/device"))
    {
        BSTR xml = nullptr;
        if (node.Get()->get_xml(&xml) != S_OK)
            throw std::runtime_error("a device cannot be read");
        const _bstr_t device = _bstr_t::Adopt(xml);
        devices.push_back(
            {Wide(scankelv::XmlChildText(node, Query("devicename")).View()),
             Wide(OLESTR("<?xml version=\"1.0\" encoding=\"UTF-16\"?><devicelist version=\"1.0.1\">"))
                 .append(device.View())
                 .append(OLESTR("</devicelist>"))});
    }
    return devices;
}

std::vector<Wide> Behaviour::Events() const
{
    std::vector<Wide> events;
    for (const scankelv::XmlNode& node : Nodes(m_document, "/findwell/user/event"))
        events.emplace_back(scankelv::XmlText(node.Get()).View());
    return events;
}

const Device*
Behaviour::Choose(const std::vector<Device>& devices, const std::function<bool(const Device&)>& accepts) const
{
    std::vector<const Device*> accepted;
    for (const Device& device : devices)
        if (accepts(device))
            accepted.push_back(&device);

    const scankelv::XmlNode node = scankelv::XmlSelectFirst(m_document.Get(), Query("/findwell/user/choice"));
    const auto [how, which] = WordAndRest(node ? Utf8(scankelv::XmlText(node.Get()).View()) : "accepted");
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

scankelv::XmlElement Behaviour::Element(const char* call, const char* name) const
{
    return scankelv::XmlSelectElement(
        m_document.Get(), Query((std::string("/findwell/calls/") + call + "/" + name).c_str()));
}

std::uint32_t Behaviour::Number(const char* call, const char* name, std::uint32_t otherwise) const
{
    const scankelv::XmlElement element = Element(call, name);
    return element ? NumberFrom(Utf8(scankelv::XmlText(element.Get()).View())) : otherwise;
}

GivenText Behaviour::Text(const char* call, const char* name, const GivenText& otherwise) const
{
    const scankelv::XmlElement element = Element(call, name);
    if (!element)
        return otherwise;
    if (scankelv::XmlSelectElement(element.Get(), Query("null")))
        return std::nullopt;
    if (const scankelv::XmlElement file = scankelv::XmlSelectElement(element.Get(), Query("file")))
        return Utf16(FileBytes(BesideLibrary(scankelv::XmlText(file.Get()).View())));
    if (const scankelv::XmlElement repeat = scankelv::XmlSelectElement(element.Get(), Query("repeat")))
    {
        const auto [count, piece] = WordAndRest(Utf8(scankelv::XmlText(repeat.Get()).View()));
        const Wide once = Utf16(piece);
        Wide text;
        for (std::uint32_t left = NumberFrom(count); left > 0; --left)
            text += once;
        return text;
    }
    return Wide(scankelv::XmlText(element.Get()).View());
}

} // namespace simulator
