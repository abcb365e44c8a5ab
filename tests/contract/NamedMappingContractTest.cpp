// Named shared memory: when a name is new, what a view may, and how long an object lives.
#include "LastError.h"
#include "Role.h"

#include <tuple>
#include <utility>

namespace
{

using test::Child;
using test::kept;
using test::LastError;
using test::Wide;

struct Mapping
{
    HANDLE handle = nullptr;
    DWORD error = 0;

    explicit Mapping(const WCHAR* name, DWORD size = 4, DWORD protection = PAGE_READWRITE)
    {
        ::SetLastError(kept);
        handle = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, protection, 0, size, name);
        error = ::GetLastError();
    }
    ~Mapping() { Close(); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    void Close()
    {
        if (handle != nullptr)
            ::CloseHandle(std::exchange(handle, nullptr));
    }
    LONG* Word() const { return static_cast<LONG*>(::MapViewOfFile(handle, FILE_MAP_ALL_ACCESS, 0, 0, 0)); }
};

constexpr const WCHAR* ready = OLESTR("{5C0E4A57-mapping-ready}"); ///< counts the children that hold the object
constexpr const WCHAR* object = OLESTR("{5C0E4A57-mapping-object}");

/// Adds its part to the word in the object, and holds it until it is killed.
const bool holder = test::InRole(OLESTR("hold"), [](const Wide&) -> UINT {
    const Mapping readiness(ready), held(object);
    InterlockedExchangeAdd(held.Word(), 1000);
    InterlockedIncrement(readiness.Word());
    ::Sleep(test::patience);
    return 0;
});

TEST(NamedMapping, CreationTellsNewFromExisting)
{
    const Mapping first(OLESTR("{braces}"));
    LONG* const word = first.Word();
    EXPECT_EQ(0, std::exchange(*word, 4711));
    test::ExpectAnswers("contract/data/MappingNames.txt", [&first](const std::string& given) {
        const std::vector<std::string> parts = test::Parts(given); // name, size, protection
        const Mapping mapping(
            parts[0] == "null" ? nullptr : test::ToWide(parts[0]).c_str(), static_cast<DWORD>(std::stoul(parts[1])),
            static_cast<DWORD>(std::stoul(parts[2])));
        EXPECT_NE(first.handle, mapping.handle);
        const std::string answer = test::ErrorName(mapping.error);
        if (mapping.handle == nullptr)
            return answer + "\n";
        const auto* view = static_cast<const LONG*>(::MapViewOfFile(mapping.handle, FILE_MAP_READ, 0, 0, 4));
        EXPECT_NE(nullptr, view);
        const LONG seen = *view;
        ::UnmapViewOfFile(view);
        // The first size stays.
        EXPECT_EQ(ERROR_ACCESS_DENIED, LastError().Of(::MapViewOfFile(mapping.handle, FILE_MAP_READ, 0, 0, 65536)));
        return answer + ", holds " + std::to_string(seen) + "\n";
    });
    ::UnmapViewOfFile(word);
}

TEST(NamedMapping, ViewsStayWithinTheirObjectAndRights)
{
    const Mapping both(OLESTR("rw")), readOnly(OLESTR("ro"), 4, PAGE_READONLY), asked(OLESTR("rw"), 4, PAGE_READONLY);
    constexpr DWORD denied = ERROR_ACCESS_DENIED, all = FILE_MAP_ALL_ACCESS;
    const std::tuple<HANDLE, DWORD, DWORD, SIZE_T, DWORD> rows[] = {
        {both.handle, all, 0, 4, kept},
        {both.handle, all, 0, 0, kept},
        {both.handle, FILE_MAP_WRITE, 0, 4096, kept},
        {both.handle, all, 0, 4097, denied},
        {both.handle, all, 4096, 4, ERROR_MAPPED_ALIGNMENT},
        {readOnly.handle, FILE_MAP_READ, 0, 4, kept},
        {readOnly.handle, FILE_MAP_WRITE, 0, 4, denied},
        {readOnly.handle, all, 0, 4, denied},
        {asked.handle, FILE_MAP_WRITE, 0, 4, denied},
        {asked.handle, FILE_MAP_READ, 0, 4, kept},
        {nullptr, FILE_MAP_READ, 0, 4, ERROR_INVALID_HANDLE}};
    for (const auto& [handle, access, offset, bytes, error] : rows)
    {
        const LastError last;
        const void* view = ::MapViewOfFile(handle, access, 0, offset, bytes);
        EXPECT_EQ(error, last.Of(view)) << &error - &std::get<4>(rows[0]);
        EXPECT_EQ(view == nullptr ? ERROR_INVALID_ADDRESS : kept, LastError().Of(::UnmapViewOfFile(view)));
        EXPECT_EQ(ERROR_INVALID_ADDRESS, LastError().Of(::UnmapViewOfFile(view)));
    }
}

TEST(NamedMapping, HandlesCloseOnceAndAnOldViewKeepsItsMemory)
{
    Mapping first(object);
    const HANDLE handle = first.handle;
    LONG* const old = first.Word();
    *old = 1;
    const std::pair<HANDLE, DWORD> rows[] = {
        {std::exchange(first.handle, nullptr), kept},
        {handle, ERROR_INVALID_HANDLE},
        {nullptr, ERROR_INVALID_HANDLE},
        {INVALID_HANDLE_VALUE, kept}}; // the process's pseudo handle
    for (const auto& [closed, error] : rows)
        EXPECT_EQ(error, LastError().Of(::CloseHandle(closed)));
    const Mapping second(object);
    EXPECT_EQ(0U, second.error);
    LONG* const word = second.Word();
    EXPECT_EQ(0, std::exchange(*word, 2));
    EXPECT_EQ(1, *old);
    ::UnmapViewOfFile(old);
    ::UnmapViewOfFile(word);
}

TEST(NamedMapping, TheObjectLivesAsLongAsSomeProcessHoldsIt)
{
    const Mapping readiness(ready);
    LONG* const word = readiness.Word();
    const auto reaches = [word](LONG number) {
        return test::Eventually([&] { return InterlockedExchangeAdd(word, 0) == number; });
    };
    {
        const Child child(OLESTR("hold 1"));
        ASSERT_TRUE(reaches(1));
        const Mapping seen(object);
        EXPECT_EQ(ERROR_ALREADY_EXISTS, seen.error);
        EXPECT_EQ(1000, *seen.Word());
    }
    Mapping mine(object); // its only holder was killed
    EXPECT_EQ(0U, mine.error);
    EXPECT_EQ(0, *mine.Word());
    {
        const Child first(OLESTR("hold 2")), second(OLESTR("hold 3"));
        ASSERT_TRUE(reaches(3));
        EXPECT_EQ(2000, *mine.Word()); // written over there, seen here
        mine.Close();
        EXPECT_EQ(ERROR_ALREADY_EXISTS, Mapping(object).error);
        EXPECT_EQ(2000, *Mapping(object).Word());
    }
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, LastError().Of(::OpenFileMappingW(FILE_MAP_READ, FALSE, object)));
    EXPECT_EQ(0U, Mapping(object).error);
}

} // namespace
