#include "TestSupport.h"

namespace
{

using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;

struct LoadCase
{
    const char* name; // below the temporary folder; empty and null names stand for themselves
    DWORD error;
};
constexpr LoadCase refused[] = {
    {"none.dll", ERROR_MOD_NOT_FOUND},  {"none\\none.dll", ERROR_MOD_NOT_FOUND}, {"folder", ERROR_MOD_NOT_FOUND},
    {"", ERROR_MOD_NOT_FOUND},          {nullptr, ERROR_MOD_NOT_FOUND},          {"empty.dll", ERROR_BAD_EXE_FORMAT},
    {"text.dll", ERROR_BAD_EXE_FORMAT}, {"head.dll", ERROR_BAD_EXE_FORMAT},      {"half.dll", ERROR_BAD_EXE_FORMAT},
};

TEST(Library, WhatIsNoLibraryIsRefused)
{
    const test::TemporaryFolder folder;
    ::CreateDirectoryW(folder.File("folder").c_str(), nullptr);
    const std::string whole = test::ReadFileBytes(test::ToWide(SAMPLE_LIBRARY));
    test::WriteFileBytes(folder.File("empty.dll"), "");
    test::WriteFileBytes(folder.File("text.dll"), std::string(5000, 't'));
    test::WriteFileBytes(folder.File("head.dll"), whole.substr(0, 40));
    test::WriteFileBytes(folder.File("half.dll"), whole.substr(0, whole.size() / 3));
    for (const LoadCase& row : refused)
    {
        const char* name = row.name == nullptr ? "(null)" : row.name;
        SCOPED_TRACE(name);
        const Wide path = *name == '\0' ? Wide() : folder.File(name);
        ::SetLastError(marker);
        EXPECT_EQ(nullptr, ::LoadLibraryW(path.c_str()));
        EXPECT_EQ(row.error, ::GetLastError());
        ::SetLastError(marker);
        EXPECT_EQ(nullptr, ::LoadLibraryA(row.name == nullptr ? nullptr : test::ToUtf8(path).c_str()));
        EXPECT_EQ(row.error, ::GetLastError());
    }
}

TEST(Library, LoadsAreCountedAndFunctionsFoundByTheirExactName)
{
    const test::TemporaryFolder folder;
    test::WriteFileBytes(folder.File("sample.dll"), test::ReadFileBytes(test::ToWide(SAMPLE_LIBRARY)));
    const HMODULE library = ::LoadLibraryW(folder.File("sample").c_str()); // the extension is added
    ASSERT_NE(nullptr, library) << ::GetLastError();
    EXPECT_EQ(library, ::LoadLibraryW(folder.File("SAMPLE.dll").c_str()));
    EXPECT_EQ(library, ::GetModuleHandleW(OLESTR("Sample.dll")));

    const struct
    {
        const char* what;
        HMODULE module;
        const char* name;
        bool found;
    } rows[] = {
        {"exact", library, "FreeDeviceList", true},
        {"missing", library, "NoSuchFunction", false},
        {"empty", library, "", false},
        {"other letter case", library, "freedevicelist", false},
        {"null module", nullptr, "FreeDeviceList", false}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        ::SetLastError(marker);
        EXPECT_EQ(row.found, ::GetProcAddress(row.module, row.name) != nullptr);
        EXPECT_EQ(row.found ? marker : ERROR_PROC_NOT_FOUND, ::GetLastError());
    }

    // A module knows its file, and an address its module.
    WCHAR path[1024];
    const DWORD length = ::GetModuleFileNameW(library, path, 1024);
    EXPECT_EQ(folder.File("sample.dll"), Wide(path, length));
    HMODULE module = nullptr;
    EXPECT_NE(
        0, ::GetModuleHandleExW(
               GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
               reinterpret_cast<const WCHAR*>(::GetProcAddress(library, "FreeDeviceList")), &module));
    EXPECT_EQ(library, module);

    EXPECT_NE(0, ::FreeLibrary(library));
    EXPECT_NE(nullptr, ::GetProcAddress(library, "FreeDeviceList")); // still loaded once
    EXPECT_NE(0, ::FreeLibrary(library));
    const struct
    {
        HMODULE module;
        DWORD error;
    } freed[] = {{library, ERROR_MOD_NOT_FOUND}, {nullptr, ERROR_INVALID_HANDLE}};
    for (const auto& row : freed)
    {
        ::SetLastError(marker);
        EXPECT_EQ(0, ::FreeLibrary(row.module));
        EXPECT_EQ(row.error, ::GetLastError());
    }
}

TEST(Library, TheSystemsOwnLibraryIsFoundByName)
{
    const HMODULE shell = ::LoadLibraryW(OLESTR("Shell32.dll"));
    ASSERT_NE(nullptr, shell);
    EXPECT_NE(nullptr, ::GetProcAddress(shell, "DllGetVersion"));
    EXPECT_EQ(nullptr, ::GetProcAddress(shell, "NoSuchFunction"));
    EXPECT_EQ(shell, ::GetModuleHandleW(OLESTR("shell32.DLL")));
    EXPECT_NE(0, ::FreeLibrary(shell));
}

TEST(Library, TheProgramItself)
{
    ::SetLastError(marker);
    const HMODULE program = ::GetModuleHandleW(nullptr);
    EXPECT_NE(nullptr, program);
    EXPECT_EQ(marker, ::GetLastError());
    EXPECT_EQ(nullptr, ::GetModuleHandleW(OLESTR("NoSuchModule.dll")));
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, ::GetLastError());

