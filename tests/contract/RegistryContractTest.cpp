// The registry functions, as they behave on both systems.
#include "TestSupport.h"

#include <tuple>
#include <utility>

namespace
{

using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;

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
        ASSERT_EQ(0, Create(m_key, HKEY_CURRENT_USER, OLESTR("Contract")));
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
        DWORD type;
        std::string_view stored;
        char form; // 'W' or 'A'
        DWORD room;
        LSTATUS status;
        DWORD told;
        std::string_view buffer; // what the call wrote; behind it nothing
    } rows[] = {
        {REG_SZ, "a\0b\0\0\0"sv, 'W', 6, ERROR_SUCCESS, 6, "a\0b\0\0\0"sv},
        {REG_SZ, "a\0b\0\0\0"sv, 'W', 5, ERROR_MORE_DATA, 6, ""},
        {REG_SZ, "a\0b\0\0\0"sv, 'A', 3, ERROR_SUCCESS, 3, "ab\0"sv},
        {REG_SZ, "a\0b\0\0\0"sv, 'A', 2, ERROR_MORE_DATA, 3, ""},
        {REG_SZ, "a\0b\0c\0"sv, 'W', 7, ERROR_SUCCESS, 6, "a\0b\0c\0"sv}, // no terminator stored
        {REG_SZ, "a\0b\0c\0"sv, 'W', 8, ERROR_SUCCESS, 6, "a\0b\0c\0\0\0"sv},
        {REG_SZ, "a\0b\0c\0"sv, 'A', 3, ERROR_SUCCESS, 3, "abc"},
        {REG_SZ, "a\0b\0c\0"sv, 'A', 4, ERROR_SUCCESS, 3, "abc\0"sv},
        {REG_SZ, "\0\0"sv, 'W', 8, ERROR_SUCCESS, 2, "\0\0"sv},
        {REG_SZ, "\0\0"sv, 'A', 8, ERROR_SUCCESS, 1, "\0"sv},
        {REG_SZ, "", 'W', 8, ERROR_SUCCESS, 0, ""},
        {REG_SZ, "", 'A', 8, ERROR_SUCCESS, 0, ""},
        {REG_SZ, "a\0b\0c"sv, 'W', 6, ERROR_SUCCESS, 5, "a\0b\0c"sv}, // an odd length
        {REG_SZ, "a\0b\0c"sv, 'W', 7, ERROR_SUCCESS, 5, "a\0b\0c\0\0"sv},
        {REG_SZ, "a\0b\0c"sv, 'A', 8, ERROR_SUCCESS, 2, "ab\0"sv},
        {REG_SZ, "a\0\0\0b\0\0\0"sv, 'W', 8, ERROR_SUCCESS, 8, "a\0\0\0b\0\0\0"sv},
        {REG_SZ, "a\0\0\0b\0\0\0"sv, 'A', 8, ERROR_SUCCESS, 4, "a\0b\0"sv},
        {REG_EXPAND_SZ, "%\0T\0%\0\0\0"sv, 'W', 8, ERROR_SUCCESS, 8, "%\0T\0%\0\0\0"sv},
        {REG_DWORD, "\1\2"sv, 'W', 4, ERROR_SUCCESS, 2, "\1\2"sv},
        {REG_DWORD, "12345678"sv, 'W', 4, ERROR_MORE_DATA, 8, ""},
        {REG_DWORD, "1234"sv, 'A', 4, ERROR_SUCCESS, 4, "1234"sv},
        {REG_BINARY, "abc"sv, 'W', 0, ERROR_MORE_DATA, 3, ""},
        {0x777, "abc"sv, 'W', 8, ERROR_SUCCESS, 3, "abc"sv},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(&row - rows);
        const auto query = [&](DWORD* type, BYTE* data, DWORD* size) {
            return row.form == 'W' ? ::RegQueryValueExW(m_key, OLESTR("v"), nullptr, type, data, size)
                                   : ::RegQueryValueExA(m_key, "v", nullptr, type, data, size);
        };
        // Behind the stored bytes lies no zero, which the call might take for a forgotten terminator.
        const std::string given = std::string(row.stored) + "zzz";
        ASSERT_EQ(0, Set(m_key, OLESTR("v"), row.type, std::string_view(given).substr(0, row.stored.size())));
        std::string buffer(16, '#'), expected(row.buffer);
        DWORD type = 99, size = row.room;
        EXPECT_EQ(row.status, query(&type, reinterpret_cast<BYTE*>(buffer.data()), &size));
        EXPECT_EQ(row.type, type);
        EXPECT_EQ(row.told, size);
        expected.resize(16, '#');
        EXPECT_EQ(expected, buffer);
        // Without a buffer: the size alone, or the type alone.
        type = size = 99;
        EXPECT_EQ(0, query(nullptr, nullptr, &size));
        EXPECT_EQ(0, query(&type, nullptr, nullptr));
        EXPECT_EQ(row.told, size);
        EXPECT_EQ(row.type, type);
    }
}

