// The shell: special folders, folder creation, its version, and the programs that it starts.
#include "LastError.h"
#include "Role.h"

#include <cstdlib>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

namespace
{

using test::Wide;

const WCHAR* const reportName = OLESTR("shell-contract-report");

/// Started by a case, whose variable comes along: leaves its command line in its current folder and ends.
const bool isStarted = [] {
    if (std::getenv("SCANKELV_CHILD_REPORT") == nullptr)
        return false;
    test::WriteFileBytes(reportName, test::ToUtf8(::GetCommandLineW()));
    std::exit(0);
}();

TEST(ShellContract, SpecialFolders)
{
    IMalloc* allocator = nullptr;
    ASSERT_EQ(S_OK, ::SHGetMalloc(&allocator));
    WCHAR wide[MAX_PATH] = OLESTR("untouched");
    char path[MAX_PATH] = "untouched";
    LPITEMIDLIST list = nullptr;
    const auto get = [&wide](int folder) {
        return ::SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, wide);
    };
    for (const auto& [identifier, end] :
         {std::pair(CSIDL_LOCAL_APPDATA, "\\AppData\\Local"), {CSIDL_COMMON_APPDATA, "C:\\ProgramData"}})
    {
        ASSERT_EQ(S_OK, ::SHGetSpecialFolderLocation(nullptr, identifier, &list));
        EXPECT_TRUE(::SHGetPathFromIDListA(list, path) && std::string_view(path).ends_with(end)) << path;
        EXPECT_EQ(1, allocator->DidAlloc(list));
        allocator->Free(list);
        EXPECT_EQ(S_OK, get(identifier));
        EXPECT_EQ(path, test::ToUtf8(wide));
        EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW(wide));
    }
    ASSERT_EQ(S_OK, ::SHGetSpecialFolderLocation(nullptr, CSIDL_CONTROLS, &list)); // it has no path
    for (const LPITEMIDLIST pathless : {list, LPITEMIDLIST{}})
    {
        path[0] = '#';
        EXPECT_TRUE(!::SHGetPathFromIDListA(pathless, path) && path[0] == '\0');
    }
    allocator->Free(list);
    allocator->Release();
    EXPECT_EQ(E_INVALIDARG, ::SHGetSpecialFolderLocation(nullptr, 0x7F, &list));
    EXPECT_TRUE(list == nullptr && get(0x7F) == E_INVALIDARG && wide[0] == 0);
    ASSERT_EQ(S_OK, get(CSIDL_CDBURN_AREA | CSIDL_FLAG_CREATE));
    EXPECT_TRUE(::RemoveDirectoryW(wide)); // it was made
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), get(CSIDL_CDBURN_AREA));
}

TEST(ShellContract, FoldersWithParents)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("file"), "");
    test::ExpectAnswers("contract/data/ShellFolders.txt", [&folder](const std::string& path) {
        const Wide whole = path.starts_with('\\') ? folder.Path() + test::ToWide(path) : test::ToWide(path);
        const int result = ::SHCreateDirectoryExW(nullptr, whole.c_str(), nullptr);
        EXPECT_TRUE(result != 0 || test::FileExists(whole)) << path;
        return test::ErrorName(static_cast<DWORD>(result)) + "\n";
    });
    EXPECT_TRUE(test::FileExists(folder.File("a\\d")));
}

TEST(ShellContract, ItsVersion)
{
    const HMODULE shell = ::LoadLibraryW(OLESTR("Shell32.dll"));
    const auto getVersion =
        reinterpret_cast<DLLGETVERSIONPROC>(reinterpret_cast<void (*)()>(::GetProcAddress(shell, "DllGetVersion")));
    ASSERT_NE(nullptr, getVersion);
    EXPECT_EQ(nullptr, ::GetProcAddress(shell, "dllgetversion"));
    DLLVERSIONINFO version{};
    version.cbSize = sizeof(version);
    EXPECT_EQ(S_OK, getVersion(&version));
    EXPECT_EQ(6U, version.dwMajorVersion);
    EXPECT_EQ(0U, version.dwMinorVersion);
    version.cbSize = 19;
    EXPECT_EQ(E_INVALIDARG, getVersion(&version));
    EXPECT_TRUE(::FreeLibrary(shell));
}

TEST(ShellContract, ProgramsThatItStarts)
{
    test::SetVariable("SCANKELV_CHILD_REPORT", "1");
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("bad.exe"), "no program");
    test::ExpectAnswers("contract/data/ShellStarts.txt", [&folder](const std::string& given) {
        const std::vector<std::string> parts = test::Parts(given); // program, parameters, folder
        const bool self = parts[0] == "self", there = parts[2] == ".";
        const Wide program = self ? test::ProgramPath() : (parts[0].empty() ? Wide() : folder.File(parts[0]));
        const Wide parameters = test::ToWide(parts[1]), current = parts[2].empty() ? Wide() : folder.File(parts[2]);
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof(info);
        // Without a message box, which would change the last error.
        info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
        info.lpFile = program.c_str();
        info.lpParameters = parameters.c_str();
        info.lpDirectory = parts[2] == "null" ? nullptr : current.c_str();
        info.nShow = SW_HIDE;
        info.hProcess = reinterpret_cast<HANDLE>(UINT_PTR{1});
        const BOOL started = ::ShellExecuteExW(&info);
        const std::string error = started != 0 ? "" : test::ErrorName(::GetLastError()) + " ";
        EXPECT_EQ(started != 0, info.hProcess != nullptr);
        if (info.hProcess != nullptr)
        {
            EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(info.hProcess, test::patience));
            EXPECT_TRUE(::CloseHandle(info.hProcess));
            const Wide report = there ? folder.File(test::ToUtf8(reportName)) : Wide(reportName);
            EXPECT_EQ("\"" + test::ToUtf8(program) + "\" " + parts[1], test::ReadFileBytes(report));
            EXPECT_TRUE(::DeleteFileW(report.c_str()));
        }
        return error + std::to_string(reinterpret_cast<UINT_PTR>(info.hInstApp)) + "\n";
    });
    test::SetVariable("SCANKELV_CHILD_REPORT", "");
}

} // namespace
