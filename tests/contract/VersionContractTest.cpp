// Version information: of this program, which carries it, and of files that carry none.
#include "LastError.h"
#include "Role.h"

#include <algorithm>

namespace
{

using test::kept;
using test::LastError;
using test::Wide;

class VersionContract : public testing::Test
{
protected:
    void SetUp() override
    {
        const Wide program = test::ProgramPath();
        DWORD handle = kept;
        m_block.resize(::GetFileVersionInfoSizeW(program.c_str(), &handle));
        EXPECT_EQ(0U, handle);
        const auto size = static_cast<DWORD>(m_block.size());
        ASSERT_TRUE(::GetFileVersionInfoW(program.c_str(), 0, size, m_block.data()));
        // Too small a room cuts.
        std::vector<char> cut(m_block.size(), '\x55');
        EXPECT_TRUE(::GetFileVersionInfoW(program.c_str(), 0, 64, cut.data()));
        EXPECT_TRUE(std::equal(m_block.begin() + 2, m_block.begin() + 64, cut.begin() + 2));
        EXPECT_EQ('\x55', cut[64]);
    }
    std::vector<char> m_block;
};

TEST_F(VersionContract, RootBlockHoldsTheProjectsVersion)
{
    void* value = nullptr;
    UINT length = 0;
    ASSERT_EQ(kept, LastError().Of(::VerQueryValueW(m_block.data(), OLESTR("\\"), &value, &length)));
    ASSERT_EQ(52U, length);
    EXPECT_GE(static_cast<const char*>(value), m_block.data());
    EXPECT_LE(static_cast<const char*>(value) + length, m_block.data() + m_block.size());
    const auto& information = *static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(0xFEEF04BD, information.dwSignature);
    std::string version;
    for (const DWORD part : {information.dwFileVersionMS, information.dwFileVersionLS})
        version += "." + std::to_string(HIWORD(part)) + "." + std::to_string(LOWORD(part));
    EXPECT_EQ("." PROJECT_VERSION, version);
    EXPECT_EQ(1U, information.dwFileType);

    EXPECT_EQ(
        ERROR_RESOURCE_TYPE_NOT_FOUND,
        LastError().Of(::VerQueryValueW(m_block.data(), OLESTR("\\Missing"), &value, &length)));
    EXPECT_EQ(0U, length);

    // A zeroed block has a root, but nothing in it.
    const std::vector<char> zeroed(256);
    ASSERT_TRUE(::VerQueryValueW(zeroed.data(), OLESTR("\\"), &value, &length));
    EXPECT_EQ(0U, length);
}

TEST_F(VersionContract, FilesWithout)
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
