// Version information: the block that a Windows program carries in its resources lies here in a section of the ELF
// file.
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <string>
#include <unistd.h>

namespace hostwindows
{
namespace
{

constexpr std::string_view sectionName = ".rsrc";
constexpr std::size_t largestBlock = 0xFFFF; // its length is 16 bits
constexpr std::size_t largestTable = std::size_t{1} << 22;

/// Reads exactly so many bytes; false when the file does not hold them.
bool ReadAt(const SharedFile& file, std::uint64_t offset, void* bytes, std::size_t size)
{
    return offset <= INT64_MAX &&
           ::pread(file.Descriptor(), bytes, size, static_cast<::off_t>(offset)) == static_cast<::ssize_t>(size);
}

bool ReadAt(const SharedFile& file, const Elf64_Shdr& section, std::size_t largest, std::string& bytes)
{
    if (section.sh_size > largest)
        return false;
    bytes.resize(section.sh_size);
    return ReadAt(file, section.sh_offset, bytes.data(), bytes.size());
}

WORD WordAt(const char* bytes)
{
    WORD word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

/// The version block of an ELF file; empty when it has none.
std::string BlockOf(const SharedFile& file)
{
    Elf64_Ehdr header;
    if (!ReadAt(file, 0, &header, sizeof(header)) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB ||
        header.e_shentsize != sizeof(Elf64_Shdr) || header.e_shstrndx >= header.e_shnum)
        return {};
    std::string table(std::size_t{header.e_shnum} * sizeof(Elf64_Shdr), '\0');
    std::string names;
    Elf64_Shdr section;
    const auto sectionAt = [&](std::size_t index) {
        std::memcpy(&section, table.data() + index * sizeof(section), sizeof(section));
    };
    if (!ReadAt(file, header.e_shoff, table.data(), table.size()))
        return {};
    sectionAt(header.e_shstrndx);
    if (!ReadAt(file, section, largestTable, names))
        return {};
    for (std::size_t index = 0; index < header.e_shnum; ++index)
    {
        sectionAt(index);
        if (section.sh_type != SHT_PROGBITS || section.sh_name >= names.size() ||
            std::string_view(names.c_str() + section.sh_name) != sectionName)
            continue;
        std::string block;
        if (!ReadAt(file, section, largestBlock, block) || block.size() < sizeof(WORD) ||
            WordAt(block.data()) > block.size())
            return {};
        block.resize(WordAt(block.data()));
        return block;
    }
    return {};
}

/// @return 0 or the error code
DWORD ReadBlock(LPCWSTR name, std::string& block)
{
    if (name == nullptr || *name == 0)
        return ERROR_BAD_PATHNAME;
    const FoundPath found = FindPath(name);
    if (found.error != NO_ERROR)
        return found.error;
    SharedFile file;
    const DWORD error = file.Open(found.path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, 0);
    if (error != NO_ERROR)
        return error;
    block = BlockOf(file);
    return block.empty() ? ERROR_RESOURCE_DATA_NOT_FOUND : NO_ERROR;
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
    std::string block;
    const DWORD error = ReadBlock(file, block);
    ::SetLastError(error);
    return static_cast<DWORD>(block.size());
}

BOOL GetFileVersionInfoW(LPCWSTR file, DWORD, DWORD size, LPVOID data)
{
    std::string block;
    if (const DWORD error = ReadBlock(file, block); error != NO_ERROR)
    {
        ::SetLastError(error);
        return FALSE;
    }
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
    {
        ::SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return FALSE;
    }
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
