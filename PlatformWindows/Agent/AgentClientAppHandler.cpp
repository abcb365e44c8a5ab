#include "AgentClientAppHandler.h"

#include "AsciiCase.h"
#include "ComThread.h"
#include "DeviceMatch.h"

namespace scankelv
{

std::uint32_t AgentClientAppHandler::CheckDevice(const wchar_t* deviceXml, const void* /*unused*/)
{
    const ComApartment com; // of the library's own thread perhaps
    return XmlDeviceMatch(AgentOptions::Instance(), deviceXml) ? 1 : 0;
}

std::uint32_t
AgentClientAppHandler::HandleEvent(const wchar_t* eventName, std::uint32_t, std::uint32_t, std::uint32_t* out)
{
    constexpr std::uint32_t handled = 6;
    if (eventName == nullptr || !EqualsIgnoringAsciiCase(eventName, L"addbtn.onclick"))
        return 0;
    if (out != nullptr)
        *out = 1;
    return handled;
}

} // namespace scankelv
