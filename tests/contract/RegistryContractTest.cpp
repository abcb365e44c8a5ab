// The registry functions, as they behave on both systems.
#include "TestSupport.h"

#include <algorithm>
#include <utility>

namespace
{

using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;
constexpr BYTE untouched = 0xCC;

struct Key
{
    HKEY handle;

    explicit Key(HKEY opened = nullptr) : handle(opened) {}
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key()
    {
        if (handle != nullptr)
            ::RegCloseKey(handle);
    }

    operator HKEY() const { return handle; }
};

LSTATUS Create(Key& key, HKEY parent, const WCHAR* path, REGSAM access = KEY_ALL_ACCESS, DWORD options = 0)
{
    return ::RegCreateKeyExW(parent, path, 0, nullptr, options, access, nullptr, &key.handle, nullptr);
}

LSTATUS OpenStatus(HKEY parent, const WCHAR* path)
{
    Key key;
    return ::RegOpenKeyExW(parent, path, 0, KEY_READ, &key.handle);
}

LSTATUS Set(HKEY key, const WCHAR* name, DWORD type, std::string_view bytes)
{
    return ::RegSetValueExW(
        key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
}

/// A value's bytes; a text that no value holds when it cannot be read.
std::string Get(HKEY key, const WCHAR* name)
{
    DWORD size = 0;
    if (::RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return "(none)";
    std::string bytes(size, '\0');
    ::RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(bytes.data()), &size);
    return bytes;
}

class Registry : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(ERROR_SUCCESS, Create(m_key, HKEY_CURRENT_USER, OLESTR("Contract")));
        ::SetLastError(marker);
    }

    /// Every function keeps the last error, whatever came of it.
    void TearDown() override { EXPECT_EQ(marker, ::GetLastError()); }

    test::PrivateRegistry m_private;
    Key m_key;
};

