// One open registry key. Every registry call of the agent is made here.
#pragma once

#include "CodePage.h"

namespace scankelv
{

/// Owns one key handle. Every failure is reported to the "ODS" logger by the member that sees it, which then returns
/// false; nothing throws. CharType: char or wchar_t, the width of key and value names.
class RegistryKey
{
public:
    RegistryKey() = default;
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey() { Close(); }

    bool IsValid() const { return m_hKey != nullptr; }

    template <class CharType>
    bool Open(HKEY parent, const CharType* path, REGSAM access);
    /// Opens the key, or creates it. Class, attributes and disposition may be null.
    template <class CharType>
    bool Create(
        HKEY parent, const CharType* path, const CharType* className, DWORD options, REGSAM access,
        LPSECURITY_ATTRIBUTES attributes, DWORD* disposition);
    /// @return true when the key was closed or none was open; false, the handle kept, when the system refuses
    bool Close();

    /// @param bytes  in: size of `data`; out: bytes read, or bytes needed when `data` was too small
    template <class CharType>
    bool QueryValue(const CharType* name, DWORD* type, void* data, DWORD* bytes);
    /// Reads a REG_SZ value; any other type, REG_EXPAND_SZ included, is a failure.
    /// @param value   the text as stored: terminated only if a terminator was stored
    /// @param length  in: characters that fit; out: characters read, a stored terminator counted; 0 on failure
    bool QueryStringValue(const wchar_t* name, wchar_t* value, DWORD* length);
    /// Reads a REG_DWORD value; any other type is a failure. `value` is unchanged on failure.
    template <class CharType>
    bool QueryDWORDValue(const CharType* name, DWORD* value);

    /// @param bytes  size of `value`; of a text its terminator included
    template <class CharType>
    bool SetValue(const CharType* name, DWORD type, const void* value, DWORD bytes);
    /// Writes a REG_SZ value, terminator included. A null text is a failure.
    template <class CharType>
    bool SetStringValueNoExpand(const CharType* name, const CharType* value);
    template <class CharType>
    bool SetDWORDValue(const CharType* name, const DWORD& value);

    bool DeleteValue(const char* name);

private:
    HKEY m_hKey = nullptr;
};

} // namespace scankelv
