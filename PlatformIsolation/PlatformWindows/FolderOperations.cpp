#include "FolderOperations.h"

#include "CheckedExpression.h"
#include "Owners.h"

namespace scankelv
{
namespace
{

constexpr DWORD noAccess = 0;
constexpr DWORD noSharing = 0;

template <class CharType>
void WriteExistence(bool exists, const CharType* path)
{
    LoggerTypeAbstract& log = DebugConsoleLogger();
    if constexpr (std::is_same_v<CharType, char>)
        exists ? log.WriteText("File \"%s\" does exist.\n", path)
               : log.WriteText("File \"%s\" does not exist!\n", path);
    else
        exists ? log.WriteText("File \"%ws\" does exist.\n", path)
               : log.WriteText("File \"%ws\" does not exist!\n", path);
}

} // namespace

template <class CharType>
bool PathExists(const CharType* path, bool folder)
{
    const DWORD attributes = FILE_ATTRIBUTE_NORMAL | (folder ? FILE_FLAG_BACKUP_SEMANTICS : DWORD(0));
    const bool exists = Own(Form<CharType>(::CreateFileA, ::CreateFileW)(
                            path, noAccess, noSharing, nullptr, OPEN_EXISTING, attributes, nullptr)) != nullptr;
    WriteExistence(exists, path);
    return exists;
}

template bool PathExists<char>(const char*, bool);
template bool PathExists<wchar_t>(const wchar_t*, bool);

bool FolderCreateIfAbsent(const char* path)
{
    if (PathExists(path, true))
        return true;
    const BOOL result = ::CreateDirectoryA(path, nullptr);
    return Checked(DebugConsoleLogger, CheckLastError, static_cast<DWORD>(result), "result", 0);
}

} // namespace scankelv
