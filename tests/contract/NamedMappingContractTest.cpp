#include "Role.h"

namespace
{

using test::Child;
using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;

struct Mapping
{
    HANDLE handle = nullptr;
    DWORD error = 0;

    explicit Mapping(const WCHAR* name, DWORD size = 4, DWORD protection = PAGE_READWRITE)
    {
        ::SetLastError(marker);
        handle = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, protection, 0, size, name);
        error = ::GetLastError();
    }
    ~Mapping()
    {
        if (handle != nullptr)
            ::CloseHandle(handle);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    void Close() { ::CloseHandle(std::exchange(handle, nullptr)); }
    LONG* Word() const { return static_cast<LONG*>(::MapViewOfFile(handle, FILE_MAP_ALL_ACCESS, 0, 0, 0)); }
};

/// The words that test and child share: 0 children made the object, 1 children found it, 2 children are ready,
/// 3 children may end.
constexpr const WCHAR* shared = OLESTR("{5C0E4A57-mapping-shared}");
constexpr const WCHAR* object = OLESTR("{5C0E4A57-mapping-object}");

LONG Add(LONG* word, LONG number)
{
    return ::InterlockedExchangeAdd(word, number) + number;
}

template <class Condition>
bool Wait(Condition condition)
{
    for (int i = 0; i < 3000 && !condition(); ++i)
        ::Sleep(10);
    return condition();
}

/// Creates the object, adds its part to the word in it, and holds it.
const bool holder = test::InRole(OLESTR("hold"), [](const Wide&) -> UINT {
    const Mapping words(shared, 16);
    LONG* const word = words.Word();
    const Mapping held(object);
    Add(&word[held.error == ERROR_ALREADY_EXISTS ? 1 : 0], 1);
    Add(held.Word(), 1000);
    Add(&word[2], 1);
    return Wait([&] { return Add(&word[3], 0) != 0; }) ? 0 : 1;
});

struct CreationCase
{
    const char* what;
    const WCHAR* name;
    DWORD size;
    DWORD protection;
    DWORD error; // of a handle: 0 or 183
    bool made;
};
constexpr CreationCase creations[] = {
    {"new name", OLESTR("other"), 4, PAGE_READWRITE, 0, true},
    {"existing", OLESTR("{braces}"), 4, PAGE_READWRITE, ERROR_ALREADY_EXISTS, true},
    {"existing, larger", OLESTR("{braces}"), 65536, PAGE_READWRITE, ERROR_ALREADY_EXISTS, true},
    {"existing, read-only", OLESTR("{braces}"), 4, PAGE_READONLY, ERROR_ALREADY_EXISTS, true},
    {"letter case counts", OLESTR("{BRACES}"), 4, PAGE_READWRITE, 0, true},
    {"Local is the same", OLESTR("Local\\{braces}"), 4, PAGE_READWRITE, ERROR_ALREADY_EXISTS, true},
    {"Global is another", OLESTR("Global\\{braces}"), 4, PAGE_READWRITE, 0, true},
    {"other backslash", OLESTR("a\\b"), 4, PAGE_READWRITE, ERROR_PATH_NOT_FOUND, false},
    {"slashes and per cent", OLESTR("../{braces}%2F"), 4, PAGE_READWRITE, 0, true},
    {"no name", nullptr, 4, PAGE_READWRITE, 0, true},
    {"empty name", OLESTR(""), 4, PAGE_READWRITE, 0, true},
    {"size 0", OLESTR("other"), 0, PAGE_READWRITE, ERROR_INVALID_PARAMETER, false},
    {"size 0, existing", OLESTR("{braces}"), 0, PAGE_READWRITE, ERROR_INVALID_PARAMETER, false},
    {"protection 0", OLESTR("other"), 4, 0, ERROR_INVALID_PARAMETER, false},
};

TEST(NamedMapping, CreationTellsNewFromExisting)
{
    const Mapping first(OLESTR("{braces}"));
    ASSERT_EQ(0U, first.error);
    LONG* const word = first.Word();
    ASSERT_NE(nullptr, word);
    EXPECT_EQ(0, *word);
    *word = 4711;
    for (const CreationCase& row : creations)
    {
        SCOPED_TRACE(row.what);
        const Mapping mapping(row.name, row.size, row.protection);
        EXPECT_EQ(row.made, mapping.handle != nullptr);
        EXPECT_EQ(row.error, mapping.error);
        EXPECT_NE(first.handle, mapping.handle);
        if (!row.made)
            continue;
        const auto* view = static_cast<const LONG*>(::MapViewOfFile(mapping.handle, FILE_MAP_READ, 0, 0, 4));
        ASSERT_NE(nullptr, view);
        EXPECT_EQ(row.error == 0 ? 0 : 4711, *view);
        ::UnmapViewOfFile(view);
        // The first size stays.
        EXPECT_EQ(nullptr, ::MapViewOfFile(mapping.handle, FILE_MAP_READ, 0, 0, 65536));
    }
    ::UnmapViewOfFile(word);
}

struct ViewCase
{
    const char* what;
    const WCHAR*
        name; // of an object of 4 bytes: "rw" read and write, "ro" read-only, "asked" a read-only handle of "rw"
    DWORD access;
    DWORD offset;
    SIZE_T bytes;
    DWORD error; // 0: an address
};
constexpr ViewCase views[] = {
    {"whole", OLESTR("rw"), FILE_MAP_ALL_ACCESS, 0, 4, 0},
    {"0 bytes", OLESTR("rw"), FILE_MAP_ALL_ACCESS, 0, 0, 0},
    {"up to the page's end", OLESTR("rw"), FILE_MAP_WRITE, 0, 4096, 0},
    {"beyond the page", OLESTR("rw"), FILE_MAP_ALL_ACCESS, 0, 4097, ERROR_ACCESS_DENIED},
    {"uneven offset", OLESTR("rw"), FILE_MAP_ALL_ACCESS, 4096, 4, ERROR_MAPPED_ALIGNMENT},
    {"offset behind the end", OLESTR("rw"), FILE_MAP_READ, 65536, 0, ERROR_INVALID_PARAMETER},
    {"read", OLESTR("ro"), FILE_MAP_READ, 0, 4, 0},
    {"write, read-only object", OLESTR("ro"), FILE_MAP_WRITE, 0, 4, ERROR_ACCESS_DENIED},
    {"all, read-only object", OLESTR("ro"), FILE_MAP_ALL_ACCESS, 0, 4, ERROR_ACCESS_DENIED},
    {"write, handle asked to read", OLESTR("asked"), FILE_MAP_WRITE, 0, 4, ERROR_ACCESS_DENIED},
    {"read, handle asked to read", OLESTR("asked"), FILE_MAP_READ, 0, 4, 0},
    {"null handle", OLESTR(""), FILE_MAP_READ, 0, 4, ERROR_INVALID_HANDLE},
};

TEST(NamedMapping, ViewsStayWithinTheirObjectAndRights)
{
    const Mapping readWrite(OLESTR("rw"));
    const Mapping readOnly(OLESTR("ro"), 4, PAGE_READONLY);
    const Mapping asked(OLESTR("rw"), 4, PAGE_READONLY);
    for (const ViewCase& row : views)
    {
        SCOPED_TRACE(row.what);
        const Wide name = row.name;
        const HANDLE handle = name == OLESTR("rw")      ? readWrite.handle
                              : name == OLESTR("ro")    ? readOnly.handle
                              : name == OLESTR("asked") ? asked.handle
                                                        : nullptr;
        ::SetLastError(marker);
        const void* view = ::MapViewOfFile(handle, row.access, 0, row.offset, row.bytes);
        EXPECT_EQ(row.error == 0 ? marker : row.error, ::GetLastError());
        ASSERT_EQ(row.error == 0, view != nullptr);
        if (view == nullptr)
            continue;
        ::SetLastError(marker);
        EXPECT_NE(0, ::UnmapViewOfFile(view));
        EXPECT_EQ(marker, ::GetLastError());
        EXPECT_EQ(0, ::UnmapViewOfFile(view));
        EXPECT_EQ(ERROR_INVALID_ADDRESS, ::GetLastError());
    }
    ::SetLastError(marker);
    EXPECT_EQ(0, ::UnmapViewOfFile(nullptr));
    EXPECT_EQ(ERROR_INVALID_ADDRESS, ::GetLastError());
}

TEST(NamedMapping, HandlesCloseOnce)
{
    const struct
    {
        const char* what;
        HANDLE handle;
        BOOL result;
        DWORD error;
    } rows[] = {
        {"open", Mapping(nullptr).handle, FALSE, ERROR_INVALID_HANDLE}, // the temporary has closed it
        {"open", ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, nullptr), TRUE, marker},
        {"null", nullptr, FALSE, ERROR_INVALID_HANDLE},
        {"the process's pseudo handle", INVALID_HANDLE_VALUE, TRUE, marker},
    };
    for (std::size_t i = std::size(rows); i-- > 0;)
    {
        SCOPED_TRACE(rows[i].what);
        ::SetLastError(marker);
        EXPECT_EQ(rows[i].result, ::CloseHandle(rows[i].handle));
        EXPECT_EQ(rows[i].error, ::GetLastError());
    }
}