TEST_F(Registry, QueriesBySizeTypeAndTerminator)
{
    using namespace std::literals;
    constexpr struct
    {
        const char* name;
        DWORD type;
        std::string_view stored;
        bool wide;
        DWORD room;
        LSTATUS status;
        DWORD told;
        std::string_view buffer; // what the call wrote; behind it nothing
    } rows[] = {
        {"WideFits", REG_SZ, "a\0b\0\0\0"sv, true, 6, ERROR_SUCCESS, 6, "a\0b\0\0\0"sv},
        {"WideOneShort", REG_SZ, "a\0b\0\0\0"sv, true, 5, ERROR_MORE_DATA, 6, ""},
        {"NarrowFits", REG_SZ, "a\0b\0\0\0"sv, false, 3, ERROR_SUCCESS, 3, "ab\0"sv},
        {"NarrowOneShort", REG_SZ, "a\0b\0\0\0"sv, false, 2, ERROR_MORE_DATA, 3, ""},
        {"WideNoTerminatorExact", REG_SZ, "a\0b\0c\0"sv, true, 6, ERROR_SUCCESS, 6, "a\0b\0c\0"sv},
        {"WideNoTerminatorByteMore", REG_SZ, "a\0b\0c\0"sv, true, 7, ERROR_SUCCESS, 6, "a\0b\0c\0"sv},
        {"WideNoTerminatorRoom", REG_SZ, "a\0b\0c\0"sv, true, 8, ERROR_SUCCESS, 6, "a\0b\0c\0\0\0"sv},
        {"NarrowNoTerminatorExact", REG_SZ, "a\0b\0c\0"sv, false, 3, ERROR_SUCCESS, 3, "abc"},
        {"NarrowNoTerminatorRoom", REG_SZ, "a\0b\0c\0"sv, false, 4, ERROR_SUCCESS, 3, "abc\0"sv},
        {"WideTerminatorOnly", REG_SZ, "\0\0"sv, true, 8, ERROR_SUCCESS, 2, "\0\0"sv},
        {"NarrowTerminatorOnly", REG_SZ, "\0\0"sv, false, 8, ERROR_SUCCESS, 1, "\0"sv},
        {"WideNothing", REG_SZ, "", true, 8, ERROR_SUCCESS, 0, ""},
        {"NarrowNothing", REG_SZ, "", false, 8, ERROR_SUCCESS, 0, ""},
        {"WideOddLength", REG_SZ, "a\0b\0c"sv, true, 6, ERROR_SUCCESS, 5, "a\0b\0c"sv},
        {"WideOddLengthRoom", REG_SZ, "a\0b\0c"sv, true, 7, ERROR_SUCCESS, 5, "a\0b\0c\0\0"sv},
        {"NarrowOddLength", REG_SZ, "a\0b\0c"sv, false, 8, ERROR_SUCCESS, 2, "ab\0"sv},
        {"WideInnerZero", REG_SZ, "a\0\0\0b\0\0\0"sv, true, 8, ERROR_SUCCESS, 8, "a\0\0\0b\0\0\0"sv},
        {"NarrowInnerZero", REG_SZ, "a\0\0\0b\0\0\0"sv, false, 8, ERROR_SUCCESS, 4, "a\0b\0"sv},
        {"Expand", REG_EXPAND_SZ, "%\0T\0%\0\0\0"sv, true, 8, ERROR_SUCCESS, 8, "%\0T\0%\0\0\0"sv},
        {"NarrowMulti", REG_MULTI_SZ, "a\0\0\0b\0\0\0\0\0"sv, false, 8, ERROR_SUCCESS, 5, "a\0b\0\0"sv},
        {"DwordOf2", REG_DWORD, "\1\2"sv, true, 4, ERROR_SUCCESS, 2, "\1\2"sv},
        {"DwordOf8", REG_DWORD, "12345678"sv, true, 4, ERROR_MORE_DATA, 8, ""},
        {"NarrowDword", REG_DWORD, "1234"sv, false, 4, ERROR_SUCCESS, 4, "1234"sv},
        {"BinaryNoRoom", REG_BINARY, "abc"sv, true, 0, ERROR_MORE_DATA, 3, ""},
        {"UnknownType", 0x777, "abc"sv, true, 8, ERROR_SUCCESS, 3, "abc"sv},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        // Behind the stored bytes lies no zero, which the call might take for a forgotten terminator.
        const std::string given = std::string(row.stored) + "zzz";
        ASSERT_EQ(
            ERROR_SUCCESS, Set(m_key, OLESTR("v"), row.type, std::string_view(given).substr(0, row.stored.size())));
        BYTE buffer[16];
        std::fill(std::begin(buffer), std::end(buffer), untouched);
        DWORD type = marker;
        DWORD size = row.room;
        EXPECT_EQ(
            row.status, row.wide ? ::RegQueryValueExW(m_key, OLESTR("v"), nullptr, &type, buffer, &size)
                                 : ::RegQueryValueExA(m_key, "v", nullptr, &type, buffer, &size));
        EXPECT_EQ(row.type, type);
        EXPECT_EQ(row.told, size);
        std::string expected(row.buffer);
        expected.resize(sizeof(buffer), static_cast<char>(untouched));
        EXPECT_EQ(expected, std::string(reinterpret_cast<char*>(buffer), sizeof(buffer)));
        // Without a buffer: the size alone, or the type alone.
        size = 0;
        EXPECT_EQ(
            ERROR_SUCCESS, row.wide ? ::RegQueryValueExW(m_key, OLESTR("v"), nullptr, nullptr, nullptr, &size)
                                    : ::RegQueryValueExA(m_key, "v", nullptr, nullptr, nullptr, &size));
        EXPECT_EQ(row.told, size);
        type = marker;
        EXPECT_EQ(ERROR_SUCCESS, ::RegQueryValueExW(m_key, OLESTR("v"), nullptr, &type, nullptr, nullptr));
        EXPECT_EQ(row.type, type);
    }
}

