// Files, folders and paths: what the functions give back at their edges, and who may open what beside whom.
#include "LastError.h"
#include "Role.h"

#include <cstdlib>
#include <tuple>

namespace
{

using test::kept;
using test::LastError;
using test::Wide;

constexpr DWORD both = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD shareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;

/// An opened file and the last error of its opening, which is set after a success too.
struct Opened
{
    HANDLE handle;
    DWORD error;

    Opened(const Wide& path, DWORD access, DWORD sharing, DWORD disposition = OPEN_EXISTING, DWORD flags = 0)
    {
        ::SetLastError(kept);
        handle = ::CreateFileW(path.c_str(), access, sharing, nullptr, disposition, flags, nullptr);
        error = ::GetLastError();
        EXPECT_EQ(error == 0 || error == ERROR_ALREADY_EXISTS, handle != INVALID_HANDLE_VALUE) << error;
    }
    ~Opened()
    {
        if (handle != INVALID_HANDLE_VALUE)
            ::CloseHandle(handle);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
};

DWORD DeleteError(const Wide& path)
{
    return LastError().Of(::DeleteFileW(path.c_str()));
}

/// Another process: holds a file unshared until it is killed.
const bool isHolder = test::InRole(OLESTR("hold"), [](const Wide& path) -> UINT {
    const Opened held(path, GENERIC_READ, 0);
    test::WriteFileBytes(path + OLESTR(".held"), "");
    ::Sleep(60000);
    return 0;
});

class FileContract : public testing::Test
{
protected:
    FileContract()
    {
        test::WriteFileBytes(m_file, "text");
        ::CreateDirectoryW(m_folder.File("sub").c_str(), nullptr);
    }
    test::TemporaryFolder m_folder;
    const Wide m_file = m_folder.File("a.txt");
};

TEST_F(FileContract, OpeningTellsWhatIsThere)
{
    const std::string component(255, 'n');
    const struct
    {
        const char* path;
        DWORD disposition, error, flags;
    } rows[] = {
        {"a.txt", OPEN_EXISTING, 0, 0},
        {"a.txt", OPEN_ALWAYS, ERROR_ALREADY_EXISTS, 0},
        {"a.txt", CREATE_NEW, ERROR_FILE_EXISTS, 0},
        {"a.txt", 9, ERROR_INVALID_PARAMETER, 0},
        {"a.txt", OPEN_EXISTING, 0, FILE_FLAG_BACKUP_SEMANTICS},
        {"new1", OPEN_ALWAYS, 0, 0},
        {"new2", CREATE_ALWAYS, 0, 0},
        {"new2", CREATE_ALWAYS, ERROR_ALREADY_EXISTS, 0},
        {"new3", CREATE_NEW, 0, 0},
        {"missing", OPEN_EXISTING, ERROR_FILE_NOT_FOUND, 0},
        {"missing\\a.txt", OPEN_EXISTING, ERROR_PATH_NOT_FOUND, 0},
        {"missing\\a.txt", CREATE_ALWAYS, ERROR_PATH_NOT_FOUND, 0},
        {"a.txt\\below", OPEN_EXISTING, ERROR_PATH_NOT_FOUND, 0},
        {"sub", OPEN_EXISTING, ERROR_ACCESS_DENIED, 0},
        {"sub", OPEN_EXISTING, 0, FILE_FLAG_BACKUP_SEMANTICS},
        {"sub\\", OPEN_EXISTING, 0, FILE_FLAG_BACKUP_SEMANTICS},
        {"sub", CREATE_ALWAYS, ERROR_ACCESS_DENIED, 0},
        {"a.txt\\", OPEN_EXISTING, ERROR_INVALID_NAME, 0},
        {"A.TXT", CREATE_ALWAYS, ERROR_ALREADY_EXISTS, 0},
        {component.c_str(), CREATE_NEW, 0, 0},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.error, Opened(m_folder.File(row.path), GENERIC_READ, shareBoth, row.disposition, row.flags).error)
            << row.path;
    for (const char* same : {"\\\\sub/\\.\\..\\a.txt", "missing\\..\\a.txt", "SUB\\..\\A.Txt", "a.txt. ."})
        EXPECT_EQ(0U, Opened(m_folder.File(same), GENERIC_READ, shareBoth).error) << same;
    for (const char* name : {"a<b", "a>b", "a*", "?.txt", "\"a.txt\"", "a|b", "a\x1f"})
        EXPECT_EQ(ERROR_INVALID_NAME, Opened(m_folder.File(name), GENERIC_READ, 0, OPEN_ALWAYS).error) << name;
    EXPECT_EQ(INVALID_HANDLE_VALUE, Opened(m_folder.File(component + "n"), GENERIC_WRITE, 0, CREATE_NEW).handle);
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, Opened(Wide(), GENERIC_READ, 0).error);
    EXPECT_EQ(
        ERROR_PATH_NOT_FOUND,
        LastError().Of(::CreateFileW(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
}

TEST_F(FileContract, CreationEmptiesAndReadOnlyRefusesEveryChange)
{
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, ::GetFileAttributesW(m_file.c_str()));
    test::SetReadOnly(m_file, true);
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY, ::GetFileAttributesW(m_file.c_str()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, Opened(m_file, GENERIC_WRITE, shareBoth).error);
    EXPECT_EQ(ERROR_ACCESS_DENIED, Opened(m_file, GENERIC_WRITE, shareBoth, CREATE_ALWAYS).error);
    EXPECT_EQ(ERROR_ACCESS_DENIED, DeleteError(m_file));
    EXPECT_EQ("text", test::ReadFileBytes(m_file));
    test::SetReadOnly(m_file, false);
    EXPECT_EQ(ERROR_ALREADY_EXISTS, Opened(m_file, GENERIC_WRITE, 0, OPEN_ALWAYS).error);
    EXPECT_EQ("text", test::ReadFileBytes(m_file));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, Opened(m_file, GENERIC_WRITE, 0, CREATE_ALWAYS).error);
    EXPECT_EQ("", test::ReadFileBytes(m_file));
    EXPECT_EQ(kept, DeleteError(m_file));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, DeleteError(m_file));
    EXPECT_EQ(ERROR_ACCESS_DENIED, DeleteError(m_folder.Path()));
}

TEST_F(FileContract, SharingBindsBothSides)
{
    constexpr DWORD refused = ERROR_SHARING_VIOLATION;
    const struct
    {
        DWORD access, sharing, secondAccess, secondSharing, error;
    } rows[] = {
        {both, 0, GENERIC_READ, shareBoth, refused},
        {GENERIC_READ, 0, GENERIC_WRITE, shareBoth, refused},
        {both, 0, 0, 0, 0}, // no access is stopped by nobody
        {0, 0, both, 0, 0}, // and stops nobody
        {both, shareBoth, GENERIC_READ, 0, refused},
        {both, shareBoth, GENERIC_READ, FILE_SHARE_READ, refused},
        {both, shareBoth, GENERIC_READ, shareBoth, 0},
        {GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, 0},
        {GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, shareBoth, refused},
        {GENERIC_WRITE, FILE_SHARE_WRITE, GENERIC_WRITE, FILE_SHARE_WRITE, 0},
        {GENERIC_WRITE, FILE_SHARE_WRITE, GENERIC_READ, shareBoth, refused},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        {
            const Opened first(m_file, row.access, row.sharing);
            EXPECT_EQ(row.error, Opened(m_file, row.secondAccess, row.secondSharing).error);
            EXPECT_EQ(row.access == 0 ? 0 : refused, row.access == 0 ? 0 : DeleteError(m_file));
        }
        EXPECT_EQ(0U, Opened(m_file, both, 0).error) << "a claim outlived its handle";
    }
    // Another process holds as well, until it is killed.
    const test::Child holder(OLESTR("hold ") + m_file);
    for (int tries = 0; tries < 1000 && !test::FileExists(m_file + OLESTR(".held")); ++tries)
        ::Sleep(10);
    EXPECT_EQ(refused, DeleteError(m_file));
    for (const DWORD access : {DWORD{GENERIC_READ}, DWORD{GENERIC_WRITE}})
        EXPECT_EQ(refused, Opened(m_file, access, shareBoth).error);
    EXPECT_EQ(0U, Opened(m_file, 0, 0).error);
    holder.Kill();
    EXPECT_EQ(0U, Opened(m_file, both, 0).error);
}

TEST_F(FileContract, WritingAndPositions)
{
    const Opened file(m_file, both, shareBoth, CREATE_ALWAYS), second(m_file, GENERIC_WRITE, shareBoth, OPEN_ALWAYS);
    const Opened reader(m_file, GENERIC_READ, shareBoth);
    const std::tuple<HANDLE, DWORD, DWORD> writes[] = {
        {file.handle, 5, kept},
        {file.handle, 0, kept},
        {reader.handle, 1, ERROR_ACCESS_DENIED},
        {INVALID_HANDLE_VALUE, 1, ERROR_INVALID_HANDLE}};
    for (const auto& [handle, bytes, error] : writes)
    {
        DWORD count = 99;
        EXPECT_EQ(error, LastError().Of(::WriteFile(handle, "hello", bytes, &count, nullptr)));
        EXPECT_EQ(error == kept ? bytes : 0, count);
    }
    const std::tuple<HANDLE, LONG, DWORD, DWORD, DWORD> seeks[] = {
        {file.handle, 0, FILE_END, 5, kept},
        {file.handle, -6, FILE_END, INVALID_SET_FILE_POINTER, ERROR_NEGATIVE_SEEK},
        {file.handle, 0, 9, INVALID_SET_FILE_POINTER, ERROR_INVALID_PARAMETER},
        {INVALID_HANDLE_VALUE, 0, FILE_BEGIN, INVALID_SET_FILE_POINTER, ERROR_INVALID_HANDLE},
        {file.handle, 3, FILE_END, 8, kept}, // beyond the end, where it grows with the next write
    };
    for (const auto& [handle, distance, method, position, error] : seeks)
    {
        ::SetLastError(kept);
        EXPECT_EQ(position, ::SetFilePointer(handle, distance, nullptr, method));
        EXPECT_EQ(error, ::GetLastError());
    }
    DWORD count = 0;
    ::WriteFile(file.handle, "!", 1, &count, nullptr);
    char piece[16];
    EXPECT_TRUE(::ReadFile(reader.handle, piece, sizeof(piece), &count, nullptr));
    EXPECT_EQ(std::string("hello\0\0\0!", 9), std::string(piece, count));
    EXPECT_TRUE(::ReadFile(reader.handle, piece, sizeof(piece), &count, nullptr));
    EXPECT_EQ(0U, count) << "the end of the file";
    // Two writers that each seek to the end first, as a shared log file is written.
    for (const auto& [writer, text] : {std::pair(file.handle, "1"), {second.handle, "2"}, {file.handle, "3"}})
    {
        ::SetFilePointer(writer, 0, nullptr, FILE_END);
        ::WriteFile(writer, text, 1, &count, nullptr);
    }
    EXPECT_EQ(std::string("hello\0\0\0!123", 12), test::ReadFileBytes(m_file));
}

TEST_F(FileContract, Folders)
{
    const std::tuple<Wide, DWORD> rows[] = {
        {m_folder.File("one"), kept},
        {m_folder.File("ONE\\"), ERROR_ALREADY_EXISTS},
        {m_folder.File("one\\two\\"), kept},
        {m_folder.File("a.txt"), ERROR_ALREADY_EXISTS},
        {OLESTR("C:\\"), ERROR_ALREADY_EXISTS},
        {m_folder.File("no\\two"), ERROR_PATH_NOT_FOUND},
        {m_folder.File("a.txt\\two"), ERROR_PATH_NOT_FOUND},
        {Wide(), ERROR_PATH_NOT_FOUND},
        {m_folder.File("a*b"), ERROR_INVALID_NAME},
    };
    for (const auto& [path, error] : rows)
    {
        EXPECT_EQ(error, LastError().Of(::CreateDirectoryW(path.c_str(), nullptr))) << test::ToUtf8(path);
        EXPECT_TRUE(error != kept || ::GetFileAttributesW(path.c_str()) == FILE_ATTRIBUTE_DIRECTORY);
    }
    EXPECT_EQ(kept, LastError().Of(::CreateDirectoryA(test::ToUtf8(m_folder.File("narrow")).c_str(), nullptr)));
}

TEST(TemporaryPathContract, TheFirstVariableThatIsSetWhereThereIsRoom)
{
    const char* const names[] = {"TMP", "TEMP", "USERPROFILE"};
    std::string before[3];
    for (std::size_t i = 0; i < 3; ++i)
        before[i] = std::getenv(names[i]) == nullptr ? "" : std::getenv(names[i]);
    const struct
    {
        const char* variables[3];
        DWORD room, count;
        const char *wide, *narrow; // "x": untouched
    } rows[] = {
        {{"C:\\none\\a", "C:\\b", "C:\\c"}, 64, 10, "C:\\none\\a\\", "C:\\none\\a\\"},
        {{"", "C:\\none\\b\\", "C:\\c"}, 64, 10, "C:\\none\\b\\", "C:\\none\\b\\"},
        {{"", "", "C:\\none/c\\\\"}, 64, 10, "C:\\none\\c\\", "C:\\none\\c\\"},
        {{"C:\\", "", ""}, 64, 3, "C:\\", "C:\\"},
        {{"C:\\tmp", "", ""}, 8, 7, "C:\\tmp\\", "C:\\tmp\\"},
        {{"C:\\tmp", "", ""}, 7, 8, "", "x"},
        {{"C:\\tmp", "", ""}, 0, 8, "x", "x"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::string(row.wide) + " " + std::to_string(row.room));
        for (std::size_t i = 0; i < 3; ++i)
            test::SetVariable(names[i], row.variables[i]);
        WCHAR wide[64] = OLESTR("x");
        char narrow[64] = "x";
        ::SetLastError(kept);
        EXPECT_EQ(row.count, ::GetTempPathW(row.room, row.room == 0 ? nullptr : wide));
        EXPECT_EQ(row.count, ::GetTempPathA(row.room, row.room == 0 ? nullptr : narrow));
        EXPECT_TRUE(*row.variables[0] == '\0' || ::GetLastError() == kept);
        EXPECT_EQ(row.wide, test::ToUtf8(wide));
        EXPECT_STREQ(row.narrow, narrow);
    }
    for (std::size_t i = 0; i < 3; ++i)
        test::SetVariable(names[i], before[i]);
}

} // namespace