TEST(NamedMapping, OpeningFindsOnlyWhatIsHeld)
{
    const auto open = [](const WCHAR* name) {
        ::SetLastError(marker);
        return ::OpenFileMappingW(FILE_MAP_READ, FALSE, name);
    };
    EXPECT_EQ(nullptr, open(object));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::GetLastError());
    EXPECT_EQ(nullptr, open(nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::GetLastError());
    Mapping held(object);
    const HANDLE handle = open(object);
    EXPECT_EQ(marker, ::GetLastError());
    held.Close();
    EXPECT_EQ(ERROR_ALREADY_EXISTS, Mapping(object).error); // the opened handle holds it
    EXPECT_EQ(nullptr, ::MapViewOfFile(handle, FILE_MAP_WRITE, 0, 0, 4));
    EXPECT_NE(nullptr, ::MapViewOfFile(handle, FILE_MAP_READ, 0, 0, 4));
    ::CloseHandle(handle);
    EXPECT_EQ(nullptr, open(object));
}

TEST(NamedMapping, AnOldViewKeepsItsMemoryWhenTheNameIsGone)
{
    Mapping first(object);
    LONG* const old = first.Word();
    *old = 1;
    first.Close();
    const Mapping second(object);
    EXPECT_EQ(0U, second.error);
    LONG* const word = second.Word();
    EXPECT_EQ(0, *word);
    *word = 2;
    EXPECT_EQ(1, *old);
    ::UnmapViewOfFile(old);
    ::UnmapViewOfFile(word);
}

