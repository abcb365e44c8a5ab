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
    ::Sleep(test::patience);
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
    const std::pair<const char*, DWORD> dispositions[] = {
        {"open", OPEN_EXISTING},
        {"open or make", OPEN_ALWAYS},
        {"make", CREATE_NEW},
        {"empty", CREATE_ALWAYS},
        {"9", 9}};
    test::ExpectAnswers("contract/data/FileOpenings.txt", [&](const std::string& given) {
        const std::size_t bar = given.find('|'); // behind how it is opened
        std::string answer;
        for (const auto& [name, disposition] : dispositions)
            for (const DWORD flags : {DWORD{0}, DWORD{FILE_FLAG_BACKUP_SEMANTICS}})
                if (given.substr(0, bar) == name + std::string(flags == 0 ? "" : ", folders too"))
                    answer = test::ErrorName(
                        Opened(m_folder.File(given.substr(bar + 1)), GENERIC_READ, shareBoth, disposition, flags)
                            .error);
        return answer + "\n";
    });
    const std::string component(255, 'n');
    EXPECT_EQ(0U, Opened(m_folder.File(component), GENERIC_WRITE, 0, CREATE_NEW).error);
    EXPECT_EQ(INVALID_HANDLE_VALUE, Opened(m_folder.File(component + "n"), GENERIC_WRITE, 0, CREATE_NEW).handle);
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, Opened(Wide(), GENERIC_READ, 0).error);
    EXPECT_EQ(
        ERROR_PATH_NOT_FOUND,
        LastError().Of(::CreateFileW(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
}

TEST_F(FileContract, CreationEmptiesAndReadOnlyRefusesEveryChange)
{
    test::SetReadOnly(m_file, true);
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
    constexpr DWORD read = GENERIC_READ, write = GENERIC_WRITE, shareRead = FILE_SHARE_READ;
    constexpr DWORD rows[][5] = {// access and sharing of the first, of the second, and the error of that one
                                 {both, 0, read, shareBoth, refused},
                                 {read, 0, write, shareBoth, refused},
                                 {both, 0, 0, 0, 0}, // no access is stopped by nobody
                                 {0, 0, both, 0, 0}, // and stops nobody
                                 {both, shareBoth, read, 0, refused},
                                 {both, shareBoth, read, shareRead, refused},
                                 {both, shareBoth, read, shareBoth, 0},
                                 {read, shareRead, read, shareRead, 0},
                                 {read, shareRead, write, shareBoth, refused},
                                 {write, FILE_SHARE_WRITE, write, FILE_SHARE_WRITE, 0},
                                 {write, FILE_SHARE_WRITE, read, shareBoth, refused}};
    for (const auto& [access, sharing, secondAccess, secondSharing, error] : rows)
    {
        SCOPED_TRACE(&error - rows[0]);
        {
            const Opened first(m_file, access, sharing);
            EXPECT_EQ(error, Opened(m_file, secondAccess, secondSharing).error);
            EXPECT_TRUE(access == 0 || DeleteError(m_file) == refused);
        }
        EXPECT_EQ(0U, Opened(m_file, both, 0).error) << "a claim outlived its handle";
    }
    // Another process holds as well, until it is killed.
    const test::Child holder(OLESTR("hold ") + m_file);
    ASSERT_TRUE(test::Eventually([this] { return test::FileExists(m_file + OLESTR(".held")); }));
    EXPECT_EQ(refused, DeleteError(m_file));
    for (const DWORD access : {read, write})
        EXPECT_EQ(refused, Opened(m_file, access, shareBoth).error);
    EXPECT_EQ(0U, Opened(m_file, 0, 0).error);
    holder.Kill();
    EXPECT_EQ(0U, Opened(m_file, both, 0).error);
}

TEST_F(FileContract, WritingAndPositions)
{
    const Opened file(m_file, both, shareBoth, CREATE_ALWAYS), second(m_file, GENERIC_WRITE, shareBoth, OPEN_ALWAYS);
    const Opened reader(m_file, GENERIC_READ, shareBoth);
    DWORD count = 99;
    const auto write = [&count](HANDLE handle, std::string_view text) {
        count = 99;
        return LastError().Of(::WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &count, nullptr));
    };
    EXPECT_TRUE(write(file.handle, "hello") == kept && count == 5);
    EXPECT_TRUE(write(file.handle, "") == kept && count == 0);
    EXPECT_TRUE(write(reader.handle, "x") == ERROR_ACCESS_DENIED && count == 0);
    EXPECT_TRUE(write(INVALID_HANDLE_VALUE, "x") == ERROR_INVALID_HANDLE && count == 0);
    const std::tuple<HANDLE, LONG, DWORD, DWORD, DWORD> seeks[] = {
        {file.handle, 0, FILE_END, 5, kept},
        {file.handle, -6, FILE_END, INVALID_SET_FILE_POINTER, ERROR_NEGATIVE_SEEK},
        {file.handle, 0, 9, INVALID_SET_FILE_POINTER, ERROR_INVALID_PARAMETER},
        {INVALID_HANDLE_VALUE, 0, FILE_BEGIN, INVALID_SET_FILE_POINTER, ERROR_INVALID_HANDLE},
        {file.handle, 3, FILE_END, 8, kept}}; // beyond the end, where it grows with the next write
    for (const auto& [handle, distance, method, position, error] : seeks)
    {
        ::SetLastError(kept);
        EXPECT_EQ(position, ::SetFilePointer(handle, distance, nullptr, method));
        EXPECT_EQ(error, ::GetLastError());
    }
    write(file.handle, "!");
    char piece[16];
    EXPECT_TRUE(::ReadFile(reader.handle, piece, sizeof(piece), &count, nullptr));
    EXPECT_EQ(std::string("hello\0\0\0!", 9), std::string(piece, count));
    EXPECT_TRUE(::ReadFile(reader.handle, piece, sizeof(piece), &count, nullptr));
    EXPECT_EQ(0U, count) << "the end of the file";
    // Two writers that each seek to the end first, as a shared log file is written.
    for (const auto& [writer, text] : {std::pair(file.handle, "1"), {second.handle, "2"}, {file.handle, "3"}})
    {
        ::SetFilePointer(writer, 0, nullptr, FILE_END);
        write(writer, text);
    }
    EXPECT_EQ(std::string("hello\0\0\0!123", 12), test::ReadFileBytes(m_file));
}

TEST_F(FileContract, Folders)
{
    test::ExpectAnswers("contract/data/Folders.txt", [this](const std::string& name) {
        const Wide path = name.find(':') != std::string::npos ? test::ToWide(name) : m_folder.File(name);
        const DWORD error = LastError().Of(::CreateDirectoryW(path.c_str(), nullptr));
        EXPECT_TRUE(error != kept || ::GetFileAttributesW(path.c_str()) == FILE_ATTRIBUTE_DIRECTORY);
        return test::ErrorName(error) + "\n";
    });
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, LastError().Of(::CreateDirectoryW(OLESTR(""), nullptr)));
    EXPECT_EQ(kept, LastError().Of(::CreateDirectoryA(test::ToUtf8(m_folder.File("narrow")).c_str(), nullptr)));
}

