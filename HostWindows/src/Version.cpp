// Version information: the block that a Windows program carries in its resources lies here in a section of the ELF
// file.
#include "Handles.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <vector>

namespace hostwindows
{
namespace
{

constexpr std::string_view sectionName = ".rsrc";
constexpr std::size_t largestPart = std::size_t{1} << 22;

/// Reads as many items; none when the file does not hold them.
template <class Items>
Items ReadAt(const Descriptor& file, std::uint64_t offset, std::size_t count)
{
    if (count > largestPart)
        return {};
    Items items(count, typename Items::value_type{});
    const std::size_t bytes = count * sizeof(items[0]);
    if (::pread(file.Number(), items.data(), bytes, static_cast<::off_t>(offset)) != static_cast<::ssize_t>(bytes))
        items.clear();
    return items;
}

WORD WordAt(const char* bytes)
{
    WORD word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

/// The version block of an ELF file; empty when it has none.
std::string BlockOf(const Descriptor& file)
{
    constexpr char identity[] = {ELFMAG0, ELFMAG1, ELFMAG2, ELFMAG3, ELFCLASS64, ELFDATA2LSB};
    const auto header = ReadAt<std::vector<Elf64_Ehdr>>(file, 0, 1);
    if (header.empty() || std::memcmp(header[0].e_ident, identity, sizeof(identity)) != 0 ||
        header[0].e_shentsize != sizeof(Elf64_Shdr))
        return {};
    const auto sections = ReadAt<std::vector<Elf64_Shdr>>(file, header[0].e_shoff, header[0].e_shnum);
    if (header[0].e_shstrndx >= sections.size())
        return {};
    const Elf64_Shdr& named = sections[header[0].e_shstrndx];
    const auto names = ReadAt<std::string>(file, named.sh_offset, named.sh_size);
    for (const Elf64_Shdr& section : sections)
        if (section.sh_type == SHT_PROGBITS && section.sh_name < names.size() &&
            names.c_str() + section.sh_name == sectionName)
        {
            // It begins with its length.
            auto block = ReadAt<std::string>(file, section.sh_offset, section.sh_size);
            block.resize(block.size() < sizeof(WORD) || WordAt(block.data()) > block.size() ? 0 : WordAt(block.data()));
            return block;
        }
    return {};
}

/// Empty, with the last error, when there is none; else the last error is 0.
std::string ReadBlock(LPCWSTR name)
{
    std::string block;
    const FoundPath found = FindPath(ViewOf(name));
    Descriptor file;
    DWORD error = ViewOf(name).empty() ? ERROR_BAD_PATHNAME : found.error;
    if (error == NO_ERROR)
        error = OpenShared(file, found.path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    if (error == NO_ERROR)
    {
        block = BlockOf(file);
        error = block.empty() ? ERROR_RESOURCE_DATA_NOT_FOUND : NO_ERROR;
    }
    ::SetLastError(error);
    return block;
}

/// The root of the block: length, length of the value, type, name, value; each part on a multiple of four.
constexpr std::u16string_view rootName = u"VS_VERSION_INFO";
constexpr std::size_t valueOffset = (3 * sizeof(WORD) + (rootName.size() + 1) * sizeof(WCHAR) + 3) & ~std::size_t{3};

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
    if (count >= sizeof(count))
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
    const auto* base = static_cast<const char*>(block);
    const std::size_t size = WordAt(base);
    const std::size_t valueSize = size < valueOffset ? 0 : WordAt(base + sizeof(WORD));
    if (valueSize == 0 || valueSize > size - valueOffset)
        return TRUE; // as on Windows, where a zeroed block has a root without a value
    // Windows hands the caller's own block out writable.
    *value = const_cast<char*>(base) + valueOffset;
    *length = static_cast<UINT>(valueSize);
    return TRUE;
}