TEST_F(Registry, QueriesThatFail)
{
    Key setOnly, none, deleted;
    ASSERT_EQ(ERROR_SUCCESS, Create(setOnly, m_key, nullptr, KEY_WRITE));
    ASSERT_EQ(ERROR_SUCCESS, Create(none, m_key, OLESTR(""), 0));
    ASSERT_EQ(ERROR_SUCCESS, Create(deleted, m_key, OLESTR("deleted")));
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteKeyW(m_key, OLESTR("deleted")));
    ASSERT_EQ(ERROR_SUCCESS, Set(m_key, OLESTR("v"), REG_SZ, "abcd"));
    const Wide tooLong(16384, 'n');
    BYTE byte = untouched;
    const struct
    {
        const char* what;
        HKEY key;
        const WCHAR* name;
        bool reserved, data, size;
        LSTATUS status;
    } rows[] = {
        {"missing", m_key, OLESTR("zz"), false, true, true, ERROR_FILE_NOT_FOUND},
        {"missing default", m_key, nullptr, false, true, true, ERROR_FILE_NOT_FOUND},
        {"name too long", m_key, tooLong.c_str(), false, true, true, ERROR_FILE_NOT_FOUND},
        {"data without size", m_key, OLESTR("v"), false, true, false, ERROR_INVALID_PARAMETER},
        {"reserved", m_key, OLESTR("v"), true, true, true, ERROR_INVALID_PARAMETER},
        {"right to set only", setOnly, OLESTR("v"), false, true, true, ERROR_ACCESS_DENIED},
        {"no rights, no value", none, OLESTR("zz"), false, true, true, ERROR_ACCESS_DENIED},
        {"null handle", nullptr, OLESTR("v"), false, true, true, ERROR_INVALID_HANDLE},
        {"wrong handle", reinterpret_cast<HKEY>(INT_PTR{0x1234}), OLESTR("v"), false, true, true, ERROR_INVALID_HANDLE},
        {"deleted key", deleted, OLESTR("v"), false, true, true, ERROR_KEY_DELETED},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        DWORD reserved = 0, size = 1, type = marker;
        EXPECT_EQ(
            row.status, ::RegQueryValueExW(
                            row.key, row.name, row.reserved ? &reserved : nullptr, &type, row.data ? &byte : nullptr,
                            row.size ? &size : nullptr));
        EXPECT_EQ(1U, size);
        EXPECT_EQ(untouched, byte);
        EXPECT_EQ(marker, type);
    }
    DWORD type = marker;
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegQueryValueExA(m_key, "zz", nullptr, &type, nullptr, nullptr));
    EXPECT_EQ(REG_NONE, type);
}

