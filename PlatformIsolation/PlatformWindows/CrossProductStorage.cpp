#include "CrossProductStorage.h"

#include "CheckedExpression.h"

namespace scankelv
{
namespace
{

HKEY HiveOf(int hive)
{
    return hive == UserHive ? HKEY_CURRENT_USER : hive == SystemHive ? HKEY_LOCAL_MACHINE : nullptr;
}

REGSAM RightsOf(int access)
{
    constexpr REGSAM rights[] = {KEY_READ, KEY_WRITE, KEY_READ | KEY_WRITE}; // by StorageAccess
    return access >= AccessRead && access <= AccessReadWrite ? rights[access] : 0;
}

bool BooleanOK(bool value, const char* expression, int level, PlaceHere place = {})
{
    return Checked(DebugConsoleLogger, CheckBoolean, value, expression, level, place);
}

/// Reports the thread's last error. Registry functions return their status and need not set the last error, so that the
/// text may describe an earlier failure.
bool LastErrorOK(bool value, const char* expression, int level, PlaceHere place = {})
{
    return Checked(DebugConsoleLogger, CheckLastError, value, expression, level, place);
}

} // namespace

template <class CharType>
bool CrossProductStorage::Open(int hive, const CharType* path, int access)
{
    m_parent_key.Close();
    // An empty path, as of a location that could not be allocated, would open the hive's root.
    const HKEY parent = path == nullptr || *path == CharType() ? nullptr : HiveOf(hive);
    const REGSAM rights = RightsOf(access);
    if (m_parent_key.Open(parent, path, rights))
        return true;
    if (access == AccessRead)
        return false;
    return m_parent_key.Create<CharType>(parent, path, nullptr, 0, rights, nullptr, nullptr);
}

template <class CharType>
bool CrossProductStorage::ParametersOK(const CharType* key_name)
{
    return LastErrorOK(key_name != nullptr, "::PtrIsGoodString(key_name, 260)", -1);
}

bool CrossProductStorage::GetString(const wchar_t* key_name, wchar_t* value, DWORD buffer_size_chars)
{
    DWORD buffer_size_chars_required = buffer_size_chars;
    return BooleanOK(IsValid(), "IsValid()", 0) && BooleanOK(ParametersOK(key_name), "ParametersOK( key_name)", -1) &&
           BooleanOK(value != nullptr, "::PtrIsGoodWrite(value, buffer_size_chars * sizeof(CharType) )", 0) &&
           LastErrorOK(
               m_parent_key.QueryStringValue(key_name, value, &buffer_size_chars_required),
               "m_parent_key.QueryStringValue( key_name, value, &buffer_size_chars_required )", 0);
}

template <class CharType>
bool CrossProductStorage::GetULong(const CharType* key_name, DWORD* value)
{
    return BooleanOK(IsValid(), "IsValid()", 0) && BooleanOK(ParametersOK(key_name), "ParametersOK( key_name )", -1) &&
           BooleanOK(value != nullptr, "::PtrIsGoodWrite(value, sizeof (*value) )", -1) &&
           LastErrorOK(
               m_parent_key.QueryDWORDValue(key_name, value), "m_parent_key.QueryDWORDValue( key_name, value )", 0);
}

template <class CharType>
bool CrossProductStorage::SetString(const CharType* key_name, const CharType* value)
{
    return BooleanOK(IsValid(), "IsValid()", 0) && BooleanOK(ParametersOK(key_name), "ParametersOK( key_name )", -1) &&
           BooleanOK(value != nullptr, "::PtrIsGoodString(value, 260 )", -1) &&
           LastErrorOK(
               m_parent_key.SetStringValueNoExpand(key_name, value),
               "m_parent_key.SetStringValueNoExpand( key_name, value )", -1);
}

template <class CharType>
bool CrossProductStorage::SetULong(const CharType* key_name, DWORD value)
{
    return BooleanOK(IsValid(), "IsValid()", 0) && BooleanOK(ParametersOK(key_name), "ParametersOK( key_name )", 1) &&
           LastErrorOK(m_parent_key.SetDWORDValue(key_name, value), "m_parent_key.SetDWORDValue( key_name, value )", 1);
}

bool CrossProductStorage::Delete(const char* key_name)
{
    return BooleanOK(IsValid(), "IsValid()", 0) && BooleanOK(ParametersOK(key_name), "ParametersOK( key_name )", 1) &&
           LastErrorOK(m_parent_key.DeleteValue(key_name), "m_parent_key.DeleteValue( key_name )", 0);
}

template bool CrossProductStorage::Open<char>(int, const char*, int);
template bool CrossProductStorage::ParametersOK<char>(const char*);
template bool CrossProductStorage::GetULong<char>(const char*, DWORD*);
template bool CrossProductStorage::SetString<char>(const char*, const char*);
template bool CrossProductStorage::SetULong<char>(const char*, DWORD);
template bool CrossProductStorage::Open<wchar_t>(int, const wchar_t*, int);
template bool CrossProductStorage::ParametersOK<wchar_t>(const wchar_t*);
template bool CrossProductStorage::GetULong<wchar_t>(const wchar_t*, DWORD*);
template bool CrossProductStorage::SetString<wchar_t>(const wchar_t*, const wchar_t*);
template bool CrossProductStorage::SetULong<wchar_t>(const wchar_t*, DWORD);

} // namespace scankelv
