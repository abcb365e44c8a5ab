// The registry functions, as they behave on both systems.
#include "LastError.h"
#include "TestSupport.h"

#include <map>
#include <set>
#include <utility>

namespace
{

using test::Wide;

constexpr DWORD marker = 0xDEADBEEF;
const auto untouched = reinterpret_cast<HKEY>(INT_PTR{0x5678});

std::string Name(LSTATUS status)
{
    return test::ErrorName(static_cast<DWORD>(status));
}

/// The operations on keys and values, each by its name. Keys have names too.
class Registry : public testing::Test
{
protected:
    Registry() { EXPECT_EQ("success new\n", Create("key", HKEY_CURRENT_USER, KEY_ALL_ACCESS, 0, OLESTR("Contract"))); }
    ~Registry() override
    {
        for (const HKEY key : m_open)
            ::RegCloseKey(key);
        ::CloseHandle(m_mapping);
    }

    /// The cases of a file, each of which keeps the last error.
    static void ExpectAnswers(const char* file, const std::function<std::string(const std::string& given)>& answer)
    {
        test::ExpectAnswers(file, [&answer](const std::string& given) {
            ::SetLastError(marker);
            std::string text = answer(given);
            EXPECT_EQ(marker, ::GetLastError());
            return text;
        });
    }

    HKEY Key(const std::string& name)
    {
        const std::map<std::string, HKEY> others = {
            {"HKCU", HKEY_CURRENT_USER},
            {"HKLM", HKEY_LOCAL_MACHINE},
            {"null", nullptr},
            {"wrong", reinterpret_cast<HKEY>(INT_PTR{0x1234})},
            {"mapping", static_cast<HKEY>(m_mapping)}};
        const auto other = others.find(name);
        return other != others.end() ? other->second : m_keys.at(name);
    }
    std::string Create(const std::string& name, HKEY parent, REGSAM access, DWORD options, const WCHAR* path)
    {
        // Of an empty path, the parent itself, Wine tells that it was made: nobody asks.
        const bool asks = path != nullptr && *path != 0;
        HKEY made = untouched;
        DWORD disposition = 99;
        const LSTATUS status =
            ::RegCreateKeyExW(parent, path, 0, nullptr, options, access, nullptr, &made, asks ? &disposition : nullptr);
        EXPECT_EQ(status == 0 && asks, disposition != 99);
        if (status != 0)
            return Name(status) + (made == nullptr ? " null\n" : made == untouched ? " untouched\n" : " a key\n");
        m_open.insert(m_keys[name] = made);
        return !asks ? "success\n" : disposition == REG_CREATED_NEW_KEY ? "success new\n" : "success there\n";
    }
    std::string Open(const std::string& name, HKEY parent, REGSAM access, const WCHAR* path)
    {
        HKEY opened = untouched;
        const LSTATUS status = ::RegOpenKeyExW(parent, path, 0, access, &opened);
        EXPECT_EQ(status == 0, opened != nullptr);
        if (status == 0)
            m_open.insert(m_keys[name] = opened);
        return Name(status) + "\n";
    }
    static LSTATUS Set(HKEY key, const WCHAR* name, DWORD type, std::string_view bytes)
    {
        // Behind the bytes lies no zero, which the call might take for a forgotten terminator.
        const std::string given = std::string(bytes) + "zzz";
        return ::RegSetValueExW(
            key, name, 0, type, reinterpret_cast<const BYTE*>(given.data()), static_cast<DWORD>(bytes.size()));
    }
    /// What a query gives, with or without a buffer, which was filled with "#".
    static std::string Query(HKEY key, const WCHAR* name, bool wide, DWORD room)
    {
        const std::string narrow = name == nullptr ? "" : test::ToUtf8(name);
        const auto query = [&](DWORD* type, BYTE* data, DWORD* size) {
            return wide ? ::RegQueryValueExW(key, name, nullptr, type, data, size)
                        : ::RegQueryValueExA(key, narrow.c_str(), nullptr, type, data, size);
        };
        std::string buffer(16, '#');
        DWORD type = 99, size = room, typeAlone = 99, sizeAlone = room;
        const LSTATUS status = query(&type, reinterpret_cast<BYTE*>(buffer.data()), &size);
        const LSTATUS alone = query(&typeAlone, nullptr, nullptr);
        EXPECT_EQ(alone, query(nullptr, nullptr, &sizeAlone));
        EXPECT_EQ(status == ERROR_MORE_DATA ? 0 : status, alone);
        if (alone == 0)
            EXPECT_EQ(std::pair(type, size), std::pair(typeAlone, sizeAlone));
        else
            EXPECT_TRUE(size == room && (type == 99) == wide && buffer == std::string(16, '#'));
        return Name(status) +
               (alone != 0 ? ""
                           : ", " + std::to_string(size) + " bytes of type " + std::to_string(type) + ", " + buffer);
    }
    std::string Answer(const std::string& given)
    {
        const std::map<std::string, REGSAM> rights = {
            {"all", KEY_ALL_ACCESS},
            {"read", KEY_READ},
            {"write", KEY_WRITE},
            {"none", 0},
            {"volatile", KEY_ALL_ACCESS}};
        std::vector<std::string> parts = test::Parts(given);
        const std::string& word = parts[0];
        const HKEY key = Key(parts[1]);
        const Wide text = parts.size() < 3                          ? Wide()
                          : parts[2].find('*') != std::string::npos ? Wide(std::stoul(parts[2]), 'n')
                                                                    : test::ToWide(parts[2]);
        const WCHAR* const name = text == OLESTR("null") ? nullptr : text.c_str();
        if (word == "create")
            return Create(parts[4], key, rights.at(parts[3]), parts[3] == "volatile" ? REG_OPTION_VOLATILE : 0, name);
        if (word == "open")
            return Open(parts[4], key, rights.at(parts[3]), name);
        if (word == "close")
            return m_open.erase(key), Name(::RegCloseKey(key)) + "\n";
        if (word == "override")
            return Name(::RegOverridePredefKey(key, Key(parts[2]))) + "\n";
        if (word == "delete")
            return Name(::RegDeleteKeyW(key, name)) + "\n";
        if (word == "delete tree")
            return Name(::RegDeleteTreeW(key, name)) + "\n";
        if (word == "set")
            return Name(Set(key, name, REG_BINARY, parts[3])) + "\n";
        if (word == "query")
            return Query(key, name, true, 16) + "\n";
        // "use": all that can be done with a value
        std::string answer = "query " + Query(key, name, true, 1);
        answer += ", set " + Name(Set(key, name, REG_BINARY, "1234"));
        return answer + ", delete " + Name(::RegDeleteValueW(key, name)) + "\n";
    }