TEST_F(Registry, QueriesSetsAndDeletesByTheirHandlesAndNames)
{
    Key readOnly, setOnly, none, deleted;
    ASSERT_EQ(0, Create(readOnly, m_key, nullptr, KEY_READ));
    ASSERT_EQ(0, Create(setOnly, m_key, nullptr, KEY_WRITE));
    ASSERT_EQ(0, Create(none, m_key, OLESTR(""), 0));
    ASSERT_EQ(0, Create(deleted, m_key, OLESTR("deleted")));
    ASSERT_EQ(0, ::RegDeleteKeyW(m_key, OLESTR("deleted")));
    ASSERT_EQ(0, Set(m_key, OLESTR("v"), REG_SZ, "abcd"));
    const Wide longest(16383, 'n'), tooLong(16384, 'n');
    const auto wrong = reinterpret_cast<HKEY>(INT_PTR{0x1234});
    constexpr LSTATUS missing = ERROR_FILE_NOT_FOUND, denied = ERROR_ACCESS_DENIED, bad = ERROR_INVALID_HANDLE;
    const std::tuple<HKEY, const WCHAR*, LSTATUS, LSTATUS, LSTATUS> rows[] = {
        // key, value name, results of a query, a set, a deletion
        {m_key, OLESTR("zz"), missing, 0, 0},
        {m_key, nullptr, missing, 0, 0},
        {m_key, OLESTR("a\\b"), missing, 0, 0},
        {m_key, longest.c_str(), missing, 0, 0},
        {m_key, tooLong.c_str(), missing, ERROR_INVALID_PARAMETER, missing},
        {readOnly, OLESTR("zz"), missing, denied, denied},
        {setOnly, OLESTR("v"), denied, 0, 0},
        {none, OLESTR("zz"), denied, denied, denied},
        {nullptr, OLESTR("v"), bad, bad, bad},
        {wrong, OLESTR("v"), bad, bad, bad},
        {deleted, OLESTR("v"), ERROR_KEY_DELETED, ERROR_KEY_DELETED, ERROR_KEY_DELETED},
    };
    const BYTE data[] = "1234";
    for (const auto& [key, name, query, set, erase] : rows)
    {
        SCOPED_TRACE(&query - &std::get<2>(rows[0]));
        BYTE byte = '#';
        DWORD size = 1, type = 99;
        EXPECT_EQ(query, ::RegQueryValueExW(key, name, nullptr, &type, &byte, &size));
        EXPECT_TRUE(size == 1 && byte == '#' && type == 99);
        EXPECT_EQ(set, ::RegSetValueExW(key, name, 0, REG_BINARY, data, 4));
        EXPECT_EQ(erase, ::RegDeleteValueW(key, name));
    }
    EXPECT_EQ(0, ::RegCloseKey(std::exchange(deleted.handle, nullptr)));
    DWORD size = 1, type = 99;
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegQueryValueExW(m_key, OLESTR("v"), &size, &type, nullptr, &size));
    BYTE byte = 0;
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegQueryValueExW(m_key, OLESTR("v"), nullptr, &type, &byte, nullptr));
    EXPECT_EQ(ERROR_NOACCESS, ::RegSetValueExW(m_key, OLESTR("v"), 0, REG_BINARY, nullptr, 4));
    EXPECT_EQ(missing, ::RegQueryValueExA(m_key, "zz", nullptr, &type, nullptr, nullptr));
    EXPECT_EQ(DWORD{REG_NONE}, type);

    // 1 MiB as it is, also in place of a short value; an empty and a null name are the same value.
    std::string large(std::size_t{1} << 20, 'x');
    for (std::size_t i = 0; i < large.size(); i += 3)
        large[i] = static_cast<char>(i / 7);
    EXPECT_EQ(0, Set(m_key, OLESTR(""), REG_SZ, "ab"));
    EXPECT_EQ(0, Set(m_key, nullptr, 0x777, large));
    EXPECT_TRUE(Get(m_key, OLESTR("")) == large);
    // The 8-bit forms store UTF-16 and find what the wide ones wrote.
    EXPECT_EQ(0, ::RegSetValueExA(m_key, "Text", 0, REG_SZ, data, 5));
    EXPECT_EQ(test::Utf16Bytes(Wide(OLESTR("1234\0"), 5)), Get(m_key, OLESTR("text")));
    EXPECT_EQ(0, ::RegSetValueExA(m_key, "Bin", 0, REG_BINARY, data, 4));
    EXPECT_EQ("1234", Get(m_key, OLESTR("bin")));
    EXPECT_EQ(0, ::RegDeleteValueA(m_key, "TEXT"));
    EXPECT_EQ(missing, ::RegDeleteValueA(m_key, "Text"));
}

