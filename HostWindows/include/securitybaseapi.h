// Security identifiers and descriptors.
#pragma once

#include "winnt.h"

extern "C" {
/// @param count  of the sub-authorities that count, 8 at the most
/// @param sid  receives the identifier, to be given to FreeSid
BOOL AllocateAndInitializeSid(
    PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD first, DWORD second, DWORD third, DWORD fourth, DWORD fifth,
    DWORD sixth, DWORD seventh, DWORD eighth, PSID* sid);
PVOID FreeSid(PSID sid);

/// An absolute descriptor: it points to its lists and does not own them.
BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL defaulted);
/// Applies what the list grants Everyone as the mode of the file or folder. Windows lets a folder's later entries
/// inherit; they keep their ordinary mode here.
BOOL SetFileSecurityW(LPCWSTR file, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor);
}
