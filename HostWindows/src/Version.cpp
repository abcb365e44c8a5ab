// Version information: the block that a Windows program carries in its resources is a section of an ELF file here, and
// holds the fixed information alone.
#include "ElfFile.h"
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cstring>

namespace hostwindows
{
namespace
{

/// A block begins with its length, the length of its value, a type and its name.
constexpr std::u16string_view rootName = u"VS_VERSION_INFO";
constexpr std::size_t nameOffset = 3 * sizeof(WORD);
constexpr std::size_t valueOffset = 40;
constexpr std::size_t blockSize = valueOffset + sizeof(VS_FIXEDFILEINFO);

WORD LengthOf(const void* block)
{
    WORD length = 0;
    std::memcpy(&length, block, sizeof(length));
    return length;
}

/// Empty, with the last error, when a file has none; else the last error is 0.
std::string ReadBlock(LPCWSTR name)
{
    const FoundPath found = FindPath(ViewOf(name));
    Descriptor file;
    DWORD error = ViewOf(name).empty() ? ERROR_BAD_PATHNAME : found.error;
    if (error == NO_ERROR)
        error = OpenShared(file, found.path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    ::SetLastError(error);
    if (error != NO_ERROR)
        return {};
    std::string block(blockSize, '\0');
    for (const auto& section : SectionsOf(file))
        if (section.sh_size == blockSize && ReadAt(file, section.sh_offset, block.data(), blockSize) &&
            LengthOf(block.data()) == blockSize &&
            std::memcmp(block.data() + nameOffset, rootName.data(), rootName.size() * sizeof(WCHAR)) == 0)
            return block;
    return Refused<std::string>(ERROR_RESOURCE_DATA_NOT_FOUND);
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

DWORD GetFileVersionInfoSizeW(LPCWSTR file, LPDWORD handle)
{
    if (handle != nullptr)
        *handle = 0;
    return static_cast<DWORD>(ReadBlock(file).size());
}

BOOL GetFileVersionInfoW(LPCWSTR file, DWORD, DWORD size, LPVOID data)
{
    std::string block = ReadBlock(file);
    if (block.empty())
        return FALSE;
    // A cut block says so itself: what is queried in it later must not lie behind the buffer.
    const auto count = static_cast<WORD>(std::min<std::size_t>(size, block.size()));
    std::memcpy(block.data(), &count, sizeof(count));
    std::memcpy(data, block.data(), count);
    return TRUE;
}

/// Only the root has a value here: the fixed information.
BOOL VerQueryValueW(LPCVOID block, LPCWSTR part, LPVOID* value, PUINT length)
{
    *value = nullptr;
    *length = 0;
    if (std::u16string_view(part) != u"\\")
        return Refused(ERROR_RESOURCE_TYPE_NOT_FOUND);
    if (LengthOf(block) < blockSize)
        return TRUE; // as on Windows, where a zeroed block has a root without a value
    // Windows hands the caller's own block out writable.
    *value = const_cast<char*>(static_cast<const char*>(block)) + valueOffset;
    *length = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
}
