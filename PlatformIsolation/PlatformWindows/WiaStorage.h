// The WIA storage: section "IO" of Config.ini.
#pragma once

#include "ProfileFile.h"

#include <functional>

namespace scankelv
{

/// Takes the keys that are to be written into section "IO", one by one.
class WiaStorageKeys
{
public:
    WiaStorageKeys(const ResourceLocationWide& path, bool keepsEveryCharacter);

    void SetString(const wchar_t* key, const wchar_t* value);
    void SetULong(const wchar_t* key, DWORD number);

    bool AllWritten() const { return m_allWritten; }
    /// A text has a character that the file cannot keep.
    bool LosesCharacters() const { return m_losesCharacters; }

private:
    ProfileFileWide m_file;
    bool m_keepsEveryCharacter;
    bool m_allWritten = true;
    bool m_losesCharacters = false;
};

/// Writes keys into Config.ini: all or none, unless the file cannot be replaced as a whole; the entries of others stay.
/// @param path  the file, which is created in UTF-16 when it is absent
/// @param write  hands the keys over; may be called again, and must then hand over the same ones. Failures are reported
/// to the "Agent" logger.
void WriteWiaStorage(const ResourceLocationWide& path, const std::function<void(WiaStorageKeys& keys)>& write);

} // namespace scankelv
