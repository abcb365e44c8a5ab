// Files that are replaced as a whole.
#pragma once

#include "Owners.h"
#include "ResourceLocation.h"

#include <functional>

namespace scankelv
{

/// Opens a file, which other programs may read and write meanwhile, but not delete. Null on failure.
OwnedHandle OpenShared(const wchar_t* path, DWORD access, DWORD disposition = OPEN_EXISTING);

/// A file that is at every moment old or new, and whole: it is written under a new name in its folder and moved over
/// the old one by one call. Messages go to the "Agent" logger.
///
/// The old file itself is written ("in place") only where the folder takes no new file, somebody holds it open, or it
/// cannot be opened for writing. A change that another program makes meanwhile is not undone: the writing begins again,
/// and after three attempts goes on in place. A link, or a file with a second name, is never written in place: somebody
/// may have made it to let the agent write what he may not write himself.
class ReplacedFile
{
public:
    /// How the new file begins.
    enum class Begin
    {
        Empty,
        /// As a copy of the old one. A file that is absent, or has fewer than two bytes, begins with the byte-order
        /// mark of UTF-16, so that the profile functions keep it in UTF-16.
        ProfileCopy
    };
    /// Writes the whole file at the path, which is terminated, and brings it to the disk. May be called again.
    /// @return false when the file is incomplete
    using Write = std::function<bool(const wchar_t* path)>;

    explicit ReplacedFile(const ResourceLocationWide& path) : m_path(path.View()) {}

    /// Removes the new files that killed runs have left in the folder, then writes. @return whether the file is new.
    /// After false it is as it was, or as `write` left it, where that failed in place.
    /// @throws what `write` throws; the file is as it was then
    bool Replace(Begin begin, const Write& write) const;

private:
    enum class Outcome
    {
        Replaced,
        ChangedMeanwhile,
        OnlyInPlace,
        Failed
    };

    void RemoveLeftovers() const;
    Outcome TryToReplace(Begin begin, const Write& write) const;
    bool WriteInPlace(Begin begin, const Write& write) const;

    std::wstring m_path;
};

} // namespace scankelv
