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

/// Takes a file's one lock, which goes with the descriptor; true as well on a file system without locks.
/// @return false when another has kept it for two seconds
bool LockInTime(int descriptor);

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
    DWORD Read(const std::string& path);
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
DWORD ReplaceWholeFile(const std::string& path, std::string_view bytes);

} // namespace hostwindows
