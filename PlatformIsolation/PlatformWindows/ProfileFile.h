// Profile (ini) files: one accessor for 8-bit and one for wide texts.
#pragma once

#include "ResourceLocation.h"

namespace scankelv
{

/// What both accessors share: the path and the code of the latest error. Nothing throws, logs or reports; names are
/// looked at up to their terminator or 260 characters, whichever comes first.
template <class CharType>
class ProfileFile
{
public:
    explicit ProfileFile(const BasicResourceLocation<CharType>& path) : m_path(path) {}

    /// The path is not empty; otherwise the last error becomes 13.
    bool IsValid();
    /// Reads a number; a negative one, or one above 2147483647, is 0. @return false, `number` untouched, when the key
    /// is absent; 87 for a rejected argument.
    bool GetULong(const CharType* section, const CharType* key, DWORD* number);
    /// 0, 13 (no path), 87 (bad argument), 122 (bad buffer), or the thread's last error after the latest profile call.
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

    /// Reads a text, cut at its first ";", into `buffer` of `size` characters. @return false for an absent or empty
    /// value.
    bool GetStringRaw(const wchar_t* section, const wchar_t* key, wchar_t* buffer, DWORD size);
    /// The same as an owned text of at most 255 characters; `value` is untouched on failure.
    bool GetString(const wchar_t* section, const wchar_t* key, ResourceLocationWide& value);
    /// Writes a text as one line: a line break in it becomes a blank.
    bool SetString(const wchar_t* section, const wchar_t* key, const wchar_t* value);
    /// Writes the number as signed decimal text: 4294967295 becomes "-1".
    bool SetULong(const wchar_t* section, const wchar_t* key, DWORD number);
};

} // namespace scankelv
