// Libraries: what loads, how it is counted, and where its functions and its file are.
#include "LastError.h"
#include "Role.h"

#include <tuple>

namespace
{

using test::kept;
using test::LastError;
using test::Wide;

TEST(Library, WhatIsNoLibraryIsRefused)
{
    const test::TemporaryFolder folder;
    ::CreateDirectoryW(folder.File("folder").c_str(), nullptr);
    const std::string whole = test::ReadFileBytes(test::ToWide(SAMPLE_LIBRARY));
    for (const auto& [name, bytes] :
         {std::pair("empty.dll", std::string()),
          {"text.dll", std::string(5000, 't')},
          {"head.dll", whole.substr(0, 40)},
          {"half.dll", whole.substr(0, whole.size() / 3)}})
    {
        test::WriteFileBytes(folder.File(name), bytes);
        EXPECT_EQ(ERROR_BAD_EXE_FORMAT, LastError().Of(::LoadLibraryA(test::ToUtf8(folder.File(name)).c_str())))
            << name;
    }
    for (const char* name : {"none.dll", "none\\none.dll", "folder"})
        EXPECT_EQ(ERROR_MOD_NOT_FOUND, LastError().Of(::LoadLibraryW(folder.File(name).c_str()))) << name;
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, LastError().Of(::LoadLibraryW(OLESTR(""))));
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, LastError().Of(::LoadLibraryA(nullptr)));
}

TEST(Library, LoadsAreCountedAndFunctionsFoundByTheirExactName)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("sample.dll"), test::ReadFileBytes(test::ToWide(SAMPLE_LIBRARY)));
    const HMODULE library = ::LoadLibraryW(folder.File("sample").c_str()); // the extension is added
    ASSERT_NE(nullptr, library) << ::GetLastError();
    EXPECT_EQ(library, ::LoadLibraryW(folder.File("SAMPLE.dll").c_str()));
    const std::tuple<HMODULE, const char*, DWORD> rows[] = {
        {library, "FreeDeviceList", kept},
        {library, "NoSuchFunction", ERROR_PROC_NOT_FOUND},
        {library, "", ERROR_PROC_NOT_FOUND},
        {library, "freedevicelist", ERROR_PROC_NOT_FOUND},
        {nullptr, "FreeDeviceList", ERROR_PROC_NOT_FOUND},
    };
    for (const auto& [module, name, error] : rows)
        EXPECT_EQ(error, LastError().Of(::GetProcAddress(module, name))) << name;

    // A module knows its file, and an address its module.
    WCHAR path[1024];
    const DWORD length = ::GetModuleFileNameW(library, path, 1024);
    EXPECT_EQ(folder.File("sample.dll"), Wide(path, length));
    HMODULE module = nullptr;
    EXPECT_TRUE(::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const WCHAR*>(::GetProcAddress(library, "FreeDeviceList")), &module));
    EXPECT_EQ(library, module);

    EXPECT_TRUE(::FreeLibrary(library));
    EXPECT_NE(nullptr, ::GetProcAddress(library, "FreeDeviceList")); // still loaded once
    EXPECT_TRUE(::FreeLibrary(library));
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, LastError().Of(::FreeLibrary(library)));
    EXPECT_EQ(ERROR_INVALID_HANDLE, LastError().Of(::FreeLibrary(nullptr)));
}

TEST(Library, TheProgramItself)
{
    EXPECT_EQ(kept, LastError().Of(::GetModuleHandleW(nullptr)));
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, LastError().Of(::GetModuleHandleW(OLESTR("NoSuchModule.dll"))));
    const Wide whole = test::ProgramPath();
    EXPECT_TRUE(test::FileExists(whole));
    const auto length = static_cast<DWORD>(whole.size());
    const std::tuple<HMODULE, DWORD, DWORD, DWORD> rows[] = {
        {::GetModuleHandleW(nullptr), length + 1, length, 0},
        {nullptr, length, length, ERROR_INSUFFICIENT_BUFFER},
        {nullptr, 3, 3, ERROR_INSUFFICIENT_BUFFER},
        {nullptr, 0, 0, ERROR_INSUFFICIENT_BUFFER},
        {reinterpret_cast<HMODULE>(UINT_PTR{0x7770000}), 1024, 0, ERROR_MOD_NOT_FOUND},
    };
    for (const auto& [module, room, count, error] : rows)
    {
        SCOPED_TRACE(room);
        std::vector<WCHAR> path(room + 1, 0x2323);
        std::vector<char> bytes(room + 1, '#');
        ::SetLastError(kept);
        EXPECT_EQ(count, ::GetModuleFileNameW(module, path.data(), room));
        EXPECT_EQ(error, ::GetLastError());
        ::SetLastError(kept);
        EXPECT_EQ(count, ::GetModuleFileNameA(module, bytes.data(), room));
        EXPECT_EQ(error, ::GetLastError());
        EXPECT_TRUE(path[room] == 0x2323 && bytes[room] == '#');
        EXPECT_TRUE(error != 0 || (whole == path.data() && test::ToUtf8(whole) == bytes.data()));
    }
}

TEST(Library, TheErrorModeIsRemembered)
{
    const UINT before = ::SetErrorMode(0);
    const UINT modes[] = {0, SEM_NOOPENFILEERRORBOX, SEM_FAILCRITICALERRORS, 0, before};
    ::SetLastError(kept);
    for (std::size_t i = 1; i < std::size(modes); ++i)
        EXPECT_EQ(modes[i - 1], ::SetErrorMode(modes[i]));
    EXPECT_EQ(kept, ::GetLastError());
}

} // namespace
