#include "ProfileFile.h"

#include "CodePage.h"

namespace scankelv
{
namespace
{

constexpr std::wstring_view absentText = L"#$@SRC@$#";

} // namespace

template <class CharType>
bool ProfileFile<CharType>::IsValid()
{
    if (!m_path.View().empty())
        return true;
    m_lastError = ERROR_INVALID_DATA;
    return false;
}

template <class CharType>
bool ProfileFile<CharType>::ArgumentsOK(const CharType* section, const CharType* key)
{
    if (section != nullptr && key != nullptr)
        return true;
    m_lastError = ERROR_INVALID_PARAMETER;
    return false;
}

template <class CharType>
bool ProfileFile<CharType>::GetULong(const CharType* section, const CharType* key, DWORD* number)
{
    if (!IsValid() || !ArgumentsOK(section, key))
        return false;
    if (number == nullptr)
    {
        m_lastError = ERROR_INVALID_PARAMETER;
        return false;
    }
    // A second read with another default distinguishes an absent key from one that holds the first default.
    constexpr INT sentinel = 6844;
    const auto read = Form<CharType>(::GetPrivateProfileIntA, ::GetPrivateProfileIntW);
    const UINT value = read(section, key, sentinel, m_path.Text());
    if (value == sentinel && read(section, key, 0, m_path.Text()) == 0)
        return false;
    m_lastError = ::GetLastError();
    // The profile functions give a negative number as its 32-bit pattern.
    constexpr UINT largest = std::numeric_limits<INT>::max();
    *number = value > largest ? 0 : value;
    return true;
}

template class ProfileFile<char>;
template class ProfileFile<wchar_t>;

bool ProfileFileWide::GetStringRaw(const wchar_t* section, const wchar_t* key, wchar_t* buffer, DWORD size)
{
    if (!IsValid() || !ArgumentsOK(section, key))
        return false;
    if (buffer == nullptr)
    {
        m_lastError = ERROR_INSUFFICIENT_BUFFER;
        return false;
    }
    const DWORD count = ::GetPrivateProfileStringW(section, key, absentText.data(), buffer, size, m_path.Text());
    m_lastError = ::GetLastError();
    if (count == 0)
        return false;
    const std::wstring_view value(buffer, count);
    if (value == absentText.substr(0, size - 1))
        return false;
    if (const std::size_t comment = value.find(';'); comment != std::wstring_view::npos)
        buffer[comment] = wchar_t();
    return true;
}

bool ProfileFileWide::GetString(const wchar_t* section, const wchar_t* key, ResourceLocationWide& value)
{
    wchar_t buffer[256]{};
    if (!GetStringRaw(section, key, buffer, static_cast<DWORD>(std::size(buffer))))
        return false;
    ResourceLocationWide copy{std::wstring_view(buffer)};
    if (copy.IsEmpty())
        return false;
    value = std::move(copy);
    return true;
}

bool ProfileFileWide::SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value)
{
    if (!IsValid() || !ArgumentsOK(section, key))
        return false;
    if (value == nullptr)
    {
        m_lastError = ERROR_INVALID_PARAMETER;
        return false;
    }
    // A device's text may contain line breaks. The text after a break would become lines of the file, keys and sections
    // among them, and remain there at the next write.
    ResourceLocationWide line;
    if (const std::wstring_view text = value; text.find_first_of(L"\r\n") != std::wstring_view::npos)
    {
        line = ResourceLocationWide(text);
        if (line.IsEmpty())
        {
            m_lastError = ERROR_NOT_ENOUGH_MEMORY;
            return false;
        }
        const auto isBreak = [](wchar_t c) { return c == '\r' || c == '\n'; };
        std::replace_if(line.Elements(), line.Elements() + text.size(), isBreak, static_cast<wchar_t>(' '));
        value = line.Text();
    }
    if (::WritePrivateProfileStringW(section, key, value, m_path.Text()) != 0)
        return true;
    m_lastError = ::GetLastError();
    return false;
}

bool ProfileFileWide::SetULong(const wchar_t* section, const wchar_t* key, DWORD number)
{
    wchar_t text[20];
    FormatInto(std::span<wchar_t>(text), "%d", number);
    return SetString(section, key, text);
}

} // namespace scankelv
