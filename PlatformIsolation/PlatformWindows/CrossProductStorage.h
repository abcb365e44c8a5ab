// The typed key/value store that the scan driver and the agent share through the registry.
#pragma once

#include "RegistryKey.h"

namespace scankelv
{

enum StorageHive : int
{
    UserHive = 3,
    SystemHive = 4
};
enum StorageAccess : int
{
    AccessRead = 0,
    AccessWrite = 1,
    AccessReadWrite = 2
};

/// One open key whose values are strings and unsigned 32-bit numbers. Every failed check is reported to the "ODS"
/// logger and ends the operation with false. CharType: char or wchar_t.
class CrossProductStorage
{
public:
    CrossProductStorage() = default;
    /// Opens the key at `path`; check IsValid afterwards. Codes outside the enumerations make the open fail.
    CrossProductStorage(int hive, const char* path, int access) { Open(hive, path, access); }
    virtual ~CrossProductStorage() = default;
    CrossProductStorage(const CrossProductStorage&) = delete;
    CrossProductStorage& operator=(const CrossProductStorage&) = delete;

    /// Closes the open key, then opens another. A missing key is created with a write access, never with AccessRead.
    /// @param path  terminated; a null or empty path fails
    template <class CharType>
    bool Open(int hive, const CharType* path, int access);
    bool IsValid() const { return m_parent_key.IsValid(); }

    /// Whether the name is not null.
    template <class CharType>
    bool ParametersOK(const CharType* key_name);

    /// Reads a text. `value` is terminated only if a terminator was stored; its content is unspecified on failure.
    /// @param buffer_size_chars  space in `value` in characters, terminator counted
    bool GetString(const wchar_t* key_name, wchar_t* value, DWORD buffer_size_chars);
    /// Reads a number; `value` is unchanged on failure.
    template <class CharType>
    bool GetULong(const CharType* key_name, DWORD* value);
    template <class CharType>
    bool SetString(const CharType* key_name, const CharType* value);
    template <class CharType>
    bool SetULong(const CharType* key_name, DWORD value);
    bool Delete(const char* key_name);

private:
    RegistryKey m_parent_key;
};

} // namespace scankelv
