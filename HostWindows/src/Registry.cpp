// The registry functions: handles and their rights, paths, the 8-bit forms. What they store lies in RegistryStore.
#include "Handles.h"
#include "Paths.h"
#include "RegistryStore.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

namespace hostwindows
{
namespace
{

constexpr std::size_t longestKeyName = 255;
constexpr std::size_t longestValueName = 16383;

REGSAM SpecificRights(REGSAM access)
{
    constexpr struct
    {
        REGSAM generic;
        REGSAM rights;
    } rows[] = {
        {GENERIC_READ, KEY_READ},      {GENERIC_EXECUTE, KEY_READ},       {GENERIC_WRITE, KEY_WRITE},
        {GENERIC_ALL, KEY_ALL_ACCESS}, {MAXIMUM_ALLOWED, KEY_ALL_ACCESS},
    };
    for (const auto& [generic, rights] : rows)
        if ((access & generic) != 0)
            access |= rights;
    return access;
}

struct RegistryKeyHandle : HandleObject
{
    RegistryKeyHandle(KeyId keyId, REGSAM rights) : key(keyId), access(rights) {}

    KeyId key;
    REGSAM access;
    // An enumeration walks the list as it was when its first item was asked for.
    std::vector<std::int64_t> listedKeys;
    std::vector<std::int64_t> listedValues;
};

struct PredefinedKey
{
    HKEY handle;
    KeyId key;
    RegistryKeyHandle present; ///< what the handle means: the hive, or the key that overrides it
};

PredefinedKey* FindPredefined(HKEY handle)
{
    static PredefinedKey predefined[] = {
        {HKEY_CURRENT_USER, currentUser, {currentUser, KEY_ALL_ACCESS}},
        {HKEY_LOCAL_MACHINE, localMachine, {localMachine, KEY_ALL_ACCESS}},
    };
    auto* found = std::ranges::find(predefined, handle, &PredefinedKey::handle);
    return found == std::end(predefined) ? nullptr : found;
}

/// Null for everything that is no open key.
RegistryKeyHandle* Resolve(HKEY handle)
{
    if (PredefinedKey* predefined = FindPredefined(handle); predefined != nullptr)
        return &predefined->present;
    return ObjectOf<RegistryKeyHandle>(handle);
}

/// Resolves a handle that has to carry the rights.
LSTATUS Resolve(HKEY handle, REGSAM rights, RegistryKeyHandle*& key)
{
    key = Resolve(handle);
    if (key == nullptr)
        return ERROR_INVALID_HANDLE;
    return (key->access & rights) == rights ? ERROR_SUCCESS : LSTATUS{ERROR_ACCESS_DENIED};
}

LSTATUS GiveHandle(KeyId key, REGSAM access, PHKEY handle)
{
    *handle = static_cast<HKEY>(MakeHandle(std::make_unique<RegistryKeyHandle>(key, SpecificRights(access))));
    return *handle == nullptr ? LSTATUS{ERROR_OUTOFMEMORY} : ERROR_SUCCESS;
}

/// The names in a path; doubled and trailing backslashes count as one. @return 0, 161 or 87
LSTATUS SplitPath(std::u16string_view text, RegistryStore::Path& path)
{
    if (text.starts_with(u'\\'))
        return ERROR_BAD_PATHNAME;
    while (!text.empty())
    {
        const std::size_t end = std::min(text.find(u'\\'), text.size());
        if (end > longestKeyName)
            return ERROR_INVALID_PARAMETER;
        if (end > 0)
            path.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return ERROR_SUCCESS;
}

/// A text as the wide functions take it; null stays null.
class WideArgument
{
public:
    explicit WideArgument(LPCSTR text)
    {
        if (text != nullptr)
            m_text = Utf16FromUtf8(text);
    }

    LPCWSTR Get() const { return m_text.has_value() ? m_text->c_str() : nullptr; }

private:
    std::optional<std::u16string> m_text;
};

std::u16string_view TextOrEmpty(LPCWSTR text)
{
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

bool IsText(DWORD type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// UTF-16 bytes; a last single byte is no character.
std::u16string Utf16OfBytes(std::string_view bytes)
{
    std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    return text;
}

/// Hands data out by the rules of all reading functions: only whole, and a text that lacks its terminator gets one
/// where there is room, which the size does not tell.
template <class Unit>
LSTATUS HandOut(DWORD type, std::string_view stored, LPBYTE data, LPDWORD size)
{
    if (size == nullptr)
        return ERROR_SUCCESS;
    const DWORD room = *size;
    *size = static_cast<DWORD>(stored.size());
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (room < stored.size())
        return ERROR_MORE_DATA;
    std::copy(stored.begin(), stored.end(), data);
    if (!IsText(type) || stored.empty() || room - stored.size() < sizeof(Unit))
        return ERROR_SUCCESS;
    Unit last = 1;
    if (const std::size_t whole = stored.size() / sizeof(Unit); whole > 0)
        std::memcpy(&last, stored.data() + (whole - 1) * sizeof(Unit), sizeof(Unit));
    if (last != 0)
        std::memset(data + stored.size(), 0, sizeof(Unit));
    return ERROR_SUCCESS;
}

/// The body of every function: one at a time in this process, the last error kept, nothing thrown to the caller.
template <class Body>
LSTATUS Registry(const Body& body)
{
    const DWORD kept = ::GetLastError();
    LSTATUS status = ERROR_OUTOFMEMORY;
    try
    {
        const std::lock_guard lock(RegistryStore::Mutex());
        status = body(RegistryStore::OfThisProcess());
    }
    catch (const std::bad_alloc&)
    {
    }
    ::SetLastError(kept);
    return status;
}

LSTATUS OpenKey(HKEY parent, LPCWSTR text, REGSAM access, PHKEY handle)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (handle == nullptr)
            return ERROR_INVALID_PARAMETER;
        *handle = nullptr;
        const RegistryKeyHandle* start = Resolve(parent);
        if (start == nullptr)
            return ERROR_INVALID_HANDLE;
        RegistryStore::Path path;
        KeyId found = 0;
        LSTATUS status = SplitPath(TextOrEmpty(text), path);
        if (status == ERROR_SUCCESS)
            status = store.FindKey(start->key, path, found);
        return status != ERROR_SUCCESS ? status : GiveHandle(found, access, handle);
    });
}

LSTATUS
CreateKey(HKEY parent, LPCWSTR text, DWORD reserved, DWORD options, REGSAM access, PHKEY handle, LPDWORD disposition)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        const RegistryKeyHandle* start = Resolve(parent);
        if (start == nullptr && parent == nullptr)
            return ERROR_INVALID_HANDLE;
        if (handle == nullptr || reserved != 0)
            return ERROR_INVALID_PARAMETER;
        *handle = nullptr;
        if (start == nullptr)
            return ERROR_INVALID_HANDLE;
        RegistryStore::Path path;
        KeyId found = 0;
        bool made = false;
        LSTATUS status = SplitPath(TextOrEmpty(text), path);
        if (status == ERROR_SUCCESS)
            status = store.CreateKey(start->key, path, (options & REG_OPTION_VOLATILE) != 0, found, made);
        if (status == ERROR_SUCCESS)
            status = GiveHandle(found, access, handle);
        if (status == ERROR_SUCCESS && disposition != nullptr)
            *disposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        return status;
    });
}

