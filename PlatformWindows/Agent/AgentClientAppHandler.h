// What the agent answers while the search library shows its dialog.
#pragma once

#include "FindwellDlg.h"

namespace scankelv
{

/// Holds nothing: it answers from the process-wide options. No call lets an exception out into the library.
class AgentClientAppHandler : public IAppHandler
{
public:
    /// 1 for a device that the agent may take. On any thread, whether it has COM or not.
    std::uint32_t CheckDevice(const wchar_t* deviceXml, const void* unused) override;
    /// Lets the dialog's button for adding a device through; every other event is the library's.
    std::uint32_t HandleEvent(const wchar_t* eventName, std::uint32_t, std::uint32_t, std::uint32_t* out) override;
};

} // namespace scankelv
