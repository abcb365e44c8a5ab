// Profile (ini) files: one accessor for 8-bit and one for wide texts.
#pragma once

#include "ResourceLocation.h"

namespace scankelv
{

/// What both accessors share: the path and the code of the latest error. Nothing throws or logs. Section and key names
/// are terminated; a null one is rejected.
template <class CharType>
class ProfileFile
{
public:
    explicit ProfileFile(const BasicResourceLocation<CharType>& path) : m_path(path) {}

    /// Whether there is a path; if not, the last error becomes 13 (ERROR_INVALID_DATA).
    bool IsValid();
    /// Reads a number; a negative one, or one above 2147483647, is 0. @return false, `number` untouched, when the key
    /// is absent; 87 for a rejected argument.
    bool GetULong(const CharType* section, const CharType* key, DWORD* number);
    /// The code of the latest error: 0, 13 (ERROR_INVALID_DATA: no path), 87 (ERROR_INVALID_PARAMETER: null argument),
    /// 122 (ERROR_INSUFFICIENT_BUFFER: null buffer), or the thread's last error after the latest profile function.
    DWORD LastError() const { return m_lastError; }

protected:
    bool ArgumentsOK(const CharType* section, const CharType* key);

    DWORD m_lastError = 0;
    BasicResourceLocation<CharType> m_path;
};

using ProfileFileNarrow = ProfileFile<char>;

class ProfileFileWide : public ProfileFile<wchar_t>
{
public:
    using ProfileFile::ProfileFile;

    /// Reads a text and cuts it before its first ";".
    /// @param size  space in `buffer` in characters, terminator counted
    /// @return false for an absent or empty value
    bool GetStringRaw(const wchar_t* section, const wchar_t* key, wchar_t* buffer, DWORD size);
    /// The same as an owned text of at most 255 characters; `value` is unchanged on failure.
    bool GetString(const wchar_t* section, const wchar_t* key, ResourceLocationWide& value);
    /// Writes a text as one line: each CR or LF in it becomes a blank.
    bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value);
    /// Writes the number as signed decimal text: 4294967295 becomes "-1".
    bool SetULong(const wchar_t* section, const wchar_t* key, DWORD number);
};

} // namespace scankelv
