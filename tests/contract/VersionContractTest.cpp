// Version information: of this program, which carries it, and of files that carry none.
#include "Role.h"
#include "TestSupport.h"

#include <algorithm>

namespace
{

using test::Wide;

constexpr DWORD marker = 7777;

std::vector<char> OwnBlock()
{
    DWORD handle = marker;
    std::vector<char> block(::GetFileVersionInfoSizeW(test::ProgramPath().c_str(), &handle));
    EXPECT_EQ(0U, handle);
    EXPECT_FALSE(block.empty());
    EXPECT_TRUE(::GetFileVersionInfoW(test::ProgramPath().c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
    return block;
}

TEST(VersionContract, RootBlockHoldsTheProjectsVersion)
{
    const std::vector<char> block = OwnBlock();
    void* value = nullptr;
    UINT length = 0;
    ::SetLastError(marker);
    ASSERT_TRUE(::VerQueryValueW(block.data(), OLESTR("\\"), &value, &length));
    EXPECT_EQ(marker, ::GetLastError());
    ASSERT_EQ(52U, length);
    EXPECT_GE(static_cast<const char*>(value), block.data());
    EXPECT_LE(static_cast<const char*>(value) + length, block.data() + block.size());
    const auto& information = *static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(0xFEEF04BD, information.dwSignature);
    const std::string version = std::to_string(HIWORD(information.dwFileVersionMS)) + "." +
                                std::to_string(LOWORD(information.dwFileVersionMS)) + "." +
                                std::to_string(HIWORD(information.dwFileVersionLS)) + "." +
                                std::to_string(LOWORD(information.dwFileVersionLS));
    EXPECT_EQ(PROJECT_VERSION, version);
    EXPECT_EQ(information.dwFileVersionMS, information.dwProductVersionMS);
    EXPECT_EQ(1U, information.dwFileType);
}

TEST(VersionContract, Values)
{
    const std::vector<char> block = OwnBlock();
    const struct
    {
        const WCHAR* part;
        const char* text; // null: no such block
    } cases[] = {
        {OLESTR("\\StringFileInfo\\040904b0\\OriginalFilename"), "VersionContractTest.exe"},
        {OLESTR("\\StringFileInfo\\040904B0\\InternalName"), "VersionContractTest"},
        {OLESTR("\\stringfileinfo\\040904B0\\productversion"), PROJECT_VERSION},
        {OLESTR("\\StringFileInfo\\040904B0\\FileDescription"), "Contract of the version functions"},
        {OLESTR("\\StringFileInfo\\040904B0\\Missing"), nullptr},
        {OLESTR("\\StringFileInfo\\040704B0\\ProductVersion"), nullptr},
        {OLESTR("\\Missing"), nullptr},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(test::ToUtf8(row.part));
        void* value = nullptr;
        UINT length = marker;
        ::SetLastError(marker);
        EXPECT_EQ(row.text != nullptr, ::VerQueryValueW(block.data(), row.part, &value, &length) != 0);
        EXPECT_EQ(row.text != nullptr ? marker : ERROR_RESOURCE_TYPE_NOT_FOUND, ::GetLastError());
        if (row.text == nullptr)
        {
            EXPECT_EQ(0U, length);
            continue;
        }
        const Wide text = static_cast<const WCHAR*>(value);
        EXPECT_EQ(row.text, test::ToUtf8(text));
        EXPECT_EQ(text.size() + 1, length);
    }
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(::VerQueryValueW(block.data(), OLESTR("\\VarFileInfo\\Translation"), &value, &length));
    ASSERT_EQ(4U, length);
    EXPECT_EQ(0x04B00409U, *static_cast<const DWORD*>(value));

    // A zeroed block has a root, but nothing in it.
    const std::vector<char> zeroed(256);
    ASSERT_TRUE(::VerQueryValueW(zeroed.data(), OLESTR("\\"), &value, &length));
    EXPECT_EQ(0U, length);
}

TEST(VersionContract, TooSmallARoomCuts)
{
    const std::vector<char> whole = OwnBlock();
    std::vector<char> cut(whole.size(), '\x55');
    EXPECT_TRUE(::GetFileVersionInfoW(test::ProgramPath().c_str(), 0, 64, cut.data()));
    EXPECT_TRUE(std::equal(whole.begin() + 2, whole.begin() + 64, cut.begin() + 2));
    EXPECT_EQ('\x55', cut[64]);
}

TEST(VersionContract, FilesWithout)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("text"), "no program");
    test::WriteFileBytes(folder.File("empty"), "");
    const struct
    {
        const char* name;
        Wide path;
        DWORD error;
    } cases[] = {
        {"text", folder.File("text"), ERROR_RESOURCE_DATA_NOT_FOUND},
        {"empty", folder.File("empty"), ERROR_RESOURCE_DATA_NOT_FOUND},
        {"missing file", folder.File("missing"), ERROR_FILE_NOT_FOUND},
        {"missing folder", folder.File("missing\\file"), ERROR_PATH_NOT_FOUND},
        {"a folder", folder.Path(), ERROR_ACCESS_DENIED},
        {"empty path", Wide(), ERROR_BAD_PATHNAME},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        DWORD handle = marker;
        ::SetLastError(marker);
        EXPECT_EQ(0U, ::GetFileVersionInfoSizeW(row.path.c_str(), &handle));
        EXPECT_EQ(row.error, ::GetLastError());
        EXPECT_EQ(0U, handle);
        if (row.path.empty())
            continue;
        char bytes[64];
        ::SetLastError(marker);
        EXPECT_FALSE(::GetFileVersionInfoW(row.path.c_str(), 0, sizeof(bytes), bytes));
        EXPECT_EQ(row.error, ::GetLastError());
    }
}

} // namespace
