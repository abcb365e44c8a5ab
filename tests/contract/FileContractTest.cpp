// Files, folders and paths: what the functions give back at their edges, and who may open what beside whom.
#include "Role.h"
#include "TestSupport.h"

#include <cstdlib>

namespace
{

using test::Wide;

constexpr DWORD marker = 7777; // a last error that no function sets
constexpr DWORD both = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD shareBoth = FILE_SHARE_READ | FILE_SHARE_WRITE;

class Handle
{
public:
    explicit Handle(HANDLE handle) : m_handle(handle) {}
    ~Handle() { Close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE Get() const { return m_handle; }
    bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE && m_handle != nullptr; }
    void Close()
    {
        if (IsOpen())
            ::CloseHandle(m_handle);
        m_handle = INVALID_HANDLE_VALUE;
    }

private:
    HANDLE m_handle;
};

HANDLE Open(const Wide& path, DWORD access, DWORD sharing, DWORD disposition = OPEN_EXISTING, DWORD flags = 0)
{
    ::SetLastError(marker);
    return ::CreateFileW(path.c_str(), access, sharing, nullptr, disposition, flags, nullptr);
}

/// The last error of an opening, which is set after a success too.
DWORD OpenError(const Wide& path, DWORD access, DWORD sharing, DWORD disposition = OPEN_EXISTING, DWORD flags = 0)
{
    const Handle file(Open(path, access, sharing, disposition, flags));
    const DWORD error = ::GetLastError();
    EXPECT_EQ(error == 0 || error == ERROR_ALREADY_EXISTS, file.IsOpen()) << error;
    return error;
}

DWORD Position(HANDLE file, LONG distance, DWORD method)
{
    ::SetLastError(marker);
    return ::SetFilePointer(file, distance, nullptr, method);
}

template <class Call>
DWORD ErrorOf(Call call)
{
    ::SetLastError(marker);
    return call() != 0 ? marker : ::GetLastError();
}

/// Another process: holds a file unshared until it is killed.
const bool isHolder = test::InRole(OLESTR("hold"), [](const Wide& path) -> UINT {
    Open(path, GENERIC_READ, 0);
    ::Sleep(60000);
    return 0;
});

class FileContract : public testing::Test
{
protected:
    test::TemporaryFolder m_folder;
};

TEST_F(FileContract, OpeningTellsWhatIsThere)
{
    test::WriteFileBytes(m_folder.File("a.txt"), "text");
    ::CreateDirectoryW(m_folder.File("sub").c_str(), nullptr);
    const std::string component(255, 'n');
    const struct
    {
        const char* path;
        DWORD disposition;
        DWORD flags;
        DWORD error;
    } cases[] = {
        {"a.txt", OPEN_EXISTING, 0, 0},
        {"a.txt", OPEN_ALWAYS, 0, ERROR_ALREADY_EXISTS},
        {"a.txt", CREATE_NEW, 0, ERROR_FILE_EXISTS},
        {"a.txt", 9, 0, ERROR_INVALID_PARAMETER},
        {"a.txt", OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, 0},
        {"new1", OPEN_ALWAYS, 0, 0},
        {"new2", CREATE_ALWAYS, 0, 0},
        {"new2", CREATE_ALWAYS, 0, ERROR_ALREADY_EXISTS},
        {"new3", CREATE_NEW, 0, 0},
        {"missing", OPEN_EXISTING, 0, ERROR_FILE_NOT_FOUND},
        {"missing\\a.txt", OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
        {"missing\\a.txt", CREATE_ALWAYS, 0, ERROR_PATH_NOT_FOUND},
        {"a.txt\\below", OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
        {"sub", OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
        {"sub", OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, 0},
        {"sub\\", OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, 0},
        {"sub", CREATE_NEW, 0, ERROR_FILE_EXISTS},
        {"sub", CREATE_ALWAYS, 0, ERROR_ACCESS_DENIED},
        {"a.txt\\", OPEN_EXISTING, 0, ERROR_INVALID_NAME},
        {"new4\\", CREATE_NEW, 0, ERROR_INVALID_NAME},
        {"a<b", CREATE_ALWAYS, 0, ERROR_INVALID_NAME},
        {"a>b", CREATE_ALWAYS, 0, ERROR_INVALID_NAME},
        {"a*", OPEN_EXISTING, 0, ERROR_INVALID_NAME},
        {"?.txt", OPEN_EXISTING, 0, ERROR_INVALID_NAME},
        {"\"a.txt\"", OPEN_EXISTING, 0, ERROR_INVALID_NAME},
        {"a|b", CREATE_ALWAYS, 0, ERROR_INVALID_NAME},
        {"a\x1f", CREATE_ALWAYS, 0, ERROR_INVALID_NAME},
        // The same file in other words.
        {"sub/../a.txt", OPEN_EXISTING, 0, 0},
        {"\\\\sub\\\\.\\..\\a.txt", OPEN_EXISTING, 0, 0},
        {"missing\\..\\a.txt", OPEN_EXISTING, 0, 0},
        {"SUB\\..\\A.Txt", OPEN_EXISTING, 0, 0},
        {"A.TXT", CREATE_ALWAYS, 0, ERROR_ALREADY_EXISTS},
        {"a.txt.", OPEN_EXISTING, 0, 0},
        {"a.txt ", OPEN_EXISTING, 0, 0},
        {"a.txt. .", OPEN_EXISTING, 0, 0},
        {component.c_str(), CREATE_NEW, 0, 0},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(row.error, OpenError(m_folder.File(row.path), GENERIC_READ, shareBoth, row.disposition, row.flags));
    }
    EXPECT_FALSE(Handle(Open(m_folder.File(component + "n"), GENERIC_WRITE, 0, CREATE_NEW)).IsOpen());
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, OpenError(Wide(), GENERIC_READ, 0));
    ::SetLastError(marker);
    EXPECT_EQ(INVALID_HANDLE_VALUE, ::CreateFileW(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, ::GetLastError());
    // The 8-bit form names the same file.
    const Handle narrow(::CreateFileA(
        test::ToUtf8(m_folder.File("a.txt")).c_str(), GENERIC_READ, shareBoth, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(narrow.IsOpen());
}

TEST_F(FileContract, CreationEmptiesAndTellsAttributes)
{
    const Wide path = m_folder.File("a.txt");
    test::WriteFileBytes(path, "text");
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE, ::GetFileAttributesW(path.c_str()));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW(m_folder.Path().c_str()));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, OpenError(path, GENERIC_WRITE, 0, OPEN_ALWAYS));
    EXPECT_EQ("text", test::ReadFileBytes(path));
    EXPECT_EQ(ERROR_ALREADY_EXISTS, OpenError(path, GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_EQ("", test::ReadFileBytes(path));
    EXPECT_EQ(marker, ErrorOf([&] { return ::DeleteFileW(path.c_str()); }));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ErrorOf([&] { return ::DeleteFileW(path.c_str()); }));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ErrorOf([&] { return ::DeleteFileW(m_folder.Path().c_str()); }));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(path.c_str()));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::GetLastError());
}

TEST_F(FileContract, SharingBindsBothSides)
{
    const Wide path = m_folder.File("shared");
    test::WriteFileBytes(path, "text");
    const struct
    {
        const char* name;
        DWORD access, sharing, secondAccess, secondSharing, error;
    } cases[] = {
        {"unshared against reading", both, 0, GENERIC_READ, shareBoth, ERROR_SHARING_VIOLATION},
        {"unshared against writing", GENERIC_READ, 0, GENERIC_WRITE, shareBoth, ERROR_SHARING_VIOLATION},
        {"unshared against no access", both, 0, 0, 0, 0},
        {"no access stops nobody", 0, 0, both, 0, 0},
        {"writer, second shares nothing", both, shareBoth, GENERIC_READ, 0, ERROR_SHARING_VIOLATION},
        {"writer, second shares reading", both, shareBoth, GENERIC_READ, FILE_SHARE_READ, ERROR_SHARING_VIOLATION},
        {"writer, second shares both", both, shareBoth, GENERIC_READ, shareBoth, 0},
        {"reader, second shares reading", GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, 0},
        {"reader, second writes", GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, shareBoth, ERROR_SHARING_VIOLATION},
        {"writers that share writing alone", GENERIC_WRITE, FILE_SHARE_WRITE, GENERIC_WRITE, FILE_SHARE_WRITE, 0},
        {"write-only sharing, reader", GENERIC_WRITE, FILE_SHARE_WRITE, GENERIC_READ, shareBoth,
         ERROR_SHARING_VIOLATION},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.name);
        {
            const Handle first(Open(path, row.access, row.sharing));
            ASSERT_TRUE(first.IsOpen());
            EXPECT_EQ(row.error, OpenError(path, row.secondAccess, row.secondSharing));
        }
        EXPECT_EQ(0U, OpenError(path, both, 0)) << "a claim outlived its handle";
    }
    Handle held(Open(path, GENERIC_READ, shareBoth));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, ErrorOf([&] { return ::DeleteFileW(path.c_str()); }));
    held.Close();
    EXPECT_EQ(marker, ErrorOf([&] { return ::DeleteFileW(path.c_str()); }));
}