    const test::PrivateRegistry m_private;
    std::map<std::string, HKEY> m_keys; ///< closed ones keep their names
    std::set<HKEY> m_open;
    const HANDLE m_mapping = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, nullptr);
};

TEST_F(Registry, KeysAndValues)
{
    ExpectAnswers("contract/data/RegistryKeys.txt", [this](const std::string& given) { return Answer(given); });
}

TEST_F(Registry, QueriesBySizeTypeAndTerminator)
{
    ExpectAnswers("contract/data/RegistryQueries.txt", [this](const std::string& given) {
        const std::vector<std::string> parts = test::Parts(given); // type, stored bytes, form, room
        EXPECT_EQ(0, Set(Key("key"), OLESTR("v"), static_cast<DWORD>(std::stoul(parts[0])), parts[1]));
        return Query(Key("key"), OLESTR("v"), parts[2] == "W", static_cast<DWORD>(std::stoul(parts[3]))) + "\n";
    });
}

TEST_F(Registry, LargeValuesBothWidthsAndBadArguments)
{
    const HKEY key = Key("key");
    const std::string large(std::size_t{1} << 20, 'x');
    for (const std::string& value : {std::string("ab"), large}) // in place of a short value; null is the empty name
        EXPECT_EQ(0, Set(key, value.size() == 2 ? OLESTR("") : nullptr, 0x777, value));
    std::string read(large.size(), '#');
    DWORD size = static_cast<DWORD>(read.size()), type = 99;
    EXPECT_EQ(0, ::RegQueryValueExW(key, OLESTR(""), nullptr, &type, reinterpret_cast<BYTE*>(read.data()), &size));
    EXPECT_TRUE(read == large && type == 0x777);
    // The 8-bit forms store UTF-16 and find what the wide ones wrote.
    const BYTE data[] = "1234";
    EXPECT_EQ(0, ::RegSetValueExA(key, "Text", 0, REG_SZ, data, 5));
    EXPECT_EQ(
        "success, 10 bytes of type 1, " + test::Utf16Bytes(Wide(OLESTR("1234\0"), 5)) + "######",
        Query(key, OLESTR("text"), true, 16));
    EXPECT_EQ(0, ::RegSetValueExA(key, "Bin", 0, REG_BINARY, data, 4));
    EXPECT_EQ(0, ::RegDeleteValueA(key, "TEXT"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, ::RegDeleteValueA(key, "Text"));
    HKEY opened = nullptr;
    EXPECT_EQ(0, ::RegOpenKeyExA(HKEY_CURRENT_USER, "CONTRACT", 0, KEY_READ, &opened));
    EXPECT_EQ("success, 4 bytes of type 3, 1234############", Query(opened, OLESTR("bin"), true, 16));
    EXPECT_EQ(0, ::RegCloseKey(opened));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegQueryValueExW(key, OLESTR("v"), &size, &type, nullptr, &size));
    EXPECT_EQ(
        ERROR_INVALID_PARAMETER,
        ::RegQueryValueExW(key, OLESTR("v"), nullptr, &type, reinterpret_cast<BYTE*>(read.data()), nullptr));
    EXPECT_EQ(ERROR_NOACCESS, ::RegSetValueExW(key, OLESTR("v"), 0, REG_BINARY, nullptr, 4));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, ::RegOpenKeyExW(key, OLESTR("a"), 0, KEY_READ, nullptr));
}

} // namespace
