#include "WiaStorage.h"

#include "Loggers.h"
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

/// Brings the file to the disk. @return whether it is whole. The profile functions do not tell when a full disk cuts
/// it, so a section of our own is added: when the file ends with it the file is whole, and the section is removed
/// again.
bool IsWhole(const wchar_t* path)
{
    constexpr std::string_view end = "[" VENDOR_PROGRAM "-EndOfFile]\r\nend=1\r\n";
    if (::WritePrivateProfileStringW(VENDOR_PROGRAM L"-EndOfFile", L"end", L"1", path) == 0)
        return false;
    const OwnedHandle file = OpenShared(path, GENERIC_READ | GENERIC_WRITE);
    if (file == nullptr)
        return false;
    // The length of the end in UTF-16. Without the zero bytes it reads the same in either byte order and in 8 bits.
    std::string last(2 * end.size(), '\0');
    const auto size = static_cast<LONG>(last.size());
    DWORD count = 0;
    if (::SetFilePointer(file.get(), -size, nullptr, FILE_END) == INVALID_SET_FILE_POINTER)
        ::SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN); // a shorter file
    if (::ReadFile(file.get(), last.data(), static_cast<DWORD>(size), &count, nullptr) == 0)
        return false;
    last.resize(count);
    const auto zeros = std::erase(last, '\0');
    const LONG length = zeros == end.size() ? size : size / 2;
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
        const OwnedHandle open = OpenShared(file, GENERIC_READ);
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