    WCHAR whole[1024];
    ::SetLastError(marker);
    const DWORD length = ::GetModuleFileNameW(nullptr, whole, 1024);
    EXPECT_EQ(0U, ::GetLastError());
    EXPECT_EQ(length, Wide(whole).size());
    EXPECT_TRUE(test::FileExists(whole));

    const struct
    {
        const char* what;
        HMODULE module;
        DWORD room;
        DWORD count;
        DWORD error;
    } rows[] = {
        {"exact room", program, length + 1, length, 0},
        {"one too few", nullptr, length, length, ERROR_INSUFFICIENT_BUFFER},
        {"three characters", nullptr, 3, 3, ERROR_INSUFFICIENT_BUFFER},
        {"no room", nullptr, 0, 0, ERROR_INSUFFICIENT_BUFFER},
        {"no module", reinterpret_cast<HMODULE>(&whole), 1024, 0, ERROR_MOD_NOT_FOUND},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        std::vector<WCHAR> path(row.room + 1, 0x2323);
        ::SetLastError(marker);
        EXPECT_EQ(row.count, ::GetModuleFileNameW(row.module, path.data(), row.room));
        EXPECT_EQ(row.error, ::GetLastError());
        EXPECT_EQ(0x2323, path[row.room]);
        std::vector<char> bytes(row.room + 1, '#');
        ::SetLastError(marker);
        EXPECT_EQ(row.count, ::GetModuleFileNameA(row.module, bytes.data(), row.room));
        EXPECT_EQ(row.error, ::GetLastError());
        EXPECT_EQ('#', bytes[row.room]);
    }
}

TEST(Library, TheErrorModeIsRemembered)
{
    const UINT before = ::SetErrorMode(0);
    const struct
    {
        UINT mode;
        UINT old;
    } rows[] = {{SEM_NOOPENFILEERRORBOX, 0}, {SEM_FAILCRITICALERRORS, SEM_NOOPENFILEERRORBOX}, {0, 1}, {before, 0}};
    for (const auto& row : rows)
    {
        ::SetLastError(marker);
        EXPECT_EQ(row.old, ::SetErrorMode(row.mode));
        EXPECT_EQ(marker, ::GetLastError());
    }
}

} // namespace
