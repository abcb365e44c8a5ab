// Windows paths on the Linux file system.
#pragma once

#include <string>
#include <string_view>
#include <sys/stat.h>
#include <windows.h>

namespace hostwindows
{

/// The machine's folder on the Linux file system, without a closing slash: HOSTWINDOWS_ROOT, else
/// $XDG_DATA_HOME/hostwindows, else ~/.local/share/hostwindows. The first call makes it and the usual folders of its
/// drive C:. One that cannot be made is said once, in one line on standard error.
const std::string& MachineFolder();

/// C:\Users\<login name>
const std::u16string& UserProfile();

/// A Windows path, found on the Linux file system.
struct FoundPath
{
    std::string path; ///< the Linux path, in the letter case that exists there; empty when `error` is a bad name
    DWORD error = 0;  ///< 0, or why it cannot name a file: 3 a folder is missing, 5 one is closed to us, 123 a bad name
    bool exists = false;       ///< the last component exists
    bool isFolder = false;     ///< and is a folder
    bool folderNeeded = false; ///< the path ended in a separator
    struct ::stat status = {}; ///< of what exists
};

/// Drive C: is the machine's `drive_c`, drive Z: the Linux root; letter case is ignored, "/" is a separator too, and a
/// relative path starts from the current folder.
FoundPath FindPath(std::u16string_view windowsPath);
/// The same for a path that may be null, of what must exist: a missing file gives 2.
FoundPath FindExisting(LPCWSTR windowsPath);

/// UTF-8 is the 8-bit code page. A malformed sequence becomes U+FFFD.
std::u16string Utf16FromUtf8(std::string_view text);
std::string Utf8FromUtf16(std::u16string_view text, char32_t forLoneSurrogate = U'\xFFFD');

inline bool IsSeparator(char16_t unit)
{
    return unit == u'\\' || unit == u'/';
}

inline std::u16string_view ViewOf(LPCWSTR text)
{
    return text == nullptr ? std::u16string_view() : text;
}

/// The text of an 8-bit form; null is the empty one to all of them.
inline std::u16string WideOf(LPCSTR text)
{
    return Utf16FromUtf8(text == nullptr ? "" : text);
}

/// The Windows spelling of a Linux path: below drive_c as C:\..., anything else as Z:\...
std::u16string WindowsPath(std::string_view linuxPath);

} // namespace hostwindows