template <class Unit>
LSTATUS QueryValue(HKEY handle, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (reserved != nullptr || (data != nullptr && size == nullptr))
            return ERROR_INVALID_PARAMETER;
        RegistryKeyHandle* key = nullptr;
        StoredValue value;
        LSTATUS status = Resolve(handle, KEY_QUERY_VALUE, key);
        if (status == ERROR_SUCCESS)
            status = store.ReadValue(key->key, TextOrEmpty(name), value);
        constexpr bool narrow = sizeof(Unit) == 1;
        if (type != nullptr && status == ERROR_SUCCESS)
            *type = value.type;
        else if (type != nullptr && status == ERROR_FILE_NOT_FOUND && narrow)
            *type = REG_NONE; // the 8-bit form alone touches it
        if (status != ERROR_SUCCESS)
            return status;
        if (narrow && IsText(value.type))
            value.data = Utf8FromUtf16(Utf16OfBytes(value.data));
        return HandOut<Unit>(value.type, value.data, data, size);
    });
}

LSTATUS SetValue(HKEY handle, LPCWSTR name, DWORD type, const BYTE* data, DWORD size, bool narrow)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (TextOrEmpty(name).size() > longestValueName)
            return ERROR_INVALID_PARAMETER;
        RegistryKeyHandle* key = nullptr;
        const LSTATUS status = Resolve(handle, KEY_SET_VALUE, key);
        if (status != ERROR_SUCCESS)
            return status;
        if (data == nullptr && size != 0)
            return ERROR_NOACCESS;
        std::string_view bytes(reinterpret_cast<const char*>(data), size);
        std::u16string wide;
        if (narrow && IsText(type))
        {
            wide = Utf16FromUtf8(bytes);
            bytes = {reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(char16_t)};
        }
        return store.WriteValue(key->key, TextOrEmpty(name), type, bytes);
    });
}