TEST_F(FileContract, AnotherProcessHoldsUntilItIsKilled)
{
    const Wide path = m_folder.File("held");
    test::WriteFileBytes(path, "text");
    const test::Child holder(OLESTR("hold ") + path);
    for (int tries = 0; tries < 1000 && Handle(Open(path, GENERIC_READ, shareBoth)).IsOpen(); ++tries)
        ::Sleep(10);
    EXPECT_EQ(ERROR_SHARING_VIOLATION, OpenError(path, GENERIC_READ, shareBoth));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, OpenError(path, GENERIC_WRITE, shareBoth));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, ErrorOf([&] { return ::DeleteFileW(path.c_str()); }));
    EXPECT_EQ(0U, OpenError(path, 0, 0));
    holder.Kill();
    EXPECT_EQ(0U, OpenError(path, both, 0));
}

TEST_F(FileContract, ReadOnlyRefusesEveryChange)
{
    const Wide path = m_folder.File("fixed");
    test::WriteFileBytes(path, "text");
    test::SetReadOnly(path, true);
    EXPECT_EQ(FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY, ::GetFileAttributesW(path.c_str()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, OpenError(path, GENERIC_WRITE, shareBoth));
    EXPECT_EQ(ERROR_ACCESS_DENIED, OpenError(path, GENERIC_WRITE, shareBoth, CREATE_ALWAYS));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ErrorOf([&] { return ::DeleteFileW(path.c_str()); }));
    EXPECT_EQ("text", test::ReadFileBytes(path));
    test::SetReadOnly(path, false);
    EXPECT_EQ(0U, OpenError(path, GENERIC_WRITE, shareBoth));
}

