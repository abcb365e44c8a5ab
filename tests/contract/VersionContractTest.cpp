// Version information: of this program, which carries it, and of files that carry none.
#include "LastError.h"
#include "Role.h"

#include <algorithm>

namespace
{

using test::kept;
using test::LastError;
using test::Wide;

TEST(VersionContract, RootBlockHoldsTheProjectsVersion)
{
    const Wide program = test::ProgramPath();
    DWORD handle = kept;
    std::vector<char> block(::GetFileVersionInfoSizeW(program.c_str(), &handle));
    EXPECT_EQ(0U, handle);
    ASSERT_TRUE(::GetFileVersionInfoW(program.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
    std::vector<char> cut(block.size(), '\x55'); // too small a room cuts
    EXPECT_TRUE(::GetFileVersionInfoW(program.c_str(), 0, 64, cut.data()));
    EXPECT_TRUE(std::equal(block.begin() + 2, block.begin() + 64, cut.begin() + 2) && cut[64] == '\x55');

    void* value = nullptr;
    UINT length = 0;
    ASSERT_EQ(kept, LastError().Of(::VerQueryValueW(block.data(), OLESTR("\\"), &value, &length)));
    ASSERT_EQ(52U, length);
    EXPECT_GE(static_cast<const char*>(value), block.data());
    EXPECT_LE(static_cast<const char*>(value) + length, block.data() + block.size());
    const auto& information = *static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(0xFEEF04BD, information.dwSignature);
    std::string version;
    for (const DWORD part : {information.dwFileVersionMS, information.dwFileVersionLS})
        version += "." + std::to_string(HIWORD(part)) + "." + std::to_string(LOWORD(part));
    EXPECT_EQ("." PROJECT_VERSION, version);
    EXPECT_EQ(1U, information.dwFileType);

    EXPECT_EQ(
        ERROR_RESOURCE_TYPE_NOT_FOUND,
        LastError().Of(::VerQueryValueW(block.data(), OLESTR("\\Missing"), &value, &length)));
    EXPECT_EQ(0U, length);

    // A zeroed block has a root, but nothing in it.
    const std::vector<char> zeroed(256);
    ASSERT_TRUE(::VerQueryValueW(zeroed.data(), OLESTR("\\"), &value, &length));
    EXPECT_EQ(0U, length);
}

TEST(VersionContract, FilesWithout)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("text"), "no program");
    test::WriteFileBytes(folder.File("empty"), "");
    test::ExpectAnswers("contract/data/VersionFiles.txt", [&folder](const std::string& name) {
        const Wide path = name.empty() ? Wide() : folder.File(name);
        DWORD handle = kept;
        char bytes[64];
        const DWORD error = LastError().Of(::GetFileVersionInfoSizeW(path.c_str(), &handle));
        EXPECT_EQ(0U, handle);
        EXPECT_TRUE(name.empty() || LastError().Of(::GetFileVersionInfoW(path.c_str(), 0, 64, bytes)) == error);
        return test::ErrorName(error) + "\n";
    });
}

} // namespace