TEST(TemporaryPathContract, TheFirstVariableThatIsSetWhereThereIsRoom)
{
    const char* const names[] = {"TMP", "TEMP", "USERPROFILE"};
    std::string before[3];
    for (std::size_t i = 0; i < 3; ++i)
        before[i] = std::getenv(names[i]) == nullptr ? "" : std::getenv(names[i]);
    test::ExpectAnswers("contract/data/TemporaryPaths.txt", [&](const std::string& given) {
        const std::vector<std::string> parts = test::Parts(given); // the variables and the room
        for (std::size_t i = 0; i < 3; ++i)
            test::SetVariable(names[i], parts[i]);
        const auto room = static_cast<DWORD>(std::stoul(parts[3]));
        WCHAR wide[64] = OLESTR("x");
        char narrow[64] = "x";
        ::SetLastError(kept);
        const DWORD count = ::GetTempPathW(room, room == 0 ? nullptr : wide);
        EXPECT_EQ(count, ::GetTempPathA(room, room == 0 ? nullptr : narrow));
        EXPECT_TRUE(parts[0].empty() || ::GetLastError() == kept);
        return std::to_string(count) + " [" + test::ToUtf8(wide) + "] [" + narrow + "]\n";
    });
    for (std::size_t i = 0; i < 3; ++i)
        test::SetVariable(names[i], before[i]);
}

} // namespace