TEST_F(FileContract, WritingAndPositions)
{
    const Wide path = m_folder.File("data");
    Handle file(Open(path, both, shareBoth, CREATE_ALWAYS));
    const Handle reader(Open(path, GENERIC_READ, shareBoth));
    DWORD count = marker;
    ::SetLastError(marker);
    EXPECT_TRUE(::WriteFile(file.Get(), "hello", 5, &count, nullptr));
    EXPECT_EQ(5U, count);
    EXPECT_TRUE(::WriteFile(file.Get(), "", 0, &count, nullptr));
    EXPECT_EQ(0U, count);
    EXPECT_EQ(5U, ::SetFilePointer(file.Get(), 0, nullptr, FILE_END));
    EXPECT_EQ(marker, ::GetLastError());
    const struct
    {
        HANDLE file;
        DWORD error;
    } refused[] = {{reader.Get(), ERROR_ACCESS_DENIED}, {INVALID_HANDLE_VALUE, ERROR_INVALID_HANDLE}};
    for (const auto& row : refused)
    {
        count = marker;
        EXPECT_EQ(row.error, ErrorOf([&] { return ::WriteFile(row.file, "x", 1, &count, nullptr); }));
        EXPECT_EQ(0U, count);
    }
    const struct
    {
        HANDLE file;
        LONG distance;
        DWORD method, error;
    } seeks[] = {
        {file.Get(), -6, FILE_END, ERROR_NEGATIVE_SEEK},
        {file.Get(), 0, 9, ERROR_INVALID_PARAMETER},
        {INVALID_HANDLE_VALUE, 0, FILE_BEGIN, ERROR_INVALID_HANDLE},
    };
    for (const auto& row : seeks)
    {
        EXPECT_EQ(INVALID_SET_FILE_POINTER, Position(row.file, row.distance, row.method));
        EXPECT_EQ(row.error, ::GetLastError());
    }
    // Beyond the end the file grows with the next write; the upper half of a position counts too.
    EXPECT_EQ(8U, Position(file.Get(), 3, FILE_END));
    ::WriteFile(file.Get(), "!", 1, &count, nullptr);
    EXPECT_EQ(std::string("hello\0\0\0!", 9), test::ReadFileBytes(path));
    LONG high = 1;
    EXPECT_EQ(7U, ::SetFilePointer(file.Get(), 7, &high, FILE_BEGIN));
    EXPECT_EQ(1, high);
    high = -1;
    EXPECT_EQ(6U, ::SetFilePointer(file.Get(), -3, &high, FILE_END));
    EXPECT_EQ(0, high);
    char piece[8];
    EXPECT_TRUE(::ReadFile(file.Get(), piece, sizeof(piece), &count, nullptr));
    EXPECT_EQ(3U, count);
    EXPECT_TRUE(::ReadFile(file.Get(), piece, sizeof(piece), &count, nullptr));
    EXPECT_EQ(0U, count) << "the end of the file";

    // Two writers that each seek to the end first, as a shared log file is written.
    Handle second(Open(path, GENERIC_WRITE, shareBoth, OPEN_ALWAYS));
    for (const char* text : {"1", "2", "3", "4"})
    {
        const HANDLE writer = *text % 2 == 0 ? second.Get() : file.Get();
        ::SetFilePointer(writer, 0, nullptr, FILE_END);
        ::WriteFile(writer, text, 1, &count, nullptr);
    }
    EXPECT_EQ(std::string("hello\0\0\0!1234", 13), test::ReadFileBytes(path));
}

