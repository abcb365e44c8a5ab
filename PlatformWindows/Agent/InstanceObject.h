// The named object by which agents, and installers that replace their files, know of each other.
#pragma once

#include "Owners.h"
#include "VendorNames.h"

namespace scankelv
{

/// What the object's word says. Above AgentMayRun: the process id of the agent that runs.
enum InstanceWord : DWORD
{
    UninstallUnderWay = 0, ///< of a new object too
    AgentMayRun = 1,
};

/// The object that the programs of one logon share. It disappears with its last handle.
struct InstanceObject
{
    const OwnedHandle mapping{::CreateFileMappingW(
        INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD), L"" VENDOR_INSTANCE_GUARD)};
    const DWORD creationError = ::GetLastError(); ///< of the call above; 0: it created the object
    const OwnedView<DWORD> word{
        mapping == nullptr
            ? nullptr
            : static_cast<DWORD*>(::MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(DWORD)))};
};

} // namespace scankelv