LSTATUS DeleteValue(HKEY handle, LPCWSTR name)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        RegistryKeyHandle* key = nullptr;
        const LSTATUS status = Resolve(handle, KEY_SET_VALUE, key);
        return status != ERROR_SUCCESS ? status : store.DeleteValue(key->key, TextOrEmpty(name));
    });
}

/// The key that a path leads to, for deleting it.
LSTATUS FindForDeleting(RegistryStore& store, HKEY parent, LPCWSTR text, KeyId& found)
{
    const RegistryKeyHandle* start = Resolve(parent);
    if (start == nullptr)
        return ERROR_INVALID_HANDLE;
    RegistryStore::Path path;
    LSTATUS status = SplitPath(TextOrEmpty(text), path);
    if (status == ERROR_SUCCESS)
        status = store.FindKey(start->key, path, found);
    const bool isHive = found == currentUser || found == localMachine;
    return status == ERROR_SUCCESS && isHive ? LSTATUS{ERROR_ACCESS_DENIED} : status;
}

using ListRows = LSTATUS (RegistryStore::*)(KeyId, std::vector<std::int64_t>&);
using ReadRow = LSTATUS (RegistryStore::*)(std::int64_t, StoredValue&);

/// The item of this index in a handle's list, which is made anew for index 0 and before it is called finished.
LSTATUS ReadItem(
    RegistryStore& store, KeyId key, std::vector<std::int64_t>& rows, DWORD index, ListRows list, ReadRow read,
    StoredValue& item)
{
    if (index != 0 && index < rows.size() && (store.*read)(rows[index], item) == ERROR_SUCCESS)
        return ERROR_SUCCESS;
    const LSTATUS status = (store.*list)(key, rows);
    if (status != ERROR_SUCCESS)
        return status;
    if (index >= rows.size())
        return ERROR_NO_MORE_ITEMS;
    return (store.*read)(rows[index], item);
}

/// @return false, and everything untouched, when the name and its terminator do not fit
bool HandOutName(const std::u16string& text, LPWSTR name, LPDWORD length)
{
    if (*length <= text.size())
        return false;
    std::copy_n(text.c_str(), text.size() + 1, name);
    *length = static_cast<DWORD>(text.size());
    return true;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD, REGSAM access, PHKEY key)
{
    return OpenKey(parent, WideArgument(path).Get(), access, key);
}

LSTATUS RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD, REGSAM access, PHKEY key)
{
    return OpenKey(parent, path, access, key);
}

LSTATUS RegCreateKeyExA(
    HKEY parent, LPCSTR path, DWORD reserved, LPSTR, DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES, PHKEY key,
    LPDWORD disposition)
{
    return CreateKey(parent, WideArgument(path).Get(), reserved, options, access, key, disposition);
}

LSTATUS RegCreateKeyExW(
    HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR, DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES, PHKEY key,
    LPDWORD disposition)
{
    return CreateKey(parent, path, reserved, options, access, key, disposition);
}