TEST_F(Registry, SetsAndDeletes)
{
    Key readOnly, deleted;
    ASSERT_EQ(ERROR_SUCCESS, Create(readOnly, m_key, nullptr, KEY_READ));
    ASSERT_EQ(ERROR_SUCCESS, Create(deleted, m_key, OLESTR("deleted")));
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(m_key, OLESTR("deleted")));
    const Wide longest(16383, 'n'), tooLong(16384, 'n');
    const BYTE data[4] = {1, 2, 3, 4};
    const struct
    {
        const char* what;
        HKEY key;
        const WCHAR* name;
        const BYTE* data;
        LSTATUS set, erase;
    } rows[] = {
        {"longest name", m_key, longest.c_str(), data, ERROR_SUCCESS, ERROR_SUCCESS},
        {"name too long", m_key, tooLong.c_str(), data, ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
        {"backslash in a name", m_key, OLESTR("a\\b"), data, ERROR_SUCCESS, ERROR_SUCCESS},
        {"default value", m_key, nullptr, data, ERROR_SUCCESS, ERROR_SUCCESS},
        {"null data", m_key, OLESTR("v"), nullptr, ERROR_NOACCESS, ERROR_FILE_NOT_FOUND},
        {"right to read only", readOnly, OLESTR("v"), data, ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {"null handle", nullptr, OLESTR("v"), data, ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE},
        {"wrong handle", reinterpret_cast<HKEY>(INT_PTR{0x1234}), OLESTR("v"), data, ERROR_INVALID_HANDLE,
         ERROR_INVALID_HANDLE},
        {"deleted key", deleted, OLESTR("v"), data, ERROR_KEY_DELETED, ERROR_KEY_DELETED},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.set, ::RegSetValueExW(row.key, row.name, 0, REG_BINARY, row.data, sizeof(data)));
        EXPECT_EQ(row.set == ERROR_SUCCESS ? "\1\2\3\4" : "(none)", Get(row.key, row.name));
        EXPECT_EQ(row.erase, ::RegDeleteValueW(row.key, row.name));
        EXPECT_EQ("(none)", Get(row.key, row.name));
    }
    EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(std::exchange(deleted.handle, nullptr)));

    // 1 MiB as it is, also in place of a short value; an empty and a null name are the same value.
    std::string large(std::size_t{1} << 20, 'x');
    for (std::size_t i = 0; i < large.size(); i += 3)
        large[i] = static_cast<char>(i / 7);
    EXPECT_EQ(ERROR_SUCCESS, Set(m_key, OLESTR(""), REG_SZ, "ab"));
    EXPECT_EQ(ERROR_SUCCESS, Set(m_key, nullptr, 0x777, large));
    EXPECT_TRUE(Get(m_key, OLESTR("")) == large);

    // The 8-bit forms store UTF-16 and find what the wide ones wrote.
    const BYTE text[] = "abc";
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetValueExA(m_key, "Text", 0, REG_SZ, text, sizeof(text)));
    EXPECT_EQ(test::Utf16Bytes(Wide(OLESTR("abc\0"), 4)), Get(m_key, OLESTR("text")));
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetValueExA(m_key, "Bin", 0, REG_BINARY, text, sizeof(text)));
    EXPECT_EQ(std::string("abc\0", 4), Get(m_key, OLESTR("bin")));
    EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteValueA(m_key, "TEXT"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteValueA(m_key, "Text"));
}

