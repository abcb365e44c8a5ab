#include "RegistryKey.h"

#include "CheckedExpression.h"

namespace scankelv
{
namespace
{

bool StatusOK(LSTATUS status, const char* expression, int level, PlaceHere place = {})
{
    return Checked(DebugConsoleLogger, CheckErrorCode, static_cast<DWORD>(status), expression, level, place);
}

} // namespace

template <class CharType>
bool RegistryKey::Open(HKEY parent, const CharType* path, REGSAM access)
{
    const LSTATUS keyOpenResult = Form<CharType>(::RegOpenKeyExA, ::RegOpenKeyExW)(parent, path, 0, access, &m_hKey);
    if (StatusOK(keyOpenResult, "keyOpenResult", 0))
        return true;
    m_hKey = nullptr;
    return false;
}

template <class CharType>
bool RegistryKey::Create(
    HKEY parent, const CharType* path, const CharType* className, DWORD options, REGSAM access,
    LPSECURITY_ATTRIBUTES attributes, DWORD* disposition)
{
    DWORD createdOrOpened = 0;
    auto* const name = const_cast<CharType*>(className); // the functions do not modify it
    const LSTATUS createKeyResult = Form<CharType>(::RegCreateKeyExA, ::RegCreateKeyExW)(
        parent, path, 0, name, options, access, attributes, &m_hKey, &createdOrOpened);
    if (!StatusOK(createKeyResult, "createKeyResult", 1))
    {
        Close();
        m_hKey = nullptr;
        return false;
    }
    if (disposition != nullptr)
        *disposition = createdOrOpened;
    return true;
}

bool RegistryKey::Close()
{
    if (m_hKey == nullptr)
        return true;
    if (!StatusOK(::RegCloseKey(m_hKey), "::RegCloseKey( m_hKey )", 1))
        return false;
    m_hKey = nullptr;
    return true;
}

template <class CharType>
bool RegistryKey::QueryValue(const CharType* name, DWORD* type, void* data, DWORD* bytes)
{
    return StatusOK(
        Form<CharType>(::RegQueryValueExA, ::RegQueryValueExW)(
            m_hKey, name, nullptr, type, static_cast<LPBYTE>(data), bytes),
        "RegQueryValueExImpl( m_hKey, name, reservedValueOfReservedParameter, type, static_cast< LPBYTE >( data ), "
        "bytes )",
        0);
}

bool RegistryKey::QueryStringValue(const wchar_t* name, wchar_t* value, DWORD* length)
{
    DWORD bytes = *length * static_cast<DWORD>(sizeof(wchar_t));
    DWORD type = REG_NONE;
    *length = 0;
    const bool isString = QueryValue(name, &type, value, &bytes) && type == REG_SZ;
    if (!Checked(
            DebugConsoleLogger, CheckBoolean, isString, "( QueryValue(name, &type, value, &bytes) && (type == ( 1 )) )",
            0))
        return false;
    *length = bytes / static_cast<DWORD>(sizeof(wchar_t));
    return true;
}

template <class CharType>
bool RegistryKey::QueryDWORDValue(const CharType* name, DWORD* value)
{
    // Read into a copy: a value of another type may overwrite part of the number before its type is known.
    DWORD number = *value;
    DWORD bytes = sizeof(number);
    DWORD type = REG_NONE;
    const bool isNumber = QueryValue<CharType>(name, &type, &number, &bytes) && type == REG_DWORD;
    if (!Checked(
            DebugConsoleLogger, CheckBoolean, isNumber,
            "( QueryValue<CharType>(name, &type, value, &bytes) && (type == ( 4 )) )", 0))
        return false;
    *value = number;
    return true;
}

template <class CharType>
bool RegistryKey::SetValue(const CharType* name, DWORD type, const void* value, DWORD bytes)
{
    if (!Checked(DebugConsoleLogger, "invariant", IsValid(), "IsValid()", 0))
        return false;
    return StatusOK(
        Form<CharType>(::RegSetValueExA, ::RegSetValueExW)(
            m_hKey, name, 0, type, static_cast<const BYTE*>(value), bytes),
        "RegSetValueExImpl( m_hKey, name, reservedValueOfReservedParameter, type, static_cast<const BYTE*>(value), "
        "bytes )",
        1);
}

template <class CharType>
bool RegistryKey::SetStringValueNoExpand(const CharType* name, const CharType* value)
{
    if (!Checked(DebugConsoleLogger, "bad argument", value != nullptr, "::PtrIsGoodString(value, 5)", 0))
        return false;
    const std::size_t characters = std::basic_string_view<CharType>(value).size() + 1;
    return SetValue(name, REG_SZ, value, static_cast<DWORD>(characters * sizeof(CharType)));
}

template <class CharType>
bool RegistryKey::SetDWORDValue(const CharType* name, const DWORD& value)
{
    return SetValue(name, REG_DWORD, &value, sizeof(value));
}

bool RegistryKey::DeleteValue(const char* name)
{
    return StatusOK(::RegDeleteValueA(m_hKey, name), "RegDeleteValueImpl(m_hKey, lvalue)", 1);
}

template bool RegistryKey::Open<char>(HKEY, const char*, REGSAM);
template bool RegistryKey::Create<char>(HKEY, const char*, const char*, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, DWORD*);
template bool RegistryKey::QueryValue<char>(const char*, DWORD*, void*, DWORD*);
template bool RegistryKey::QueryDWORDValue<char>(const char*, DWORD*);
template bool RegistryKey::SetValue<char>(const char*, DWORD, const void*, DWORD);
template bool RegistryKey::SetStringValueNoExpand<char>(const char*, const char*);
template bool RegistryKey::SetDWORDValue<char>(const char*, const DWORD&);
template bool RegistryKey::Open<wchar_t>(HKEY, const wchar_t*, REGSAM);
template bool
RegistryKey::Create<wchar_t>(HKEY, const wchar_t*, const wchar_t*, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, DWORD*);
template bool RegistryKey::QueryValue<wchar_t>(const wchar_t*, DWORD*, void*, DWORD*);
template bool RegistryKey::QueryDWORDValue<wchar_t>(const wchar_t*, DWORD*);
template bool RegistryKey::SetValue<wchar_t>(const wchar_t*, DWORD, const void*, DWORD);
template bool RegistryKey::SetStringValueNoExpand<wchar_t>(const wchar_t*, const wchar_t*);
template bool RegistryKey::SetDWORDValue<wchar_t>(const wchar_t*, const DWORD&);

} // namespace scankelv