TEST_F(Registry, NamesIgnoreLetterCase)
{
    const std::tuple<const WCHAR*, const WCHAR*, bool> rows[] = {
        {OLESTR("DeviceName"), OLESTR("deviceNAME"), true}, {OLESTR("\u00C4"), OLESTR("\u00E4"), true},
        {OLESTR("\u0416"), OLESTR("\u0436"), true},         {OLESTR("\u00FF"), OLESTR("\u0178"), true},
        {OLESTR("\u1F80"), OLESTR("\u1F88"), true},         {OLESTR("\u00DF"), OLESTR("SS"), false},
        {OLESTR("\u03C2"), OLESTR("\u03A3"), false},        {OLESTR("\u0131"), OLESTR("I"), false},
        {OLESTR("blank"), OLESTR("blank "), false},         {OLESTR("a/b"), OLESTR("a\\b"), false},
    };
    for (const auto& [stored, asked, same] : rows)
    {
        SCOPED_TRACE(test::ToUtf8(stored));
        ASSERT_EQ(0, Set(m_key, stored, REG_BINARY, "1"));
        EXPECT_EQ(same ? "1" : "(none)", Get(m_key, asked));
        Key key;
        ASSERT_EQ(0, Create(key, m_key, stored));
        EXPECT_EQ(same ? 0 : LSTATUS{ERROR_FILE_NOT_FOUND}, OpenStatus(m_key, asked));
    }
}