TEST_F(Registry, NamesIgnoreLetterCase)
{
    const struct
    {
        const WCHAR* stored;
        const WCHAR* asked;
        bool same;
    } rows[] = {
        {OLESTR("DeviceName"), OLESTR("deviceNAME"), true}, {OLESTR("\u00C4"), OLESTR("\u00E4"), true},
        {OLESTR("\u0416"), OLESTR("\u0436"), true},         {OLESTR("\u00FF"), OLESTR("\u0178"), true},
        {OLESTR("\u1F80"), OLESTR("\u1F88"), true},         {OLESTR("\u00DF"), OLESTR("SS"), false},
        {OLESTR("\u03C2"), OLESTR("\u03A3"), false},        {OLESTR("\u0131"), OLESTR("I"), false},
        {OLESTR("blank"), OLESTR("blank "), false},         {OLESTR("a/b"), OLESTR("a\\b"), false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(test::ToUtf8(row.stored));
        ASSERT_EQ(ERROR_SUCCESS, Set(m_key, row.stored, REG_BINARY, "1"));
        EXPECT_EQ(row.same ? "1" : "(none)", Get(m_key, row.asked));
        Key key;
        ASSERT_EQ(ERROR_SUCCESS, Create(key, m_key, row.stored));
        EXPECT_EQ(row.same ? ERROR_SUCCESS : LSTATUS{ERROR_FILE_NOT_FOUND}, OpenStatus(m_key, row.asked));
    }
}

TEST_F(Registry, PathsAndParents)
{
    const HANDLE event = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, nullptr);
    ASSERT_NE(nullptr, event);
    ::SetLastError(marker);
    Key closed;
    ASSERT_EQ(ERROR_SUCCESS, Create(closed, m_key, nullptr));
    const HKEY stale = std::exchange(closed.handle, nullptr);
    ASSERT_EQ(ERROR_SUCCESS, ::RegCloseKey(stale));
    const Wide longest(255, 'k'), tooLong(257, 'k');
    const struct
    {
        const char* what;
        HKEY parent;
        const WCHAR* path;
        LSTATUS open, create;
        const WCHAR* made; // what the path has become
    } rows[] = {
        {"several levels", m_key, OLESTR("a\\b\\c"), ERROR_FILE_NOT_FOUND, ERROR_SUCCESS, OLESTR("A\\B\\C")},
        {"trailing backslashes", m_key, OLESTR("t\\\\"), ERROR_FILE_NOT_FOUND, ERROR_SUCCESS, OLESTR("t")},
        {"doubled backslashes", m_key, OLESTR("d\\\\\\e"), ERROR_FILE_NOT_FOUND, ERROR_SUCCESS, OLESTR("d\\e")},
        {"a slash", m_key, OLESTR("s/t"), ERROR_FILE_NOT_FOUND, ERROR_SUCCESS, OLESTR("s/t")},
        {"longest name", m_key, longest.c_str(), ERROR_FILE_NOT_FOUND, ERROR_SUCCESS, longest.c_str()},
        {"name too long", m_key, tooLong.c_str(), ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, nullptr},
        {"leading backslash", m_key, OLESTR("\\a"), ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME, nullptr},
        {"backslash", m_key, OLESTR("\\"), ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME, nullptr},
        {"wrong parent", reinterpret_cast<HKEY>(INT_PTR{0x1234}), OLESTR("a"), ERROR_INVALID_HANDLE,
         ERROR_INVALID_HANDLE, nullptr},
        {"closed parent", stale, OLESTR("a"), ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE, nullptr},
        {"parent of another kind", static_cast<HKEY>(event), OLESTR("a"), ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE,
         nullptr},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.what);
        HKEY key = m_key;
        EXPECT_EQ(row.open, ::RegOpenKeyExW(row.parent, row.path, 0, KEY_READ, &key));
        EXPECT_EQ(nullptr, key);
        for (const DWORD expected : {DWORD{REG_CREATED_NEW_KEY}, DWORD{REG_OPENED_EXISTING_KEY}})
        {
            DWORD disposition = marker;
            key = m_key;
            EXPECT_EQ(
                row.create,
                ::RegCreateKeyExW(row.parent, row.path, 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition));
            EXPECT_EQ(row.create == ERROR_SUCCESS ? expected : marker, disposition);
            EXPECT_EQ(row.create == ERROR_SUCCESS, key != nullptr);
            const Key owner{key};
        }
        EXPECT_TRUE(row.made == nullptr || OpenStatus(m_key, row.made) == ERROR_SUCCESS);
    }
    HKEY key = m_key;
    EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegOpenKeyExW(nullptr, OLESTR("a"), 0, KEY_READ, &key));
    EXPECT_EQ(nullptr, key);
    key = m_key;
    EXPECT_EQ(
        ERROR_INVALID_HANDLE, ::RegCreateKeyExW(nullptr, OLESTR("a"), 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr));
    EXPECT_EQ(m_key.handle, key);
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegOpenKeyExW(m_key, OLESTR("a"), 0, KEY_READ, nullptr));
    ::CloseHandle(event);
    ::SetLastError(marker);
}