TEST_F(FileContract, Folders)
{
    test::WriteFileBytes(m_folder.File("file"), "");
    const Wide here = m_folder.Path() + OLESTR("\\");
    const struct
    {
        Wide path;
        DWORD error; // the marker: made
    } cases[] = {
        {here + OLESTR("one"), marker},
        {here + OLESTR("one"), ERROR_ALREADY_EXISTS},
        {here + OLESTR("ONE\\"), ERROR_ALREADY_EXISTS},
        {here + OLESTR("one\\two\\"), marker},
        {here + OLESTR("file"), ERROR_ALREADY_EXISTS},
        {OLESTR("C:\\"), ERROR_ALREADY_EXISTS},
        {here + OLESTR("no\\two"), ERROR_PATH_NOT_FOUND},
        {here + OLESTR("file\\two"), ERROR_PATH_NOT_FOUND},
        {Wide(), ERROR_PATH_NOT_FOUND},
        {here + OLESTR("a*b"), ERROR_INVALID_NAME},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(test::ToUtf8(row.path));
        EXPECT_EQ(row.error, ErrorOf([&] { return ::CreateDirectoryW(row.path.c_str(), nullptr); }));
    }
    EXPECT_EQ(
        marker, ErrorOf([&] { return ::CreateDirectoryA(test::ToUtf8(here + OLESTR("narrow")).c_str(), nullptr); }));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY, ::GetFileAttributesW((here + OLESTR("one\\two")).c_str()));
}

class TemporaryPathContract : public testing::Test
{
protected:
    TemporaryPathContract()
    {
        for (const char* name : names)
            m_before.emplace_back(std::getenv(name) == nullptr ? "" : std::getenv(name));
    }
    ~TemporaryPathContract() override { Set(m_before[0].c_str(), m_before[1].c_str(), m_before[2].c_str()); }

