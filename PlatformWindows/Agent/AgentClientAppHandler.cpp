#include "AgentClientAppHandler.h"

#include "DeviceMatch.h"

namespace scankelv
{

std::uint32_t AgentClientAppHandler::CheckDevice(const WCHAR* deviceXml, const void* /*unused*/)
{
    return XmlDeviceMatch(AgentOptions::Instance(), deviceXml) ? 1 : 0;
}

std::uint32_t
AgentClientAppHandler::HandleEvent(const WCHAR* eventName, std::uint32_t, std::uint32_t, std::uint32_t* out)
{
    constexpr std::uint32_t handled = 6;
    if (eventName == nullptr || !EqualsIgnoringAsciiCase(eventName, OLESTR("addbtn.onclick")))
        return 0;
    if (out != nullptr)
        *out = 1;
    return handled;
}

} // namespace scankelv