TEST_F(Registry, HandlesAndRights)
{
    // A key is made whatever the rights asked for, and what lies below a handle does not depend on its rights.
    Key none, below, again;
    EXPECT_EQ(ERROR_SUCCESS, Create(none, m_key, OLESTR("none"), 0));
    EXPECT_EQ(ERROR_SUCCESS, Create(below, none, OLESTR("below")));
    EXPECT_EQ(ERROR_SUCCESS, OpenStatus(none, OLESTR("below")));
    EXPECT_EQ(ERROR_SUCCESS, Set(below, OLESTR("v"), REG_SZ, "ab"));
    // An empty path gives the parent as a handle of its own.
    EXPECT_EQ(ERROR_SUCCESS, ::RegOpenKeyExA(below, nullptr, 0, KEY_READ, &again.handle));
    EXPECT_NE(below.handle, again.handle);
    EXPECT_EQ("ab", Get(again, OLESTR("v")));
    EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(std::exchange(again.handle, nullptr)));
    EXPECT_EQ("ab", Get(below, OLESTR("v")));
    EXPECT_EQ(ERROR_SUCCESS, ::RegOpenKeyExA(m_key, "NONE\\Below", 0, GENERIC_READ, &again.handle));
    EXPECT_EQ("ab", Get(again, OLESTR("v")));
    EXPECT_EQ(ERROR_ACCESS_DENIED, Set(again, OLESTR("v"), REG_SZ, "cd"));

    EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegCloseKey(nullptr));
    EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegCloseKey(reinterpret_cast<HKEY>(INT_PTR{0x1234})));
    const HKEY closed = std::exchange(again.handle, nullptr);
    EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(closed));
    EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegCloseKey(closed));
    EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(HKEY_CURRENT_USER));
    EXPECT_EQ(ERROR_SUCCESS, OpenStatus(HKEY_CURRENT_USER, OLESTR("Contract")));

    Key passing, stable;
    EXPECT_EQ(ERROR_SUCCESS, Create(passing, m_key, OLESTR("volatile"), KEY_ALL_ACCESS, REG_OPTION_VOLATILE));
    EXPECT_EQ(ERROR_CHILD_MUST_BE_VOLATILE, Create(stable, passing, OLESTR("stable")));
    EXPECT_EQ(nullptr, stable.handle);
    EXPECT_EQ(ERROR_SUCCESS, Create(stable, passing, OLESTR("too"), KEY_ALL_ACCESS, REG_OPTION_VOLATILE));
}

