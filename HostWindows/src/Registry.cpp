// The registry functions: handles and their rights, the 8-bit forms. What they store lies in RegistryStore.
#include "Handles.h"
#include "Paths.h"
#include "RegistryStore.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace hostwindows
{
namespace
{

struct KeyHandle : HandleObject
{
    explicit KeyHandle(KeyId id, REGSAM rights = KEY_ALL_ACCESS) : key(id), access(rights) {}

    KeyId key;
    REGSAM access;
};

/// What a predefined handle means: the hive, or the key that overrides it. Null for any other handle.
KeyHandle* HiveOf(HKEY handle)
{
    static KeyHandle user(currentUser);
    static KeyHandle machine(localMachine);
    return handle == HKEY_CURRENT_USER ? &user : handle == HKEY_LOCAL_MACHINE ? &machine : nullptr;
}

/// The open key behind a handle, which has to carry the rights.
KeyId KeyOf(HKEY handle, REGSAM rights = 0)
{
    const KeyHandle* key = HiveOf(handle);
    if (key == nullptr)
        key = ObjectOf<KeyHandle>(handle);
    if (key == nullptr)
        throw RegistryFailure{ERROR_INVALID_HANDLE};
    if ((key->access & rights) != rights)
        throw RegistryFailure{ERROR_ACCESS_DENIED};
    return key->key;
}

HKEY MakeKeyHandle(KeyId key, REGSAM access)
{
    const HANDLE handle = MakeHandle(std::make_unique<KeyHandle>(key, access));
    return handle != nullptr ? static_cast<HKEY>(handle) : throw std::bad_alloc();
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

/// The data of a value by the rules of all reading functions: only whole, and a text that lacks its terminator gets one
/// where there is room, which the size does not tell.
template <class Unit>
LSTATUS HandOut(const StoredValue& value, LPDWORD type, LPBYTE data, LPDWORD size)
{
    const std::string_view stored = value.data;
    if (type != nullptr)
        *type = value.type;
    if (size == nullptr)
        return ERROR_SUCCESS;
    const DWORD room = *size;
    *size = static_cast<DWORD>(stored.size());
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (room < stored.size())
        return ERROR_MORE_DATA;
    std::ranges::copy(stored, data);
    const std::string_view terminator("\0", sizeof(Unit));
    const std::string_view last = stored.substr(0, stored.size() / sizeof(Unit) * sizeof(Unit));
    if (IsText(value.type) && !stored.empty() && room - stored.size() >= sizeof(Unit) && !last.ends_with(terminator))
        std::ranges::copy(terminator, data + stored.size());
    return ERROR_SUCCESS;
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
    catch (const RegistryFailure& failure)
    {
        status = failure.status;
    }
    catch (const std::bad_alloc&)
    {
    }
    ::SetLastError(kept);
    return status;
}

template <class Unit>
LSTATUS QueryValue(HKEY handle, std::u16string_view name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (reserved != nullptr || (data != nullptr && size == nullptr))
            return ERROR_INVALID_PARAMETER;
        constexpr bool narrow = sizeof(Unit) == 1;
        std::optional<StoredValue> value = store.ReadValue(KeyOf(handle, KEY_QUERY_VALUE), name);
        if (!value && narrow && type != nullptr)
            *type = REG_NONE; // the 8-bit form alone touches it
        if (!value)
            return ERROR_FILE_NOT_FOUND;
        if (narrow && IsText(value->type))
            value->data = Utf8FromUtf16(Utf16OfBytes(value->data));
        return HandOut<Unit>(*value, type, data, size);
    });
}

/// The key that a path leads to, for deleting it.
KeyId FindBelow(RegistryStore& store, HKEY parent, LPCWSTR path)
{
    if (ViewOf(path).empty())
        throw RegistryFailure{ERROR_INVALID_PARAMETER};
    const std::optional<KeyId> found = store.FindKey(KeyOf(parent), path);
    return found ? *found : throw RegistryFailure{ERROR_FILE_NOT_FOUND};
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, PHKEY key)
{
    return ::RegOpenKeyExW(parent, WideOf(path).c_str(), options, access, key);
}

LSTATUS RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD, REGSAM access, PHKEY key)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (key == nullptr)
            return ERROR_INVALID_PARAMETER;
        *key = nullptr;
        const std::optional<KeyId> found = store.FindKey(KeyOf(parent), ViewOf(path));
        if (!found)
            return ERROR_FILE_NOT_FOUND;
        *key = MakeKeyHandle(*found, access);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegCreateKeyExA(
    HKEY parent, LPCSTR path, DWORD reserved, LPSTR, DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES attributes,
    PHKEY key, LPDWORD disposition)
{
    return ::RegCreateKeyExW(
        parent, WideOf(path).c_str(), reserved, nullptr, options, access, attributes, key, disposition);
}