LSTATUS RegCloseKey(HKEY key)
{
    return Registry([&](RegistryStore&) -> LSTATUS {
        if (FindPredefined(key) != nullptr)
            return ERROR_SUCCESS;
        if (ObjectOf<RegistryKeyHandle>(key) == nullptr)
            return ERROR_INVALID_HANDLE;
        ::CloseHandle(key);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return QueryValue<char>(key, WideArgument(name).Get(), reserved, type, data, size);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return QueryValue<char16_t>(key, name, reserved, type, data, size);
}

LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD size)
{
    return SetValue(key, WideArgument(name).Get(), type, data, size, true);
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size)
{
    return SetValue(key, name, type, data, size, false);
}

LSTATUS RegDeleteValueA(HKEY key, LPCSTR name)
{
    return DeleteValue(key, WideArgument(name).Get());
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name)
{
    return DeleteValue(key, name);
}

LSTATUS RegDeleteKeyW(HKEY parent, LPCWSTR path)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (path == nullptr)
            return ERROR_INVALID_PARAMETER;
        KeyId key = 0;
        const LSTATUS status = FindForDeleting(store, parent, path, key);
        return status != ERROR_SUCCESS ? status : store.DeleteKey(key);
    });
}

LSTATUS RegDeleteTreeW(HKEY parent, LPCWSTR path)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (TextOrEmpty(path).empty())
        {
            RegistryKeyHandle* key = nullptr;
            const LSTATUS status = Resolve(parent, KEY_ENUMERATE_SUB_KEYS, key);
            return status != ERROR_SUCCESS ? status : store.DeleteTree(key->key, false);
        }
        KeyId key = 0;
        const LSTATUS status = FindForDeleting(store, parent, path, key);
        return status != ERROR_SUCCESS ? status : store.DeleteTree(key, true);
    });
}

LSTATUS RegEnumKeyExW(
    HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPWSTR className, LPDWORD classLength,
    PFILETIME)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (name == nullptr || length == nullptr || reserved != nullptr)
            return ERROR_INVALID_PARAMETER;
        RegistryKeyHandle* key = nullptr;
        StoredValue item;
        LSTATUS status = Resolve(handle, KEY_ENUMERATE_SUB_KEYS, key);
        if (status == ERROR_SUCCESS)
            status = ReadItem(
                store, key->key, key->listedKeys, index, &RegistryStore::ListKeys, &RegistryStore::ReadKeyRow, item);
        if (status == ERROR_SUCCESS && !HandOutName(item.name, name, length))
            status = ERROR_MORE_DATA;
        if (status == ERROR_SUCCESS && className != nullptr && classLength != nullptr)
            HandOutName({}, className, classLength); // no class is kept
        return status;
    });
}

LSTATUS RegEnumValueW(
    HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (name == nullptr || length == nullptr || reserved != nullptr || (data != nullptr && size == nullptr))
            return ERROR_INVALID_PARAMETER;
        RegistryKeyHandle* key = nullptr;
        StoredValue item;
        LSTATUS status = Resolve(handle, KEY_QUERY_VALUE, key);
        if (status == ERROR_SUCCESS)
            status = ReadItem(
                store, key->key, key->listedValues, index, &RegistryStore::ListValues, &RegistryStore::ReadValueRow,
                item);
        if (status != ERROR_SUCCESS)
            return status;
        if (type != nullptr)
            *type = item.type;
        if (!HandOutName(item.name, name, length))
        {
            HandOut<char16_t>(item.type, item.data, nullptr, size);
            return ERROR_MORE_DATA;
        }
        return HandOut<char16_t>(item.type, item.data, data, size);
    });
}

LSTATUS RegOverridePredefKey(HKEY predefined, HKEY key)
{
    return Registry([&](RegistryStore&) -> LSTATUS {
        PredefinedKey* hive = FindPredefined(predefined);
        const RegistryKeyHandle* target = key == nullptr ? nullptr : ObjectOf<RegistryKeyHandle>(key);
        if (hive == nullptr || (key != nullptr && target == nullptr))
            return ERROR_INVALID_HANDLE;
        hive->present.key = target == nullptr ? hive->key : target->key;
        hive->present.access = target == nullptr ? KEY_ALL_ACCESS : target->access;
        return ERROR_SUCCESS;
    });
}
