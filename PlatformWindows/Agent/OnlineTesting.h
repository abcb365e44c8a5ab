// Online testing: does the stored device answer, and at which addresses?
#pragma once

#include "AgentOptions.h"
#include "KELVFindwellLibrary.h"

namespace scankelv
{

/// Resets the answer to "none yet" at the start of a run. Addresses that an earlier query reported are kept.
void ResetOnlineTesting();

/// Asks the library about the stored device, waits for the answer without a time limit, and writes status and
/// addresses back. The library must have QueryDeviceAddress. The storages report what they cannot write.
void RunOnlineTesting(const AgentOptions& options, const KELVFindwellLibrary& library);

/// Receives the library's answer, on any thread. A null status means "did not answer", a null change "not changed"; a
/// null address leaves the stored one. A text is cut at 255 characters. Returns 0.
QueryDeviceAddressCallbackFunction QueryDeviceAddressCallback;

} // namespace scankelv