TEST_F(Registry, PathsAndParents)
{
    const HANDLE mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, nullptr);
    Key closed;
    ASSERT_EQ(0, Create(closed, m_key, nullptr));
    const HKEY stale = std::exchange(closed.handle, nullptr);
    EXPECT_EQ(0, ::RegCloseKey(stale));
    const auto wrong = reinterpret_cast<HKEY>(INT_PTR{0x1234});
    for (const HKEY key : {stale, wrong, HKEY{}})
        EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegCloseKey(key));
    const Wide longest(255, 'k'), tooLong(257, 'k');
    const std::tuple<HKEY, const WCHAR*, LSTATUS, const WCHAR*> rows[] = {
        // parent, path, result of a creation, what the path has become
        {m_key, OLESTR("a\\b\\c"), 0, OLESTR("A\\B\\C")},
        {m_key, OLESTR("t\\\\"), 0, OLESTR("t")},
        {m_key, OLESTR("d\\\\\\e"), 0, OLESTR("d\\e")},
        {m_key, OLESTR("s/t"), 0, OLESTR("s/t")},
        {m_key, longest.c_str(), 0, longest.c_str()},
        {m_key, tooLong.c_str(), ERROR_INVALID_PARAMETER, nullptr},
        {m_key, OLESTR("\\a"), ERROR_BAD_PATHNAME, nullptr},
        {m_key, OLESTR("\\"), ERROR_BAD_PATHNAME, nullptr},
        {wrong, OLESTR("a"), ERROR_INVALID_HANDLE, nullptr},
        {stale, OLESTR("a"), ERROR_INVALID_HANDLE, nullptr},
        {static_cast<HKEY>(mapping), OLESTR("a"), ERROR_INVALID_HANDLE, nullptr},
    };
    ::SetLastError(marker);
    for (const auto& [parent, path, create, made] : rows)
    {
        SCOPED_TRACE(&create - &std::get<2>(rows[0]));
        HKEY key = m_key;
        const LSTATUS open = create == 0 ? LSTATUS{ERROR_FILE_NOT_FOUND} : create;
        EXPECT_EQ(open, ::RegOpenKeyExW(parent, path, 0, KEY_READ, &key));
        EXPECT_EQ(nullptr, key);
        for (const DWORD expected : {DWORD{REG_CREATED_NEW_KEY}, DWORD{REG_OPENED_EXISTING_KEY}})
        {
            DWORD disposition = 99;
            key = m_key;
            EXPECT_EQ(create, ::RegCreateKeyExW(parent, path, 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition));
            EXPECT_EQ(create == 0 ? expected : 99, disposition);
            EXPECT_EQ(create == 0, key != nullptr);
            const Key owner{key};
        }
        EXPECT_TRUE(made == nullptr || OpenStatus(m_key, made) == 0);
    }
    HKEY key = m_key;
    EXPECT_EQ(ERROR_INVALID_HANDLE, ::RegOpenKeyExW(nullptr, OLESTR("a"), 0, KEY_READ, &key));
    EXPECT_EQ(nullptr, key);
    key = m_key;
    EXPECT_EQ(
        ERROR_INVALID_HANDLE, ::RegCreateKeyExW(nullptr, OLESTR("a"), 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr));
    EXPECT_EQ(m_key.handle, key);
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegOpenKeyExW(m_key, OLESTR("a"), 0, KEY_READ, nullptr));
    ::CloseHandle(mapping);
    ::SetLastError(marker);
}

TEST_F(Registry, HandlesAndRights)
{
    // A key is made whatever the rights asked for, and what lies below a handle does not depend on its rights.
    Key none, below, again;
    EXPECT_EQ(0, Create(none, m_key, OLESTR("none"), 0));
    EXPECT_EQ(0, Create(below, none, OLESTR("below")));
    EXPECT_EQ(0, Set(below, OLESTR("v"), REG_SZ, "ab"));
    // An empty path gives the parent as a handle of its own.
    EXPECT_EQ(0, ::RegOpenKeyExA(below, nullptr, 0, KEY_READ, &again.handle));
    EXPECT_NE(below.handle, again.handle);
    EXPECT_EQ(0, ::RegCloseKey(std::exchange(again.handle, nullptr)));
    EXPECT_EQ(0, ::RegOpenKeyExA(m_key, "NONE\\Below", 0, GENERIC_READ, &again.handle));
    EXPECT_EQ("ab", Get(again, OLESTR("v")));
    EXPECT_EQ(0, ::RegCloseKey(HKEY_CURRENT_USER));
    EXPECT_EQ(0, OpenStatus(HKEY_CURRENT_USER, OLESTR("Contract")));

    Key passing, stable;
    EXPECT_EQ(0, Create(passing, m_key, OLESTR("volatile"), KEY_ALL_ACCESS, REG_OPTION_VOLATILE));
    EXPECT_EQ(ERROR_CHILD_MUST_BE_VOLATILE, Create(stable, passing, OLESTR("stable")));
    EXPECT_EQ(nullptr, stable.handle);

    // HKEY_LOCAL_MACHINE lives elsewhere for a while, though the handle of that place is closed.
    Key target, inside;
    ASSERT_EQ(0, Create(target, m_key, OLESTR("target")));
    ASSERT_EQ(0, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, target));
    EXPECT_EQ(0, ::RegCloseKey(std::exchange(target.handle, nullptr)));
    EXPECT_EQ(0, Create(inside, HKEY_LOCAL_MACHINE, OLESTR("inside\\deep")));
    EXPECT_EQ(0, OpenStatus(m_key, OLESTR("target\\inside\\deep")));
    EXPECT_EQ(0, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, OpenStatus(HKEY_LOCAL_MACHINE, OLESTR("inside\\deep")));
}

