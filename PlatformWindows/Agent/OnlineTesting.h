// Online testing: does the stored device answer, and at which addresses?
#pragma once

#include "AgentOptions.h"
#include "KELVFindwellLibrary.h"

namespace scankelv
{

/// Back to "no answer", at the start of a run. The addresses that an earlier query reported are kept.
void ResetOnlineTesting();

/// Asks the library about the stored device, waits for the answer without a time limit, and writes status and
/// addresses back. Needs a library that has QueryDeviceAddress. What cannot be written is reported by the storages.
void RunOnlineTesting(const AgentOptions& options, const KELVFindwellLibrary& library);

/// Takes the library's answer, on any thread. Null pointers and null texts are taken as "did not answer", "not changed"
/// and empty; a text is cut at 255 characters. Throws nothing; returns 0.
QueryDeviceAddressCallbackFunction QueryDeviceAddressCallback;

} // namespace scankelv
