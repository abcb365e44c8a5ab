// Access rights, attributes, and the interlocked operations.
#pragma once

#include "windef.h"

using ACCESS_MASK = DWORD;

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD GENERIC_ALL = 0x10000000;

inline constexpr DWORD DELETE = 0x00010000;

inline constexpr DWORD FILE_SHARE_READ = 0x00000001;
inline constexpr DWORD FILE_SHARE_WRITE = 0x00000002;
inline constexpr DWORD FILE_SHARE_DELETE = 0x00000004;

inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x00000010;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x00000020;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x00000080;

inline constexpr DWORD PAGE_READONLY = 0x02;
inline constexpr DWORD PAGE_READWRITE = 0x04;

inline LONG InterlockedIncrement(LONG volatile* addend)
{
    return __atomic_add_fetch(addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchangeAdd(LONG volatile* addend, LONG value)
{
    return __atomic_fetch_add(addend, value, __ATOMIC_SEQ_CST);
}
// Security identifiers, access lists and descriptors, laid out as Windows lays them out.
struct SID_IDENTIFIER_AUTHORITY
{
    BYTE Value[6];
};
using PSID_IDENTIFIER_AUTHORITY = SID_IDENTIFIER_AUTHORITY*;
inline constexpr SID_IDENTIFIER_AUTHORITY SECURITY_WORLD_SID_AUTHORITY = {{0, 0, 0, 0, 0, 1}};
inline constexpr DWORD SECURITY_WORLD_RID = 0;

struct SID
{
    BYTE Revision;
    BYTE SubAuthorityCount;
    SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
    DWORD SubAuthority[1]; ///< as many as counted, 8 at the most
};
using PSID = PVOID;

struct ACL
{
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize; ///< bytes, the entries included
    WORD AceCount;
    WORD Sbz2;
};
using PACL = ACL*;
inline constexpr BYTE ACL_REVISION = 2;

struct ACE_HEADER
{
    BYTE AceType;
    BYTE AceFlags;
    WORD AceSize; ///< bytes, the identifier included
};
struct ACCESS_ALLOWED_ACE
{
    ACE_HEADER Header;
    ACCESS_MASK Mask;
    DWORD SidStart; ///< the identifier begins here
};
inline constexpr BYTE ACCESS_ALLOWED_ACE_TYPE = 0;

using SECURITY_DESCRIPTOR_CONTROL = WORD;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_DACL_PRESENT = 0x0004;

struct SECURITY_DESCRIPTOR
{
    BYTE Revision;
    BYTE Sbz1;
    SECURITY_DESCRIPTOR_CONTROL Control;
    PSID Owner;
    PSID Group;
    PACL Sacl;
    PACL Dacl;
};
using PSECURITY_DESCRIPTOR = PVOID;
using SECURITY_INFORMATION = DWORD;
inline constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
inline constexpr SIZE_T SECURITY_DESCRIPTOR_MIN_LENGTH = sizeof(SECURITY_DESCRIPTOR);
inline constexpr SECURITY_INFORMATION DACL_SECURITY_INFORMATION = 0x4;
