// PlatformWindows/Agent: what a run does. The process entry, the run itself, the search library and what the agent
// answers to it, the online testing. The top floor: only here is the search library known.
#pragma once

namespace scankelv
{

/// One run: obtains a device from the search library and stores it, or tests the stored one. Ends the process with
/// exit code 3 when the settings are inconsistent.
/// @return false after a message to the "Agent" logger; errors of the document model end here, and exhausted memory too
/// where there is enough of it for the report. Else it throws std::bad_alloc.
bool RunAgent();

} // namespace scankelv
