#include "ReplacedFile.h"

#include "Loggers.h"
#include "VendorNames.h"

#include <memory>

namespace scankelv
{
namespace
{

/// Stands in the name of a new file between the name of the old one and the numbers of process and attempt.
constexpr const wchar_t* leftoverMark = L"." VENDOR_PROGRAM L"-";

/// What shows that a file was changed: its existence, size and time of the last write.
struct State
{
    explicit State(const std::wstring& path)
    {
        if (::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &m_data) != 0)
            return;
        m_error = ::GetLastError();
        m_data = {};
    }

    bool IsAbsent() const { return m_error == ERROR_FILE_NOT_FOUND || m_error == ERROR_PATH_NOT_FOUND; }
    /// Too short for a byte-order mark.
    bool HasNoContent() const { return IsAbsent() || (Size() < 2 && m_error == ERROR_SUCCESS); }
    ULONGLONG Size() const { return (ULONGLONG(m_data.nFileSizeHigh) << 32) | m_data.nFileSizeLow; }
    DWORD Attributes() const { return m_data.dwFileAttributes; }

    bool operator==(const State& other) const
    {
        return m_error == other.m_error && Size() == other.Size() &&
               ::CompareFileTime(&m_data.ftLastWriteTime, &other.m_data.ftLastWriteTime) == 0;
    }

private:
    WIN32_FILE_ATTRIBUTE_DATA m_data{};
    DWORD m_error = ERROR_SUCCESS;
};

bool WriteByteOrderMark(const std::wstring& path, DWORD disposition)
{
    DWORD written = 0;
    const OwnedHandle file = OpenShared(path.c_str(), GENERIC_WRITE, disposition);
    return file != nullptr && ::WriteFile(file.get(), "\xFF\xFE", 2, &written, nullptr) != 0 && written == 2;
}

struct SearchRelease
{
    void operator()(HANDLE search) const noexcept { ::FindClose(search); }
};
using OwnedSearch = std::unique_ptr<void, SearchRelease>;

OwnedSearch FindFirst(const std::wstring& pattern, WIN32_FIND_DATAW& found)
{
    const HANDLE search = ::FindFirstFileW(pattern.c_str(), &found);
    return OwnedSearch(search == INVALID_HANDLE_VALUE ? nullptr : search);
}

/// A new file beside `path`, removed at the end unless it was moved.
class NewFile
{
public:
    NewFile(const std::wstring& path, bool asCopy)
    {
        for (unsigned number = 0; number == 0 || m_error == ERROR_FILE_EXISTS; ++number)
        {
            m_path = path + leftoverMark + Format<wchar_t>("%lx-%u", ::GetCurrentProcessId(), number);
            const bool made = asCopy ? ::CopyFileW(path.c_str(), m_path.c_str(), TRUE) != 0
                                     : OpenShared(m_path.c_str(), GENERIC_WRITE, CREATE_NEW) != nullptr;
            m_error = made ? ERROR_SUCCESS : ::GetLastError();
        }
    }
    ~NewFile()
    {
        m_hold.reset();
        if (!m_wasMoved) // a copy that failed may have left the start of the file
            ::DeleteFileW(m_path.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    DWORD CreationError() const { return m_error; }
    const std::wstring& Path() const { return m_path; }

    /// Until it is moved, nobody else can delete it.
    bool Hold()
    {
        m_hold = OpenShared(m_path.c_str(), GENERIC_READ);
        return m_hold != nullptr;
    }

    /// Takes the access list and the attributes of the old file.
    bool TakeRightsOf(const std::wstring& old, DWORD attributes) const
    {
        constexpr std::size_t longestAccessList = 0x10000; // its length has 16 bits
        alignas(SECURITY_DESCRIPTOR) unsigned char descriptor[sizeof(SECURITY_DESCRIPTOR) + longestAccessList];
        DWORD size = sizeof(descriptor);
        return ::GetFileSecurityW(old.c_str(), DACL_SECURITY_INFORMATION, descriptor, size, &size) != 0 &&
               ::SetFileSecurityW(m_path.c_str(), DACL_SECURITY_INFORMATION, descriptor) != 0 &&
               ::SetFileAttributesW(m_path.c_str(), attributes) != 0;
    }

    /// @return the error of a move that failed
    DWORD MoveOver(const std::wstring& path)
    {
        m_hold.reset();
        if (::MoveFileExW(m_path.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == 0)
            return ::GetLastError();
        m_wasMoved = true;
        return ERROR_SUCCESS;
    }

private:
    std::wstring m_path;
    DWORD m_error = ERROR_SUCCESS;
    OwnedHandle m_hold;
    bool m_wasMoved = false;
};

/// Whether the file is a link, which leads to another file, or has a second name (a hard link).
bool HasOtherNames(const std::wstring& path)
{
    const OwnedHandle file = Own(::CreateFileW(
        path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
        FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    if (file == nullptr || ::GetFileInformationByHandle(file.get(), &information) == 0)
        return false;
    return (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 || information.nNumberOfLinks > 1;
}

void LogUnchanged(const std::wstring& path, const char* step, DWORD error)
{
    AgentLogger().WriteLine("\"%ws\" stays as it was: %s failed, error %lu.", path, step, error);
}

} // namespace

OwnedHandle OpenShared(const wchar_t* path, DWORD access, DWORD disposition)
{
    return Own(::CreateFileW(
        path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool ReplacedFile::Replace(Begin begin, const Write& write) const
{
    constexpr int attempts = 3;
    RemoveLeftovers();
    for (int attempt = 0; attempt < attempts; ++attempt)
        switch (TryToReplace(begin, write))
        {
        case Outcome::Replaced:
            return true;
        case Outcome::Failed:
            return false;
        case Outcome::OnlyInPlace:
            return WriteInPlace(begin, write);
        case Outcome::ChangedMeanwhile:
            break;
        }
    return WriteInPlace(begin, write);
}

void ReplacedFile::RemoveLeftovers() const
{
    const std::wstring folder = m_path.substr(0, m_path.rfind(L'\\') + 1);
    WIN32_FIND_DATAW found{};
    const OwnedSearch search = FindFirst(m_path + leftoverMark + L"*", found);
    for (bool more = search != nullptr; more; more = ::FindNextFileW(search.get(), &found) != 0)
        ::DeleteFileW((folder + found.cFileName).c_str()); // fails for what another agent holds
}

ReplacedFile::Outcome ReplacedFile::TryToReplace(Begin begin, const Write& write) const
{
    const State before(m_path);
    if (!before.IsAbsent() && OpenShared(m_path.c_str(), GENERIC_WRITE) == nullptr)
        return Outcome::OnlyInPlace;
    const bool asCopy = begin == Begin::ProfileCopy && !before.HasNoContent();
    NewFile file(m_path, asCopy);
    if (file.CreationError() == ERROR_ACCESS_DENIED || file.CreationError() == ERROR_SHARING_VIOLATION)
        return Outcome::OnlyInPlace;
    if (file.CreationError() != ERROR_SUCCESS)
    {
        LogUnchanged(m_path, "a new file", file.CreationError());
        return Outcome::Failed;
    }
    if (begin == Begin::ProfileCopy)
    {
        // Not for Begin::Empty: the document model opens its file for itself alone, the profile functions share theirs.
        if (!file.Hold())
            return Outcome::ChangedMeanwhile;
        if (!asCopy && !WriteByteOrderMark(file.Path(), OPEN_EXISTING))
        {
            LogUnchanged(m_path, "its first write", ::GetLastError());
            return Outcome::Failed;
        }
    }
    if (!write(file.Path().c_str()))
    {
        AgentLogger().WriteLine("\"%ws\" stays as it was: the new file would be incomplete.", m_path);
        return Outcome::Failed;
    }
    if (!before.IsAbsent() && !file.TakeRightsOf(m_path, before.Attributes()))
    {
        LogUnchanged(m_path, "completing the new file", ::GetLastError());
        return Outcome::Failed;
    }
    if (!(State(m_path) == before))
        return Outcome::ChangedMeanwhile;
    switch (const DWORD error = file.MoveOver(m_path))
    {
    case ERROR_SUCCESS:
        return Outcome::Replaced;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
        return Outcome::OnlyInPlace;
    case ERROR_FILE_NOT_FOUND: // another agent took it for a leftover
        return Outcome::ChangedMeanwhile;
    default:
        LogUnchanged(m_path, "the move", error);
        return Outcome::Failed;
    }
}

bool ReplacedFile::WriteInPlace(Begin begin, const Write& write) const
{
    if (HasOtherNames(m_path))
    {
        AgentLogger().WriteLine("\"%ws\" is a link or has a second name, it is not written.", m_path);
        return false;
    }
    AgentLogger().WriteLine("\"%ws\" cannot be replaced as a whole, it is written in place.", m_path);
    if (begin == Begin::ProfileCopy && State(m_path).HasNoContent())
        WriteByteOrderMark(m_path, OPEN_ALWAYS);
    if (write(m_path.c_str()))
        return true;
    AgentLogger().WriteLine("\"%ws\" was not written whole.", m_path);
    return false;
}

} // namespace scankelv
