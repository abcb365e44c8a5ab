// Security identifiers, access lists and descriptors, byte for byte.
#include "TestSupport.h"

#include <aclapi.h>
#include <cstring>

namespace
{

using test::Wide;

constexpr DWORD marker = 7777;

struct EveryoneList
{
    PSID sid = nullptr;
    PACL list = nullptr;

    EveryoneList()
    {
        SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
        EXPECT_TRUE(::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &sid));
        EXPLICIT_ACCESSW access{};
        access.grfAccessPermissions = GENERIC_ALL;
        access.grfAccessMode = SET_ACCESS;
        access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
        access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
        access.Trustee.ptstrName = static_cast<LPWSTR>(sid);
        EXPECT_EQ(0U, ::SetEntriesInAclW(1, &access, nullptr, &list));
    }
    ~EveryoneList()
    {
        ::SetLastError(marker);
        EXPECT_EQ(nullptr, ::LocalFree(list));
        EXPECT_EQ(nullptr, ::FreeSid(sid));
        EXPECT_EQ(nullptr, ::LocalFree(nullptr));
        EXPECT_EQ(marker, ::GetLastError());
    }
};

std::string Bytes(const void* memory, std::size_t size)
{
    return {static_cast<const char*>(memory), size};
}

TEST(AccessListContract, EveryoneByteForByte)
{
    const EveryoneList everyone;
    const std::string sid("\x01\x01\0\0\0\0\0\x01\0\0\0\0", 12);
    EXPECT_EQ(sid, Bytes(everyone.sid, 12));
    // Revision 2, 28 bytes, one entry: allowing, inherited by both, 20 bytes, everything.
    const std::string head("\x02\0\x1C\0\x01\0\0\0\0\x03\x14\0\0\0\0\x10", 16);
    EXPECT_EQ(head + sid, Bytes(everyone.list, 28));

    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID none = nullptr;
    ::SetLastError(marker);
    EXPECT_FALSE(::AllocateAndInitializeSid(&world, 9, 0, 0, 0, 0, 0, 0, 0, 0, &none));
    EXPECT_EQ(ERROR_INVALID_SID, ::GetLastError());
}

TEST(AccessListContract, Descriptor)
{
    EveryoneList everyone;
    SECURITY_DESCRIPTOR descriptor;
    std::memset(&descriptor, 0x55, sizeof(descriptor));
    EXPECT_EQ(sizeof(void*) == 8 ? 40U : 20U, SECURITY_DESCRIPTOR_MIN_LENGTH);
    ::SetLastError(marker);
    EXPECT_FALSE(::InitializeSecurityDescriptor(&descriptor, 2));
    EXPECT_EQ(ERROR_UNKNOWN_REVISION, ::GetLastError());
    ASSERT_TRUE(::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
    EXPECT_EQ(0U, descriptor.Control);
    ASSERT_TRUE(::SetSecurityDescriptorDacl(&descriptor, TRUE, everyone.list, FALSE));
    EXPECT_EQ(1U, descriptor.Revision);
    EXPECT_EQ(SE_DACL_PRESENT, descriptor.Control);
    EXPECT_EQ(everyone.list, descriptor.Dacl);
    EXPECT_EQ(nullptr, descriptor.Owner);

    const test::TemporaryFolder folder;
    const struct
    {
        Wide path;
        SECURITY_DESCRIPTOR* descriptor;
        DWORD error; // the marker: applied
    } cases[] = {
        {folder.Path(), &descriptor, marker},
        {folder.File("missing"), &descriptor, ERROR_FILE_NOT_FOUND},
        {folder.File("missing\\below"), &descriptor, ERROR_PATH_NOT_FOUND},
        {folder.Path(), nullptr, ERROR_NOACCESS},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.error);
        ::SetLastError(marker);
        const BOOL applied = ::SetFileSecurityW(row.path.c_str(), DACL_SECURITY_INFORMATION, row.descriptor);
        EXPECT_EQ(row.error == marker, applied != 0);
        if (applied == 0)
        {
            EXPECT_EQ(row.error, ::GetLastError());
        }
    }
    test::WriteFileBytes(folder.File("later"), "still writable");
}

} // namespace
