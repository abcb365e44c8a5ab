#include "Paths.h"

#include "LetterCase.h"
#include "SharedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
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

std::string CurrentFolder()
{
    const std::unique_ptr<char, decltype(&std::free)> folder(::getcwd(nullptr, 0), &std::free);
    return folder == nullptr ? std::string("/") : std::string(folder.get());
}

const ::passwd* Account()
{
    static const ::passwd* const account = ::getpwuid(::getuid());
    return account;
}

std::string HomeFolder()
{
    if (std::string home = Variable("HOME"); !home.empty())
        return home;
    return Account() != nullptr && Account()->pw_dir != nullptr ? Account()->pw_dir : "/";
}

std::string MachineFolderName()
{
    std::string folder = Variable("HOSTWINDOWS_ROOT");
    if (folder.empty())
    {
        const std::string data = Variable("XDG_DATA_HOME");
        folder = (data.empty() ? HomeFolder() + "/.local/share" : data) + "/hostwindows";
    }
    if (folder.front() != '/')
        folder = CurrentFolder() + "/" + folder;
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

bool BadCharacter(char16_t unit)
{
    return unit < u' ' || std::u16string_view(u"<>*?\"|:/\\").find(unit) != std::u16string_view::npos;
}

std::u16string LoginName()
{
    std::string name;
    for (const char* variable : {"LOGNAME", "USER"})
        if (name.empty())
            name = Variable(variable);
    if (name.empty() && Account() != nullptr)
        name = Account()->pw_name;
    std::u16string wide = Utf16FromUtf8(name);
    std::ranges::replace_if(wide, BadCharacter, u'_');
    while (!wide.empty() && (wide.back() == u'.' || wide.back() == u' '))
        wide.pop_back();
    return wide.empty() ? u"user" : wide;
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
    struct ::stat status;
    found.path = std::move(path);
    found.exists = ::stat(found.path.c_str(), &status) == 0;
    found.isFolder = found.exists && S_ISDIR(status.st_mode);
    return found.exists;
}

/// Walks down from a Linux folder. The spelling as given costs one call; only for what that misses, each component is
/// looked up on its own and the folder searched.
FoundPath FindBelow(const std::string& root, const std::vector<std::u16string>& components)
{
    FoundPath found;
    std::string parent = root;
    std::string whole = root;
    for (const std::u16string& component : components)
    {
        parent = whole;
        whole += "/" + Utf8FromUtf16(component);
    }
    if (Take(found, components.empty() ? root + "/" : whole))
        return found;
    if (errno != ENOENT && errno != ENOTDIR)
    {
        found.error = errno == ENAMETOOLONG ? ERROR_INVALID_NAME : ErrorFromErrno(errno);
        return found;
    }
    FoundPath above;
    const bool parentFound = !components.empty() && Take(above, parent + "/");
    if (!parentFound && components.size() < 2) // the drive itself is missing
        found.error = ERROR_PATH_NOT_FOUND;
    // Mostly it is the last component alone that is missing.
    parent = parentFound ? parent : root;
    for (std::size_t known = parentFound ? components.size() - 1 : 0;
         found.error == NO_ERROR && known < components.size(); ++known)
    {
        if (!Take(found, parent + "/" + Utf8FromUtf16(components[known])))
            if (std::string other = SearchFolder(parent, components[known]); !other.empty())
                Take(found, std::move(other));
        parent = found.path;
        if (known + 1 != components.size() && !found.isFolder)
        {
            found = {std::move(whole), ERROR_PATH_NOT_FOUND};
        }
    }
    return found;
}

std::string DriveC()
{
    return MachineFolder() + "/drive_c";
}

bool IsBelow(std::string_view path, std::string_view folder)
{
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

/// What lies behind `drive_c` in a Linux path, also when the machine's folder was reached by a symbolic link.
bool IsOnDriveC(std::string_view path, std::string_view& rest)
{
    static const std::string real = [] {
        const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(DriveC().c_str(), nullptr), &std::free);
        return resolved == nullptr ? DriveC() : std::string(resolved.get());
    }();
    for (const std::string& drive : {DriveC(), real})
        if (IsBelow(path, drive))
        {
            rest = path.substr(drive.size());
            return true;
        }
    return false;
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

/// Makes the missing ones of a path of folders. @return 0 or errno
int MakeFolders(const std::string& root, std::u16string_view path)
{
    std::vector<std::u16string> components;
    Split(path, components);
    if (FindBelow(root, components).exists)
        return 0;
    for (std::size_t count = 1; count <= components.size(); ++count)
    {
        const FoundPath found = FindBelow(root, {components.begin(), components.begin() + static_cast<long>(count)});
        if (!found.exists && ::mkdir(found.path.c_str(), 0777) != 0 && errno != EEXIST)
            return errno;
    }
    return 0;
}

std::u16string ProfileOnDrive()
{
    return u"\\Users\\" + LoginName();
}

/// Makes what is missing of the machine's folder. @return 0 or errno
int PrepareMachine(const std::string& folder)
{
    const std::u16string usual[] = {ProfileOnDrive() + u"\\AppData\\Local\\Temp", u"\\ProgramData"};
    const std::string drive = folder + "/drive_c";
    const bool made = ::access(drive.c_str(), F_OK) == 0;
    for (std::size_t end = 1; !made && end != std::string::npos;)
    {
        end = drive.find('/', end + 1);
        const std::string part = drive.substr(0, end);
        if (::access(part.c_str(), F_OK) != 0 && ::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST)
            return errno;
    }
    for (const std::u16string& path : usual)
        if (const int error = MakeFolders(drive, path); error != 0)
            return error;
    return ::access(folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

} // namespace

const std::string& MachineFolder()
{
    static const std::string folder = [] {
        std::string name = MachineFolderName();
        if (const int error = PrepareMachine(name); error != 0)
        {
            const std::string line =
                "hostwindows: the machine folder " + name + " cannot be used: " + std::strerror(error) + "\n";
            (void)!::write(STDERR_FILENO, line.data(), line.size());
        }
        return name;
    }();
    return folder;
}

const std::u16string& UserProfile()
{
    static const std::u16string profile = u"C:" + ProfileOnDrive();
    return profile;
}

FoundPath FindPath(std::u16string_view windowsPath)
{
    const auto failed = [](DWORD error) {
        FoundPath found;
        found.error = error;
        return found;
    };
    if (windowsPath.empty() || (windowsPath.size() > 1 && IsSeparator(windowsPath[0]) && IsSeparator(windowsPath[1])))
        return failed(ERROR_PATH_NOT_FOUND);

    std::u16string_view rest = windowsPath;
    char16_t drive = 0;
    if (rest.size() > 1 && rest[1] == u':')
    {
        drive = Capital(rest[0]);
        rest.remove_prefix(2);
        if (drive != u'C' && drive != u'Z')
            return failed(ERROR_PATH_NOT_FOUND);
    }
    std::vector<std::u16string> components;
    const bool rooted = !rest.empty() && IsSeparator(rest.front());
    if (drive == 0 || !rooted)
    {
        const std::string current = CurrentFolder();
        std::string_view below = current;
        const char16_t currentDrive = IsOnDriveC(current, below) ? u'C' : u'Z';
        drive = drive == 0 ? currentDrive : drive;
        if (!rooted && drive == currentDrive)
            for (std::size_t begin = 0; begin < below.size();)
            {
                // As they stand: names that Linux allowed.
                const std::size_t end = std::min(below.find('/', begin), below.size());
                if (end > begin)
                    components.push_back(Utf16FromUtf8(below.substr(begin, end - begin)));
                begin = end + 1;
            }
    }
    if (const DWORD error = Split(rest, components); error != NO_ERROR)
        return failed(error);
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
    std::string_view rest = linuxPath;
    std::u16string path = IsOnDriveC(linuxPath, rest) ? u"C:" : u"Z:";
    path += Utf16FromUtf8(rest.empty() ? "/" : rest);
    std::ranges::replace(path, u'/', u'\\');
    return path;
}

} // namespace hostwindows
