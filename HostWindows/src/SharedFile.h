// Files opened under Windows' sharing rules, which hold between all processes of one machine folder.
#pragma once

#include "Descriptor.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <windows.h>

namespace hostwindows
{

/// Opens a Linux path, with the sharing that this claims for as long as the descriptor is open.
/// @param access  GENERIC_READ, GENERIC_WRITE and DELETE bits, or 0; @param sharing  FILE_SHARE_... bits
/// @param flags  of open(2), O_CREAT and the like; the access bits are added
/// @return 0 or the Windows error code: 2, 3, 5, 32 ...
DWORD OpenShared(Descriptor& file, const std::string& path, DWORD access, DWORD sharing, int flags = 0);

/// Keeps others that take it out of a folder while it lives. The folder itself is locked: nothing is left behind, and a
/// killed process loses its lock.
class FolderLock
{
public:
    explicit FolderLock(const std::string& folder);
    /// Gives it back before the end, and takes it again.
    void Release();
    void Take();
    /// 0 or why it is not held: 3 without the folder, 32 when another has kept it for two seconds ...
    DWORD Error() const { return m_error; }

private:
    Descriptor m_folder;
    DWORD m_error = NO_ERROR;
};

/// The folder that a Linux path lies in.
std::string FolderOf(const std::string& path);

/// The Windows error code of an errno value.
DWORD ErrorFromErrno(int number);

/// @return 0 or the error code
DWORD WriteAll(int descriptor, std::string_view bytes);

/// A file's whole contents, kept: as long as the file stays the same, it is not read again.
class KeptFile
{
public:
    /// @return 0 or the error code: 32 when an opening that is not shared for reading holds the file, 8 when it is
    /// above 64 MiB ...; the bytes are then of no meaning
    /// @param now  what the path's status has just been
    DWORD Read(const std::string& path, const struct ::stat& now = {});
    std::string& Bytes() { return m_bytes; }
    void Close()
    {
        m_path.clear();
        m_file = Descriptor();
    }

private:
    DWORD ReadToEnd();

    std::string m_path; ///< empty when the contents may have changed since without a trace
    Descriptor m_file;
    struct ::stat m_status = {};
    std::string m_bytes;
};

/// The same for one reading.
DWORD ReadWholeFile(const std::string& path, std::string& bytes);

/// Replaces a file whole, or leaves it as it was: a sibling is written and renamed over it. An existing file keeps its
/// mode; a read-only one, or one held open without write sharing, is refused (5, 32). @return 0 or the error code
/// @param lock  of the file's folder: one writer at a time
DWORD ReplaceWholeFile(const FolderLock& lock, const std::string& path, std::string_view bytes);
inline DWORD ReplaceWholeFile(const std::string& path, std::string_view bytes)
{
    return ReplaceWholeFile(FolderLock(FolderOf(path)), path, bytes);
}

} // namespace hostwindows
