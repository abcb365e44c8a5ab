// The shell: special folders, folder creation, its version, and the programs that it starts.
#include "Role.h"
#include "TestSupport.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

namespace
{

using test::Wide;

constexpr DWORD marker = 7777;
constexpr HRESULT missing = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
const char* const reportVariable = "SCANKELV_CHILD_REPORT";
const WCHAR* const reportName = OLESTR("shell-contract-report");

/// In a program started by a case: leaves its command line in its current folder and ends.
const bool isStarted = [] {
    if (std::getenv(reportVariable) == nullptr)
        return false;
    std::ofstream(test::ToUtf8(reportName)) << test::ToUtf8(::GetCommandLineW());
    std::exit(0);
}();

TEST(ShellContract, SpecialFolders)
{
    const struct
    {
        int identifier;
        const char* end; // of the path; null: no path
    } cases[] = {
        {CSIDL_LOCAL_APPDATA, "\\AppData\\Local"},
        {CSIDL_COMMON_APPDATA, "C:\\ProgramData"},
        {CSIDL_CONTROLS, nullptr},
    };
    IMalloc* allocator = nullptr;
    ASSERT_EQ(S_OK, ::SHGetMalloc(&allocator));
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.identifier);
        LPITEMIDLIST list = nullptr;
        ASSERT_EQ(S_OK, ::SHGetSpecialFolderLocation(nullptr, row.identifier, &list));
        char path[MAX_PATH] = "untouched";
        EXPECT_EQ(row.end != nullptr, ::SHGetPathFromIDListA(list, path) != 0);
        EXPECT_TRUE(row.end != nullptr ? std::string_view(path).ends_with(row.end) : path[0] == 0) << path;
        EXPECT_EQ(1, allocator->DidAlloc(list));
        allocator->Free(list);
        if (row.end == nullptr)
            continue;
        WCHAR wide[MAX_PATH] = {};
        EXPECT_EQ(S_OK, ::SHGetFolderPathW(nullptr, row.identifier, nullptr, SHGFP_TYPE_CURRENT, wide));
        EXPECT_EQ(path, test::ToUtf8(wide));
        EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW(wide));
    }
    allocator->Release();
    char path[MAX_PATH] = "untouched";
    EXPECT_FALSE(::SHGetPathFromIDListA(nullptr, path));
    EXPECT_EQ(0, path[0]);
}

TEST(ShellContract, UnknownAndMissingFolders)
{
    constexpr int unknown = 0x7F;
    auto* list = reinterpret_cast<LPITEMIDLIST>(UINT_PTR{marker});
    EXPECT_EQ(E_INVALIDARG, ::SHGetSpecialFolderLocation(nullptr, unknown, &list));
    EXPECT_EQ(nullptr, list);
    WCHAR path[MAX_PATH] = OLESTR("untouched");
    EXPECT_EQ(E_INVALIDARG, ::SHGetFolderPathW(nullptr, unknown, nullptr, SHGFP_TYPE_CURRENT, path));
    EXPECT_EQ(0, path[0]);

    const auto get = [&path](int flags) {
        return ::SHGetFolderPathW(nullptr, CSIDL_CDBURN_AREA | flags, nullptr, SHGFP_TYPE_CURRENT, path);
    };
    ASSERT_EQ(S_OK, get(CSIDL_FLAG_CREATE));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW(path));
    ASSERT_TRUE(::RemoveDirectoryW(path));
    EXPECT_EQ(missing, get(0));
    ASSERT_EQ(S_OK, get(CSIDL_FLAG_CREATE));
    EXPECT_EQ(S_OK, get(0));
    EXPECT_TRUE(::RemoveDirectoryW(path));
}

TEST(ShellContract, FoldersWithParents)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("file"), "");
    const struct
    {
        Wide path;
        int result;
    } cases[] = {
        {folder.File("a\\b\\c"), 0},
        {folder.File("a\\b\\c"), ERROR_ALREADY_EXISTS},
        {folder.File("A\\d\\"), 0},
        {folder.File("file"), ERROR_ALREADY_EXISTS},
        {folder.File("file\\below"), ERROR_PATH_NOT_FOUND},
        {OLESTR("Y:\\a\\b"), ERROR_PATH_NOT_FOUND},
        {OLESTR("relative\\b"), ERROR_BAD_PATHNAME},
        {Wide(), ERROR_BAD_PATHNAME},
        {folder.File("a*b\\c"), ERROR_INVALID_NAME},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(test::ToUtf8(row.path));
        EXPECT_EQ(row.result, ::SHCreateDirectoryExW(nullptr, row.path.c_str(), nullptr));
    }
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW(folder.File("a\\b\\c").c_str()));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW(folder.File("a\\d").c_str()));
}

