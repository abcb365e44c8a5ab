// Security identifiers, access lists, and what they mean for a Linux file's mode.
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <aclapi.h>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace hostwindows
{
namespace
{

constexpr BYTE mostSubAuthorities = 8;
constexpr BYTE sidRevision = 1;
constexpr std::size_t entryHead = offsetof(ACCESS_ALLOWED_ACE, SidStart);

constexpr std::size_t SidSize(BYTE count)
{
    return offsetof(SID, SubAuthority) + count * sizeof(DWORD);
}

/// Whether a list, made here, has the entry by which Everyone may do everything. No list at all allows as much.
bool AllowsEveryone(const ACL* list)
{
    constexpr std::string_view everything("\0\0\0\x10\x01\x01\0\0\0\0\0\x01\0\0\0\0", 16); // mask and identifier
    return list == nullptr ||
           std::string_view(reinterpret_cast<const char*>(list), list->AclSize).find(everything) != std::string::npos;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

BOOL AllocateAndInitializeSid(
    PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD first, DWORD second, DWORD third, DWORD fourth, DWORD fifth,
    DWORD sixth, DWORD seventh, DWORD eighth, PSID* sid)
{
    if (count > mostSubAuthorities)
        return Refused(ERROR_INVALID_SID);
    const DWORD all[mostSubAuthorities] = {first, second, third, fourth, fifth, sixth, seventh, eighth};
    auto* bytes = static_cast<char*>(std::malloc(SidSize(count)));
    if (bytes == nullptr)
        return Refused(ERROR_NOT_ENOUGH_MEMORY);
    bytes[offsetof(SID, Revision)] = sidRevision;
    bytes[offsetof(SID, SubAuthorityCount)] = static_cast<char>(count);
    std::memcpy(bytes + offsetof(SID, IdentifierAuthority), authority, sizeof(*authority));
    std::memcpy(bytes + offsetof(SID, SubAuthority), all, count * sizeof(DWORD));
    *sid = bytes;
    return TRUE;
}

PVOID FreeSid(PSID sid)
{
    std::free(sid);
    return nullptr;
}

DWORD SetEntriesInAclW(ULONG count, PEXPLICIT_ACCESSW entries, PACL oldList, PACL* newList)
{
    std::string list(sizeof(ACL), '\0');
    for (const EXPLICIT_ACCESSW* entry = entries; entry != entries + count; ++entry)
    {
        if (entry->Trustee.TrusteeForm != TRUSTEE_IS_SID || entry->grfAccessMode != SET_ACCESS || oldList != nullptr)
            return ERROR_INVALID_PARAMETER;
        const auto* sid = reinterpret_cast<const char*>(entry->Trustee.ptstrName);
        const std::size_t size = SidSize(static_cast<BYTE>(sid[offsetof(SID, SubAuthorityCount)]));
        ACCESS_ALLOWED_ACE head{};
        head.Header = {
            ACCESS_ALLOWED_ACE_TYPE, static_cast<BYTE>(entry->grfInheritance), static_cast<WORD>(entryHead + size)};
        head.Mask = entry->grfAccessPermissions;
        list.append(reinterpret_cast<const char*>(&head), entryHead).append(sid, size);
    }
    const ACL header{ACL_REVISION, 0, static_cast<WORD>(list.size()), static_cast<WORD>(count), 0};
    std::memcpy(list.data(), &header, sizeof(header));
    void* memory = ::LocalAlloc(LPTR, list.size());
    if (memory == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    *newList = static_cast<PACL>(std::memcpy(memory, list.data(), list.size()));
    return NO_ERROR;
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision)
{
    if (revision != SECURITY_DESCRIPTOR_REVISION)
        return Refused(ERROR_UNKNOWN_REVISION);
    *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = {};
    static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision = static_cast<BYTE>(revision);
    return TRUE;
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL)
{
    auto& target = *static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    target.Control = present != 0 ? SE_DACL_PRESENT : SECURITY_DESCRIPTOR_CONTROL{0};
    target.Dacl = list;
    return TRUE;
}

BOOL SetFileSecurityW(LPCWSTR file, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor)
{
    const FoundPath found = FindExisting(file);
    if (found.error != NO_ERROR || descriptor == nullptr)
        return Refused(found.error != NO_ERROR ? found.error : ERROR_NOACCESS);
    const auto& source = *static_cast<const SECURITY_DESCRIPTOR*>(descriptor);
    if ((information & DACL_SECURITY_INFORMATION) == 0 || (source.Control & SE_DACL_PRESENT) == 0)
        return TRUE;
    // A file that Everyone may do everything with is no program for that.
    const ::mode_t everything = found.isFolder ? 0777 : 0666;
    const ::mode_t mode = AllowsEveryone(source.Dacl) ? everything : 0;
    return ::chmod(found.path.c_str(), mode) == 0 ? TRUE : Refused(ErrorFromErrno(errno));
}