TEST_F(Registry, DeletesKeys)
{
    Key key, deep;
    ASSERT_EQ(ERROR_SUCCESS, Create(key, m_key, OLESTR("tree")));
    ASSERT_EQ(ERROR_SUCCESS, Create(deep, key, OLESTR("a\\b\\c")));
    ASSERT_EQ(ERROR_SUCCESS, Set(key, OLESTR("v"), REG_SZ, "ab"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ::RegDeleteKeyW(m_key, OLESTR("tree")));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegDeleteKeyW(m_key, nullptr));
    EXPECT_EQ(ERROR_BAD_PATHNAME, ::RegDeleteKeyW(m_key, OLESTR("\\tree")));
    // Without a path: all below the key, and its values.
    EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(key, nullptr));
    EXPECT_EQ("(none)", Get(key, OLESTR("v")));
    EXPECT_EQ(ERROR_KEY_DELETED, Set(deep, OLESTR("v"), REG_SZ, "ab"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, OpenStatus(key, OLESTR("a")));
    ASSERT_EQ(ERROR_SUCCESS, ::RegCloseKey(std::exchange(deep.handle, nullptr)));
    ASSERT_EQ(ERROR_SUCCESS, Create(deep, key, OLESTR("a\\b")));
    EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(m_key, OLESTR("TREE")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteTreeW(m_key, OLESTR("tree")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteKeyW(m_key, OLESTR("tree")));
    // A new key of the name is another key: the old handles stay those of a deleted one.
    Key fresh;
    ASSERT_EQ(ERROR_SUCCESS, Create(fresh, m_key, OLESTR("tree")));
    EXPECT_EQ(ERROR_KEY_DELETED, Set(key, OLESTR("v"), REG_SZ, "ab"));
    EXPECT_EQ(ERROR_KEY_DELETED, OpenStatus(key, OLESTR("a")));
    EXPECT_EQ(ERROR_KEY_DELETED, OpenStatus(key, nullptr));
    Key none;
    EXPECT_EQ(ERROR_KEY_DELETED, Create(none, key, OLESTR("a")));
}

TEST_F(Registry, Enumerates)
{
    for (const WCHAR* name : {OLESTR("zeta"), OLESTR("Alpha"), OLESTR("(x"), OLESTR("beta")})
    {
        Key key;
        ASSERT_EQ(ERROR_SUCCESS, Create(key, m_key, name));
        ASSERT_EQ(ERROR_SUCCESS, Set(key, name, REG_SZ, "12345678"));
    }
    Key key;
    ASSERT_EQ(ERROR_SUCCESS, Create(key, m_key, OLESTR("beta")));
    const struct
    {
        DWORD index, room, dataRoom;
        LSTATUS keyStatus, valueStatus;
        DWORD length, size;
        WCHAR first;
    } rows[] = {
        {0, 5, 8, ERROR_SUCCESS, ERROR_SUCCESS, 4, 8, 'b'},
        {0, 4, 8, ERROR_MORE_DATA, ERROR_MORE_DATA, 4, 8, '*'},
        {0, 5, 7, ERROR_SUCCESS, ERROR_MORE_DATA, 4, 8, 'b'},
        {9, 5, 8, ERROR_NO_MORE_ITEMS, ERROR_NO_MORE_ITEMS, 5, 8, '*'},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.room * 100 + row.dataRoom);
        Wide name(8, '*');
        DWORD length = row.room, size = row.dataRoom, type = marker;
        BYTE data[8];
        // Sub-keys come in the order of their names: "(x" and "Alpha" before "beta".
        EXPECT_EQ(
            row.keyStatus,
            ::RegEnumKeyExW(
                m_key, row.index == 0 ? 2 : row.index, name.data(), &length, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(row.first, name[0]);
        EXPECT_EQ(row.length, length);
        name.assign(8, '*');
        length = row.room;
        EXPECT_EQ(row.valueStatus, ::RegEnumValueW(key, row.index, name.data(), &length, nullptr, &type, data, &size));
        EXPECT_EQ(row.first, name[0]);
        EXPECT_EQ(row.length, length);
        EXPECT_EQ(row.size, size);
        EXPECT_EQ(row.valueStatus == ERROR_NO_MORE_ITEMS ? marker : DWORD{REG_SZ}, type);
    }
    // Deleting the first one again and again reaches all of them.
    DWORD left = 0;
    WCHAR name[8];
    for (DWORD length = 8; ::RegEnumKeyExW(m_key, 0, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
         length = 8)
        left += ::RegDeleteKeyW(m_key, name) == ERROR_SUCCESS && left < 10 ? 1U : 100U;
    EXPECT_EQ(4U, left);
    DWORD length = 8;
    EXPECT_EQ(ERROR_KEY_DELETED, ::RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(ERROR_KEY_DELETED, ::RegEnumValueW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(Registry, OverridesAPredefinedKey)
{
    Key target, inside;
    ASSERT_EQ(ERROR_SUCCESS, Create(target, HKEY_CURRENT_USER, OLESTR("Contract\\target")));
    EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegOverridePredefKey(target, target));
    EXPECT_EQ(
        ERROR_INVALID_HANDLE, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, reinterpret_cast<HKEY>(INT_PTR{0x1234})));
    ASSERT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, target));
    EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(std::exchange(target.handle, nullptr)));
    EXPECT_EQ(ERROR_SUCCESS, Create(inside, HKEY_LOCAL_MACHINE, OLESTR("inside\\deep")));
    EXPECT_EQ(ERROR_SUCCESS, Set(HKEY_LOCAL_MACHINE, OLESTR("v"), REG_SZ, "ab"));
    EXPECT_EQ(ERROR_SUCCESS, OpenStatus(m_key, OLESTR("target\\inside\\deep")));
    EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, OpenStatus(HKEY_LOCAL_MACHINE, OLESTR("inside\\deep")));
    EXPECT_EQ("(none)", Get(HKEY_LOCAL_MACHINE, OLESTR("v")));
}

} // namespace