TEST(ShellContract, ItsVersion)
{
    const HMODULE shell = ::LoadLibraryW(OLESTR("Shell32.dll"));
    ASSERT_NE(nullptr, shell);
    const auto getVersion =
        reinterpret_cast<DLLGETVERSIONPROC>(reinterpret_cast<void (*)()>(::GetProcAddress(shell, "DllGetVersion")));
    ASSERT_NE(nullptr, getVersion);
    EXPECT_EQ(nullptr, ::GetProcAddress(shell, "dllgetversion"));
    DLLVERSIONINFO version{};
    version.cbSize = sizeof(version);
    ASSERT_EQ(20U, version.cbSize);
    EXPECT_EQ(S_OK, getVersion(&version));
    EXPECT_EQ(6U, version.dwMajorVersion);
    EXPECT_EQ(0U, version.dwMinorVersion);
    version.cbSize = 19;
    EXPECT_EQ(E_INVALIDARG, getVersion(&version));
    EXPECT_TRUE(::FreeLibrary(shell));
}

class ShellStartContract : public testing::Test
{
protected:
    ShellStartContract() { test::SetVariable(reportVariable, "1"); }
    ~ShellStartContract() override { test::SetVariable(reportVariable, ""); }

    SHELLEXECUTEINFOW Start(const Wide& file, const WCHAR* parameters, const WCHAR* folder)
    {
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof(info);
        // Without a message box, which would change the last error.
        info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
        info.lpFile = file.c_str();
        info.lpParameters = parameters;
        info.lpDirectory = folder;
        info.nShow = SW_HIDE;
        info.hProcess = reinterpret_cast<HANDLE>(UINT_PTR{marker});
        ::SetLastError(marker);
        m_started = ::ShellExecuteExW(&info) != 0;
        m_error = ::GetLastError();
        return info;
    }

    test::TemporaryFolder m_folder;
    const Wide m_program = test::ProgramPath();
    bool m_started = false;
    DWORD m_error = 0;
};

TEST_F(ShellStartContract, CommandLineAndFolder)
{
    const Wide given = m_folder.Path();
    const Wide missingFolder = m_folder.File("missing");
    const struct
    {
        const WCHAR* parameters;
        const WCHAR* folder;
        bool inGivenFolder;
        const char* tail; // of the command line, behind the file in quotes
    } cases[] = {
        {OLESTR("a  \"b c\" \\\" "), given.c_str(), true, " a  \"b c\" \\\" "},
        {OLESTR("1"), OLESTR(""), false, " 1"},
        {OLESTR("2"), nullptr, false, " 2"},
        {OLESTR("3"), missingFolder.c_str(), false, " 3"},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.tail);
        const SHELLEXECUTEINFOW info = Start(m_program, row.parameters, row.folder);
        ASSERT_TRUE(m_started) << m_error;
        EXPECT_EQ(33U, reinterpret_cast<UINT_PTR>(info.hInstApp));
        ASSERT_NE(nullptr, info.hProcess);
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(info.hProcess, 30000));
        EXPECT_TRUE(::CloseHandle(info.hProcess));
        const Wide report = row.inGivenFolder ? m_folder.File(test::ToUtf8(reportName)) : Wide(reportName);
        EXPECT_EQ("\"" + test::ToUtf8(m_program) + "\"" + row.tail, test::ReadFileBytes(report));
        EXPECT_TRUE(::DeleteFileW(report.c_str()));
    }
}

TEST_F(ShellStartContract, Refusals)
{
    test::WriteFileBytes(m_folder.File("bad.exe"), "no program");
    const struct
    {
        Wide file;
        DWORD error;
        UINT_PTR answer;
    } cases[] = {
        {m_folder.File("missing.exe"), ERROR_FILE_NOT_FOUND, 2},
        {m_folder.File("missing\\a.exe"), ERROR_PATH_NOT_FOUND, 2},
        {Wide(), ERROR_INVALID_PARAMETER, 11},
        {m_folder.File("bad.exe"), ERROR_BAD_EXE_FORMAT, 11},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(test::ToUtf8(row.file));
        const SHELLEXECUTEINFOW info = Start(row.file, OLESTR("x"), OLESTR(""));
        EXPECT_FALSE(m_started);
        EXPECT_EQ(row.error, m_error);
        EXPECT_EQ(row.answer, reinterpret_cast<UINT_PTR>(info.hInstApp));
        EXPECT_EQ(nullptr, info.hProcess);
    }
}

} // namespace
