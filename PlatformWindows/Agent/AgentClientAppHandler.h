// What the agent answers while the search library shows its dialog.
#pragma once

#include "FindwellDlg.h"

namespace scankelv
{

/// Has no state: it answers from the process-wide options. No exception leaves it for the library.
class AgentClientAppHandler : public IAppHandler
{
public:
    /// 1 for a device that the agent may take. On any thread, whether it has COM or not.
    std::uint32_t CheckDevice(const wchar_t* deviceXml, const void* unused) override;
    /// Handles the dialog's button for adding a device; every other event is left to the library.
    std::uint32_t HandleEvent(const wchar_t* eventName, std::uint32_t, std::uint32_t, std::uint32_t* out) override;
};

} // namespace scankelv
