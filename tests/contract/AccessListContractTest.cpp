// Security identifiers, access lists and descriptors, byte for byte.
#include "LastError.h"
#include "TestSupport.h"

#include <aclapi.h>
#include <tuple>

namespace
{

using test::LastError;

std::string Bytes(const void* memory, std::size_t size)
{
    return {static_cast<const char*>(memory), size};
}

TEST(AccessListContract, EveryoneMayDoEverything)
{
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID sid = nullptr;
    EXPECT_EQ(ERROR_INVALID_SID, LastError().Of(::AllocateAndInitializeSid(&world, 9, 0, 0, 0, 0, 0, 0, 0, 0, &sid)));
    ASSERT_TRUE(::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &sid));
    const std::string sidBytes("\x01\x01\0\0\0\0\0\x01\0\0\0\0", 12);
    EXPECT_EQ(sidBytes, Bytes(sid, 12));
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access.Trustee.ptstrName = static_cast<LPWSTR>(sid);
    PACL list = nullptr;
    ASSERT_EQ(0U, ::SetEntriesInAclW(1, &access, nullptr, &list));
    // Revision 2, 28 bytes, one entry: allowing, inherited by both, 20 bytes, everything.
    EXPECT_EQ(std::string("\x02\0\x1C\0\x01\0\0\0\0\x03\x14\0\0\0\0\x10", 16) + sidBytes, Bytes(list, 28));

    SECURITY_DESCRIPTOR descriptor;
    EXPECT_EQ(sizeof(void*) == 8 ? 40U : 20U, SECURITY_DESCRIPTOR_MIN_LENGTH);
    EXPECT_EQ(ERROR_UNKNOWN_REVISION, LastError().Of(::InitializeSecurityDescriptor(&descriptor, 2)));
    ASSERT_TRUE(::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION));
    ASSERT_TRUE(::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE));
    EXPECT_EQ(SE_DACL_PRESENT, descriptor.Control);

    const test::TemporaryFolder folder;
    const std::tuple<test::Wide, SECURITY_DESCRIPTOR*, DWORD> rows[] = {
        {folder.File("missing"), &descriptor, ERROR_FILE_NOT_FOUND},
        {folder.File("missing\\below"), &descriptor, ERROR_PATH_NOT_FOUND},
        {folder.Path(), nullptr, ERROR_NOACCESS}};
    for (const auto& [path, given, error] : rows)
        EXPECT_EQ(error, LastError().Of(::SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, given)));
    EXPECT_TRUE(::SetFileSecurityW(folder.Path().c_str(), DACL_SECURITY_INFORMATION, &descriptor));
    test::WriteFileBytes(folder.File("later"), "still writable");

    for (const HLOCAL memory : {static_cast<HLOCAL>(list), HLOCAL{}})
        EXPECT_EQ(test::kept, LastError().Of(::LocalFree(memory) == nullptr));
    EXPECT_EQ(test::kept, LastError().Of(::FreeSid(sid) == nullptr));
}

} // namespace