LSTATUS RegCreateKeyExW(
    HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR, DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES, PHKEY key,
    LPDWORD disposition)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        if (parent == nullptr)
            return ERROR_INVALID_HANDLE;
        if (key == nullptr || reserved != 0)
            return ERROR_INVALID_PARAMETER;
        *key = nullptr;
        bool made = false;
        const bool isVolatile = (options & REG_OPTION_VOLATILE) != 0;
        *key = MakeKeyHandle(store.CreateKey(KeyOf(parent), ViewOf(path), isVolatile, made), access);
        if (disposition != nullptr)
            *disposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        return ERROR_SUCCESS;
    });
}

LSTATUS RegCloseKey(HKEY key)
{
    return Registry([&](RegistryStore&) -> LSTATUS {
        KeyOf(key);
        if (HiveOf(key) == nullptr)
            ::CloseHandle(key);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return QueryValue<char>(key, WideOf(name), reserved, type, data, size);
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return QueryValue<char16_t>(key, ViewOf(name), reserved, type, data, size);
}

LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)
{
    std::u16string wide;
    if (data != nullptr && IsText(type))
    {
        wide = Utf16FromUtf8({reinterpret_cast<const char*>(data), size});
        data = reinterpret_cast<const BYTE*>(wide.data());
        size = static_cast<DWORD>(wide.size() * sizeof(char16_t));
    }
    return ::RegSetValueExW(key, WideOf(name).c_str(), reserved, type, data, size);
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        const KeyId id = KeyOf(key, KEY_SET_VALUE);
        if (data == nullptr && size != 0)
            return ERROR_NOACCESS;
        store.WriteValue(id, ViewOf(name), type, {reinterpret_cast<const char*>(data), size});
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteValueA(HKEY key, LPCSTR name)
{
    return ::RegDeleteValueW(key, WideOf(name).c_str());
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        const bool deleted = store.DeleteValue(KeyOf(key, KEY_SET_VALUE), ViewOf(name));
        return deleted ? ERROR_SUCCESS : LSTATUS{ERROR_FILE_NOT_FOUND};
    });
}

LSTATUS RegDeleteKeyW(HKEY parent, LPCWSTR path)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        RegistryStore::Transaction transaction(store);
        const KeyId key = FindBelow(store, parent, path);
        if (!store.KeysOf(key).empty())
            return ERROR_ACCESS_DENIED;
        store.DeleteKey(key);
        transaction.Commit();
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteTreeW(HKEY parent, LPCWSTR path)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        store.DeleteKey(FindBelow(store, parent, path));
        return ERROR_SUCCESS;
    });
}

LSTATUS RegEnumKeyExW(HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD, PFILETIME)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        const std::vector<StoredKey> keys = store.KeysOf(KeyOf(handle, KEY_ENUMERATE_SUB_KEYS));
        if (index >= keys.size())
            return ERROR_NO_MORE_ITEMS;
        return HandOutName(keys[index].name, name, length) ? ERROR_SUCCESS : LSTATUS{ERROR_MORE_DATA};
    });
}

LSTATUS
RegEnumValueW(HKEY handle, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size)
{
    return Registry([&](RegistryStore& store) -> LSTATUS {
        const std::vector<StoredValue> values = store.ValuesOf(KeyOf(handle, KEY_QUERY_VALUE));
        if (index >= values.size())
            return ERROR_NO_MORE_ITEMS;
        const bool fits = HandOutName(values[index].name, name, length);
        const LSTATUS status = HandOut<char16_t>(values[index], type, fits ? data : nullptr, size);
        return fits ? status : LSTATUS{ERROR_MORE_DATA};
    });
}

LSTATUS RegOverridePredefKey(HKEY predefined, HKEY key)
{
    return Registry([&](RegistryStore&) -> LSTATUS {
        KeyHandle* hive = HiveOf(predefined);
        const KeyId itself = predefined == HKEY_CURRENT_USER ? currentUser : localMachine;
        if (hive == nullptr)
            return ERROR_INVALID_HANDLE;
        hive->key = key == nullptr ? itself : KeyOf(key);
        return ERROR_SUCCESS;
    });
}
