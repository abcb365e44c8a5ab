// Security identifiers, access lists, and what they mean for a Linux file's mode.
#include "Paths.h"
#include "SharedFile.h"

#include <aclapi.h>
#include <cerrno>
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

BOOL Failed(DWORD error)
{
    ::SetLastError(error);
    return FALSE;
}

constexpr std::size_t SidSize(BYTE count)
{
    return offsetof(SID, SubAuthority) + count * sizeof(DWORD);
}

/// The bytes of an identifier, from its start to the end of `room` at the most.
std::string_view SidBytes(const void* sid, std::size_t room = SIZE_MAX)
{
    const auto* bytes = static_cast<const char*>(sid);
    if (room < SidSize(0))
        return {};
    const auto count = static_cast<BYTE>(bytes[offsetof(SID, SubAuthorityCount)]);
    return count > mostSubAuthorities || SidSize(count) > room ? std::string_view()
                                                               : std::string_view(bytes, SidSize(count));
}

bool IsEveryone(std::string_view sid)
{
    constexpr char everyone[] = {sidRevision, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
    return sid == std::string_view(everyone, sizeof(everyone));
}

/// What a list allows Everyone, as one digit of a mode. No list at all allows everything.
unsigned EveryoneDigit(const ACL* list)
{
    if (list == nullptr)
        return S_IRWXO;
    DWORD allowed = 0;
    const auto* bytes = reinterpret_cast<const char*>(list);
    std::size_t at = sizeof(ACL);
    for (unsigned left = list->AceCount; left > 0 && at + sizeof(ACCESS_ALLOWED_ACE) <= list->AclSize; --left)
    {
        ACCESS_ALLOWED_ACE entry;
        std::memcpy(&entry, bytes + at, sizeof(entry));
        const std::size_t sidAt = at + offsetof(ACCESS_ALLOWED_ACE, SidStart);
        if (entry.Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
            IsEveryone(SidBytes(bytes + sidAt, list->AclSize - sidAt)))
            allowed |= entry.Mask;
        at += entry.Header.AceSize;
        if (entry.Header.AceSize == 0)
            break;
    }
    constexpr struct
    {
        DWORD right;
        unsigned digit;
    } rights[] = {
        {GENERIC_ALL, S_IRWXO}, {GENERIC_READ, S_IROTH}, {GENERIC_WRITE, S_IWOTH}, {GENERIC_EXECUTE, S_IXOTH}};
    unsigned digit = 0;
    for (const auto& row : rights)
        digit |= (allowed & row.right) != 0 ? row.digit : 0;
    return digit;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

BOOL AllocateAndInitializeSid(
    PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD first, DWORD second, DWORD third, DWORD fourth, DWORD fifth,
    DWORD sixth, DWORD seventh, DWORD eighth, PSID* sid)
{
    if (count > mostSubAuthorities)
        return Failed(ERROR_INVALID_SID);
    const DWORD all[mostSubAuthorities] = {first, second, third, fourth, fifth, sixth, seventh, eighth};
    auto* bytes = static_cast<char*>(std::malloc(SidSize(count)));
    if (bytes == nullptr)
        return Failed(ERROR_NOT_ENOUGH_MEMORY);
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
    if (oldList != nullptr)
        return ERROR_INVALID_PARAMETER;
    std::string list(sizeof(ACL), '\0');
    for (ULONG i = 0; i < count; ++i)
    {
        const EXPLICIT_ACCESSW& entry = entries[i];
        const std::string_view sid = entry.Trustee.TrusteeForm == TRUSTEE_IS_SID && entry.Trustee.ptstrName != nullptr
                                         ? SidBytes(entry.Trustee.ptstrName)
                                         : std::string_view();
        if (sid.empty() || (entry.grfAccessMode != SET_ACCESS && entry.grfAccessMode != GRANT_ACCESS))
            return ERROR_INVALID_PARAMETER;
        constexpr std::size_t headSize = offsetof(ACCESS_ALLOWED_ACE, SidStart);
        ACCESS_ALLOWED_ACE head{};
        head.Header = {
            ACCESS_ALLOWED_ACE_TYPE, static_cast<BYTE>(entry.grfInheritance), static_cast<WORD>(headSize + sid.size())};
        head.Mask = entry.grfAccessPermissions;
        list.append(reinterpret_cast<const char*>(&head), headSize).append(sid);
    }
    if (list.size() > UINT16_MAX)
        return ERROR_INVALID_PARAMETER;
    const ACL header{ACL_REVISION, 0, static_cast<WORD>(list.size()), static_cast<WORD>(count), 0};
    std::memcpy(list.data(), &header, sizeof(header));
    void* memory = ::LocalAlloc(LMEM_FIXED, list.size());
    if (memory == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    *newList = static_cast<PACL>(std::memcpy(memory, list.data(), list.size()));
    return NO_ERROR;
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision)
{
    if (revision != SECURITY_DESCRIPTOR_REVISION)
        return Failed(ERROR_UNKNOWN_REVISION);
    *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = {};
    static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision = static_cast<BYTE>(revision);
    return TRUE;
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list, BOOL defaulted)
{
    auto& target = *static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    target.Control = static_cast<WORD>(
        (present != 0 ? SE_DACL_PRESENT : 0) | (present != 0 && defaulted != 0 ? SE_DACL_DEFAULTED : 0));
    target.Dacl = present != 0 ? list : nullptr;
    return TRUE;
}

BOOL SetFileSecurityW(LPCWSTR file, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor)
{
    const FoundPath found = FindPath(file == nullptr ? std::u16string_view() : std::u16string_view(file));
    if (found.error != NO_ERROR || !found.exists)
        return Failed(found.error != NO_ERROR ? found.error : ERROR_FILE_NOT_FOUND);
    if (descriptor == nullptr)
        return Failed(ERROR_NOACCESS);
    const auto& source = *static_cast<const SECURITY_DESCRIPTOR*>(descriptor);
    if ((information & DACL_SECURITY_INFORMATION) == 0 || (source.Control & SE_DACL_PRESENT) == 0)
        return TRUE;
    // A file that Everyone may do everything with is no program for that.
    const unsigned digit = EveryoneDigit(source.Dacl) & (found.isFolder ? S_IRWXO : S_IROTH | S_IWOTH);
    const ::mode_t mode = (digit << 6) | (digit << 3) | digit;
    return ::chmod(found.path.c_str(), mode) == 0 ? TRUE : Failed(ErrorFromErrno(errno));
}