    static void Set(const char* tmp, const char* temp, const char* profile)
    {
        const char* const values[] = {tmp, temp, profile};
        for (std::size_t i = 0; i < std::size(names); ++i)
            test::SetVariable(names[i], values[i]);
    }

private:
    static constexpr const char* names[] = {"TMP", "TEMP", "USERPROFILE"};
    std::vector<std::string> m_before;
};

TEST_F(TemporaryPathContract, TheFirstVariableThatIsSet)
{
    const struct
    {
        const char *tmp, *temp, *profile, *path;
    } cases[] = {
        {"C:\\none\\a", "C:\\b", "C:\\c", "C:\\none\\a\\"},
        {"", "C:\\none\\b\\", "C:\\c", "C:\\none\\b\\"},
        {"", "", "C:\\none/c\\\\", "C:\\none\\c\\"},
        {"C:\\", "", "", "C:\\"},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.path);
        Set(row.tmp, row.temp, row.profile);
        WCHAR wide[64];
        char narrow[64];
        const std::string expected = row.path;
        EXPECT_EQ(expected.size(), ::GetTempPathW(64, wide));
        EXPECT_EQ(expected, test::ToUtf8(wide));
        EXPECT_EQ(expected.size(), ::GetTempPathA(64, narrow));
        EXPECT_EQ(expected, narrow);
    }
}

TEST_F(TemporaryPathContract, RoomTooSmall)
{
    Set("C:\\tmp", "", ""); // with its backslash and terminator 8
    WCHAR wide[16];
    char narrow[16];
    for (const DWORD room : {DWORD{8}, DWORD{7}, DWORD{1}, DWORD{0}})
    {
        SCOPED_TRACE(room);
        const bool fits = room == 8;
        wide[0] = OLESTR('x');
        narrow[0] = 'x';
        ::SetLastError(marker);
        EXPECT_EQ(fits ? 7U : 8U, ::GetTempPathW(room, room == 0 ? nullptr : wide));
        EXPECT_EQ(fits ? 7U : 8U, ::GetTempPathA(room, room == 0 ? nullptr : narrow));
        EXPECT_EQ(marker, ::GetLastError());
        EXPECT_EQ(fits ? OLESTR('C') : (room == 0 ? OLESTR('x') : WCHAR{0}), wide[0]);
        EXPECT_EQ(fits ? 'C' : 'x', narrow[0]);
    }
}

TEST(ModuleFileNameContract, TellsThePathOrWhyNot)
{
    WCHAR path[1024];
    ::SetLastError(marker);
    const DWORD length = ::GetModuleFileNameW(nullptr, path, 1024);
    EXPECT_EQ(0U, ::GetLastError());
    const Wide text = path;
    EXPECT_EQ(text.size(), length);
    EXPECT_NE(Wide::npos, text.find(OLESTR("contract_FileContractTest")));
    char narrow[1024];
    EXPECT_EQ(length, ::GetModuleFileNameA(nullptr, narrow, 1024));
    EXPECT_EQ(test::ToUtf8(text), narrow);
    const struct
    {
        HMODULE module;
        DWORD room, result, error;
    } cases[] = {
        {nullptr, 10, 10, ERROR_INSUFFICIENT_BUFFER},
        {nullptr, length, length, ERROR_INSUFFICIENT_BUFFER},
        {nullptr, length + 1, length, 0},
        {nullptr, 0, 0, ERROR_INSUFFICIENT_BUFFER},
        {reinterpret_cast<HMODULE>(UINT_PTR{0x7770000}), 1024, 0, ERROR_MOD_NOT_FOUND},
    };
    for (const auto& row : cases)
    {
        SCOPED_TRACE(row.room);
        ::SetLastError(marker);
        EXPECT_EQ(row.result, ::GetModuleFileNameW(row.module, path, row.room));
        EXPECT_EQ(row.error, ::GetLastError());
    }
}

} // namespace