TEST(NamedMapping, TheObjectLivesAsLongAsSomeProcessHoldsIt)
{
    const Mapping words(shared, 16);
    LONG* const word = words.Word();
    ASSERT_NE(nullptr, word);
    const auto ready = [&](LONG count) { return Wait([&] { return Add(&word[2], 0) == count; }); };

    // One holder, killed: gone.
    {
        const Child child(OLESTR("hold 1"));
        ASSERT_TRUE(ready(1));
        const Mapping seen(object);
        EXPECT_EQ(ERROR_ALREADY_EXISTS, seen.error);
        EXPECT_EQ(1000, *seen.Word());
    }
    Mapping mine(object);
    EXPECT_EQ(0U, mine.error);
    EXPECT_EQ(0, *mine.Word());

    // Two processes share it; one is killed, the other's handle keeps it.
    {
        LONG* const view = mine.Word();
        *view = 7;
        const Child child(OLESTR("hold 2"));
        ASSERT_TRUE(ready(2));
        EXPECT_EQ(1007, *view);
    }
    {
        const Mapping again(object);
        EXPECT_EQ(ERROR_ALREADY_EXISTS, again.error);
        EXPECT_EQ(1007, *again.Word());
    }

    // Many at once: one makes it, and no addition is lost.
    mine.Close();
    word[0] = word[1] = word[2] = 0;
    {
        const Child children[] = {Child(OLESTR("hold a")), Child(OLESTR("hold b")), Child(OLESTR("hold c")),
                                  Child(OLESTR("hold d")), Child(OLESTR("hold e")), Child(OLESTR("hold f"))};
        ASSERT_TRUE(ready(6));
        EXPECT_EQ(1, word[0]);
        EXPECT_EQ(5, word[1]);
        EXPECT_EQ(6000, *Mapping(object).Word());
        Add(&word[3], 1);
        for (const Child& child : children)
            EXPECT_EQ(0U, child.Wait());
    }
    EXPECT_EQ(0U, Mapping(object).error);
}

} // namespace
