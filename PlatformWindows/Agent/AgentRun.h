// PlatformWindows/Agent: what a run does. The process entry, the run itself, the binding of the search library and the
// agent's answers to it, the online testing. The top layer, and the only one that knows the search library.
#pragma once

namespace scankelv
{

/// One run: obtains a device from the search library and stores it, or tests the stored one. Ends the process with
/// exit code 3 when the settings are inconsistent.
/// @return false after a message to the "Agent" logger, also for errors of the document model and exhausted memory
/// @throws std::bad_alloc when the memory does not suffice for the report
bool RunAgent();

} // namespace scankelv
