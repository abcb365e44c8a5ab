#include "Paths.h"

#include "LetterCase.h"
#include "SharedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <memory>
#include <pwd.h>
#include <span>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace hostwindows
{
namespace
{

constexpr std::size_t longestComponent = 255;

std::string Variable(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

/// A variable, or what the system knows of the account when it is not set.
std::string VariableOr(const char* name, char* ::passwd::*known)
{
    const std::string value = Variable(name);
    const ::passwd* const account = value.empty() ? ::getpwuid(::getuid()) : nullptr;
    return account == nullptr ? value : account->*known;
}

std::string CurrentFolder()
{
    std::error_code error;
    return std::filesystem::current_path(error).string();
}

std::string MachineFolderName()
{
    std::string folder = Variable("HOSTWINDOWS_ROOT");
    if (folder.empty())
    {
        const std::string data = Variable("XDG_DATA_HOME");
        folder = (data.empty() ? VariableOr("HOME", &::passwd::pw_dir) + "/.local/share" : data) + "/hostwindows";
    }
    if (folder.front() != '/')
        folder = CurrentFolder() + "/" + folder;
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

bool BadCharacter(char16_t unit)
{
    switch (unit)
    {
    case u'<':
    case u'>':
    case u'*':
    case u'?':
    case u'"':
    case u'|':
    case u':':
    case u'/':
    case u'\\':
        return true;
    default:
        return unit < u' ';
    }
}

std::u16string LoginName()
{
    std::u16string name = Utf16FromUtf8(VariableOr("LOGNAME", &::passwd::pw_name));
    std::ranges::replace_if(name, BadCharacter, u'_');
    name.resize(name.find_last_not_of(u". ") + 1); // npos + 1 is 0
    return name.empty() ? u"user" : name;
}

/// The path of a component in the letter case that the folder has; empty when it holds none.
std::string SearchFolder(const std::string& folder, std::u16string_view component)
{
    const std::unique_ptr<::DIR, int (*)(::DIR*)> entries(::opendir((folder + "/").c_str()), &::closedir);
    while (const ::dirent* entry = entries == nullptr ? nullptr : ::readdir(entries.get()))
        if (EqualWithoutCase(Utf16FromUtf8(entry->d_name), component))
            return folder + "/" + entry->d_name;
    return {};
}

/// Whether something is there; if not, errno says why.
bool Take(FoundPath& found, std::string path)
{
    found.path = std::move(path);
    found.exists = ::stat(found.path.c_str(), &found.status) == 0;
    found.isFolder = found.exists && S_ISDIR(found.status.st_mode);
    return found.exists;
}

/// What lies below a Linux folder. The spelling as given costs one call; only where that misses, the folder above is
/// looked for in the same way and searched.
FoundPath FindBelow(const std::string& root, std::span<const std::u16string> components)
{
    std::string path = components.empty() ? root + "/" : root;
    for (const std::u16string& component : components)
        path += "/" + Utf8FromUtf16(component);
    FoundPath found;
    if (Take(found, std::move(path)))
        return found;
    if (errno != ENOENT && errno != ENOTDIR)
        found.error = errno == ENAMETOOLONG ? ERROR_INVALID_NAME : ErrorFromErrno(errno);
    else if (components.empty()) // the drive itself
        found.error = ERROR_PATH_NOT_FOUND;
    if (found.error != NO_ERROR)
        return found;
    const std::u16string& last = components.back();
    const auto others = components.first(components.size() - 1);
    const FoundPath above = FindBelow(root, others);
    const std::string& folder = others.empty() ? root : above.path;
    if (!above.isFolder)
        found.error = ERROR_PATH_NOT_FOUND;
    else if (!Take(found, folder + "/" + Utf8FromUtf16(last)))
        if (std::string other = SearchFolder(folder, last); !other.empty())
            Take(found, std::move(other));
    return found;
}

std::string DriveC()
{
    return MachineFolder() + "/drive_c";
}

/// What lies behind `drive_c` in a Linux path.
bool IsOnDriveC(std::string_view path, std::string_view& rest)
{
    const std::string drive = DriveC();
    const bool below = path.starts_with(drive) && (path.size() == drive.size() || path[drive.size()] == '/');
    rest = below ? path.substr(drive.size()) : path;
    return below;
}

/// Splits into components: ".", ".." and doubled separators resolved, nothing above the root.
DWORD Split(std::u16string_view path, std::vector<std::u16string>& components)
{
    for (std::size_t begin = 0; begin < path.size();)
    {
        const auto* end = std::find_if(path.begin() + begin, path.end(), IsSeparator);
        const auto length = static_cast<std::size_t>(end - path.begin()) - begin;
        std::u16string_view component = path.substr(begin, length);
        const bool last = begin + length == path.size();
        begin += length + 1;
        if (component == u"..")
        {
            if (!components.empty())
                components.pop_back();
            continue;
        }
        // Windows drops these at the end of a name; blanks only at the end of the path.
        while (!component.empty() && (component.back() == u'.' || (last && component.back() == u' ')))
            component.remove_suffix(1);
        if (component.empty())
            continue;
        if (component.size() > longestComponent || std::ranges::any_of(component, BadCharacter))
            return ERROR_INVALID_NAME;
        components.emplace_back(component);
    }
    return NO_ERROR;
}

/// Makes what is missing of the machine's folder.
std::error_code PrepareMachine(const std::string& folder)
{
    std::error_code error;
    for (const std::string& usual :
         {"/Users/" + Utf8FromUtf16(LoginName()) + "/AppData/Local/Temp", std::string("/ProgramData")})
        if (!error)
            std::filesystem::create_directories(folder + "/drive_c" + usual, error);
    if (!error && ::access(folder.c_str(), W_OK | X_OK) != 0)
        error.assign(errno, std::generic_category());
    return error;
}

} // namespace

const std::string& MachineFolder()
{
    static const std::string folder = [] {
        std::string name = MachineFolderName();
        if (const std::error_code error = PrepareMachine(name))
        {
            const std::string line =
                "hostwindows: the machine folder " + name + " cannot be used: " + error.message() + "\n";
            (void)!::write(STDERR_FILENO, line.data(), line.size());
        }
        return name;
    }();
    return folder;
}

const std::u16string& UserProfile()
{
    static const std::u16string profile = u"C:\\Users\\" + LoginName();
    return profile;
}

FoundPath FindPath(std::u16string_view windowsPath)
{
    if (windowsPath.empty() || (windowsPath.size() > 1 && IsSeparator(windowsPath[0]) && IsSeparator(windowsPath[1])))
        return {{}, ERROR_PATH_NOT_FOUND};

    std::u16string_view rest = windowsPath;
    char16_t drive = 0;
    if (rest.size() > 1 && rest[1] == u':')
    {
        drive = Capital(rest[0]);
        rest.remove_prefix(2);
        if (drive != u'C' && drive != u'Z')
            return {{}, ERROR_PATH_NOT_FOUND};
    }
    std::vector<std::u16string> components;
    const bool rooted = !rest.empty() && IsSeparator(rest.front());
    if (drive == 0 || !rooted)
    {
        const std::string current = CurrentFolder();
        std::string_view below;
        const char16_t currentDrive = IsOnDriveC(current, below) ? u'C' : u'Z';
        drive = drive == 0 ? currentDrive : drive;
        if (!rooted && drive == currentDrive)
            for (const std::filesystem::path& part : std::filesystem::path(below).relative_path())
                components.push_back(Utf16FromUtf8(part.native())); // as they stand: names that Linux allowed
    }
    if (const DWORD error = Split(rest, components); error != NO_ERROR)
        return {{}, error};
    FoundPath found = FindBelow(drive == u'C' ? DriveC() : std::string(), components);
    found.folderNeeded = IsSeparator(windowsPath.back());
    return found;
}

FoundPath FindExisting(LPCWSTR windowsPath)
{
    FoundPath found = FindPath(ViewOf(windowsPath));
    if (found.error == NO_ERROR && !found.exists)
        found.error = ERROR_FILE_NOT_FOUND;
    return found;
}

std::u16string WindowsPath(std::string_view linuxPath)
{
    std::string_view rest;
    std::u16string path = IsOnDriveC(linuxPath, rest) ? u"C:" : u"Z:";
    path += Utf16FromUtf8(rest.empty() ? "/" : rest);
    std::ranges::replace(path, u'/', u'\\');
    return path;
}

} // namespace hostwindows
