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

/// Owns one open file descriptor and with it the sharing that its opening claimed.
class SharedFile
{
public:
    SharedFile() = default;
    SharedFile(SharedFile&& other) noexcept;
    SharedFile& operator=(SharedFile&& other) noexcept;
    ~SharedFile();

    /// Opens a Linux path. @param access  GENERIC_READ and GENERIC_WRITE bits, or 0
    /// @param sharing  FILE_SHARE_... bits; @param flags  of open(2), O_CREAT and the like; the access bits are added
    /// @return 0 or the Windows error code: 2, 3, 5, 32 ...
    DWORD Open(const std::string& path, DWORD access, DWORD sharing, int flags, unsigned mode = 0666);
    int Descriptor() const { return m_descriptor; }
    bool IsOpen() const { return m_descriptor >= 0; }
    void Close();

private:
    int m_descriptor = -1;
};

/// Takes a file's one lock, which goes with the descriptor; true as well on a file system without locks.
/// @return false when another has kept it for two seconds
bool LockInTime(int descriptor);

/// The Windows error code of an errno value.
DWORD ErrorFromErrno(int number);

/// Bytes of the largest file that is read whole.
inline constexpr std::size_t largestFile = std::size_t{64} * 1024 * 1024;

/// A file's whole contents, kept: as long as the file stays the same, it is not read again.
class KeptFile
{
public:
    /// @return 0 or the error code: 32 when an opening that is not shared for reading holds the file, 8 when it is
    /// above the largest size ...; the bytes are then of no meaning
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
    struct ::stat m_status
    {
    };
    std::string m_bytes;
};

/// The same for one reading.
DWORD ReadWholeFile(const std::string& path, std::string& bytes);

/// Replaces a file whole, or leaves it as it was: a sibling is written and renamed over it. An existing file keeps its
/// mode; a read-only one, or one held open without write sharing, is refused (5, 32). @return 0 or the error code
DWORD ReplaceWholeFile(const std::string& path, std::string_view bytes);

} // namespace hostwindows