TEST_F(Registry, DeletesKeys)
{
    Key key, deep, fresh;
    ASSERT_EQ(0, Create(key, m_key, OLESTR("tree")));
    ASSERT_EQ(0, Create(deep, key, OLESTR("a\\b\\c")));
    ASSERT_EQ(0, Set(key, OLESTR("v"), REG_SZ, "ab"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, ::RegDeleteKeyW(m_key, OLESTR("tree")));
    // Without a path: all below the key, and its values.
    EXPECT_EQ(0, ::RegDeleteTreeW(key, nullptr));
    EXPECT_EQ("(none)", Get(key, OLESTR("v")));
    EXPECT_EQ(ERROR_KEY_DELETED, Set(deep, OLESTR("v"), REG_SZ, "ab"));
    EXPECT_EQ(0, ::RegCloseKey(std::exchange(deep.handle, nullptr)));
    ASSERT_EQ(0, Create(deep, key, OLESTR("a\\b")));
    EXPECT_EQ(0, ::RegDeleteTreeW(m_key, OLESTR("TREE")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteTreeW(m_key, OLESTR("tree")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteKeyW(m_key, OLESTR("tree")));
    // A new key of the name is another key: the old handles stay those of a deleted one.
    ASSERT_EQ(0, Create(fresh, m_key, OLESTR("tree")));
    for (const WCHAR* path : {OLESTR("a"), OLESTR("")})
        EXPECT_EQ(ERROR_KEY_DELETED, OpenStatus(key, path));
}

TEST_F(Registry, Enumerates)
{
    // Sub-keys come in the order of their names, values at least in the order of their making.
    const WCHAR* const names[] = {OLESTR("(x"), OLESTR("Alpha"), OLESTR("beta"), OLESTR("zeta")};
    for (int i = 0; i < 4; ++i)
    {
        Key key;
        ASSERT_EQ(0, Create(key, m_key, names[3 - i]));
        ASSERT_EQ(0, Set(m_key, names[i], REG_SZ, "12345678"));
    }
    constexpr LSTATUS more = ERROR_MORE_DATA, end = ERROR_NO_MORE_ITEMS;
    const std::tuple<DWORD, DWORD, DWORD, LSTATUS, LSTATUS, const char*> rows[] = {
        {2, 5, 8, 0, 0, "beta"},    {0, 3, 8, 0, 0, "(x"},       {2, 4, 8, more, more, "****"},
        {2, 5, 7, 0, more, "beta"}, {9, 5, 8, end, end, "****"},
    };
    for (const auto& [index, room, dataRoom, keyStatus, valueStatus, expected] : rows)
    {
        SCOPED_TRACE(index * 100 + room * 10 + dataRoom);
        WCHAR name[8] = OLESTR("****"), valueName[8] = OLESTR("****");
        DWORD length = room, valueLength = room, size = dataRoom, type = 99;
        BYTE data[8];
        EXPECT_EQ(keyStatus, ::RegEnumKeyExW(m_key, index, name, &length, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(valueStatus, ::RegEnumValueW(m_key, index, valueName, &valueLength, nullptr, &type, data, &size));
        EXPECT_EQ(expected, test::ToUtf8(name));
        EXPECT_EQ(expected, test::ToUtf8(valueName));
        EXPECT_EQ(keyStatus == end ? room : Wide(names[index]).size(), length);
        EXPECT_EQ(length, valueLength);
        EXPECT_EQ(8U, size);
        EXPECT_EQ(valueStatus == end ? 99 : DWORD{REG_SZ}, type);
    }
}

} // namespace
