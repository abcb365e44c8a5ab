#include "WiaStorage.h"

#include "Loggers.h"
#include "Owners.h"
#include "ReplacedFile.h"
#include "VendorNames.h"

namespace scankelv
{
namespace
{

constexpr const wchar_t* section = L"IO";

bool BeginsWithByteOrderMark(HANDLE file)
{
    char mark[2]{};
    DWORD count = 0;
    return ::ReadFile(file, mark, sizeof(mark), &count, nullptr) != 0 && std::string_view(mark, count) == "\xFF\xFE";
}

OwnedHandle Open(const wchar_t* path, DWORD access)
{
    return Own(::CreateFileW(
        path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// Whether the whole file is on the disk. The profile functions do not tell when a full one cuts it. A section of our
/// own becomes its end; when it is there the file is whole, and it is taken off again.
bool IsWhole(const wchar_t* path)
{
    constexpr std::string_view end = "[" VENDOR_PROGRAM "-EndOfFile]\r\nend=1\r\n";
    if (::WritePrivateProfileStringW(VENDOR_PROGRAM L"-EndOfFile", L"end", L"1", path) == 0)
        return false;
    const OwnedHandle file = Open(path, GENERIC_READ | GENERIC_WRITE);
    if (file == nullptr)
        return false;
    // As long as the end is in UTF-16, in either byte order; without its zeros it is the same in every encoding.
    std::string last(2 * end.size(), '\0');
    const auto size = static_cast<LONG>(last.size());
    DWORD count = 0;
    if (::SetFilePointer(file.get(), -size, nullptr, FILE_END) == INVALID_SET_FILE_POINTER)
        ::SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN); // a shorter file
    if (::ReadFile(file.get(), last.data(), static_cast<DWORD>(size), &count, nullptr) == 0)
        return false;
    last.resize(count);
    const auto zeros = std::erase(last, '\0');
    const LONG length = zeros == 0 ? size / 2 : size;
    return last.ends_with(end) &&
           ::SetFilePointer(file.get(), -length, nullptr, FILE_END) != INVALID_SET_FILE_POINTER &&
           ::SetEndOfFile(file.get()) != 0 && ::FlushFileBuffers(file.get()) != 0;
}

} // namespace

WiaStorageKeys::WiaStorageKeys(const ResourceLocationWide& path, bool keepsEveryCharacter)
    : m_file(path),
      m_keepsEveryCharacter(keepsEveryCharacter)
{
}

void WiaStorageKeys::SetString(const wchar_t* key, const wchar_t* value)
{
    m_allWritten = m_file.SetString(section, key, value) && m_allWritten;
    if (!m_keepsEveryCharacter && WideFromNarrow(NarrowFromWide(value)) != value)
        m_losesCharacters = true;
}

void WiaStorageKeys::SetULong(const wchar_t* key, DWORD number)
{
    m_allWritten = m_file.SetULong(section, key, number) && m_allWritten;
}

void WriteWiaStorage(const ResourceLocationWide& path, const std::function<void(WiaStorageKeys& keys)>& write)
{
    bool losesCharacters = false;
    ReplacedFile(path).Replace(ReplacedFile::Begin::ProfileCopy, [&](const wchar_t* file) {
        const OwnedHandle open = Open(file, GENERIC_READ);
        const bool keepsEveryCharacter = open != nullptr && BeginsWithByteOrderMark(open.get());
        WiaStorageKeys keys(ResourceLocationWide(file), keepsEveryCharacter);
        write(keys);
        losesCharacters = keys.LosesCharacters();
        const bool inPlace = path.View() == file;
        return keys.AllWritten() && (inPlace || IsWhole(file));
    });
    if (losesCharacters)
        AgentLogger().WriteLine("\"%ws\" is not in UTF-16, a value may have lost characters.", path.Text());
}

} // namespace scankelv
