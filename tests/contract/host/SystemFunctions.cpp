// The Linux side of the stand-in: what the scripts named Host... prepare and look at there.
#include "host/Linux.h"
#include "Paths.h"
#include "Script.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test
{
namespace
{

namespace fs = std::filesystem;

/// Where a Windows path leads to, how its look-up ended, and whether there is something.
std::string Find(const WCHAR* path)
{
    const hostwindows::FoundPath found = hostwindows::FindPath(path);
    return Shown(found.path) + ", " + ErrorName(found.error) + (found.exists ? ", there" : "");
}
std::string FindBack(const char* linuxPath)
{
    return Shown(ToUtf8(hostwindows::WindowsPath(linuxPath)));
}
std::size_t Entries(const WCHAR* folder)
{
    return EntriesIn(LinuxPath(folder));
}
unsigned Mode(const WCHAR* path)
{
    return static_cast<unsigned>(fs::status(LinuxPath(path)).permissions());
}
void SetMode(const WCHAR* path, unsigned mode)
{
    fs::permissions(LinuxPath(path), fs::perms(mode));
}
void SymbolicLink(const WCHAR* target, const WCHAR* link)
{
    fs::create_symlink(LinuxPath(target), LinuxPath(link));
}
BOOL IsSymbolicLink(const WCHAR* path)
{
    return fs::is_symlink(LinuxPath(path));
}
void HardLink(const WCHAR* target, const WCHAR* link)
{
    fs::create_hard_link(LinuxPath(target), LinuxPath(link));
}
std::size_t Names(const WCHAR* path)
{
    return fs::hard_link_count(LinuxPath(path));
}
int Pipe(const WCHAR* path)
{
    return ::mkfifo(LinuxPath(path).c_str(), 0600);
}
int Stretch(const WCHAR* path, LONG gibibytes)
{
    return ::truncate(LinuxPath(path).c_str(), off_t{gibibytes} << 30);
}
/// As another program does. @return the locked file
int Lock(const WCHAR* path)
{
    const int file = ::open(LinuxPath(path).c_str(), O_RDWR | O_CLOEXEC);
    return ::flock(file, LOCK_EX) == 0 ? file : -1;
}
int Run(const char* command)
{
    return std::system(command);
}

} // namespace

std::map<std::string, Function, std::less<>> SystemFunctions()
{
    return {
        {"find", Bind(&Find, plain)},
        {"findback", Bind(&FindBack, plain)},
        {"entries", Bind(&Entries, plain)},
        {"mode", Bind(&Mode, plain)},
        {"setmode", Bind(&SetMode, plain)},
        {"symlink", Bind(&SymbolicLink, plain)},
        {"issymlink", Bind(&IsSymbolicLink, plain)},
        {"hardlink", Bind(&HardLink, plain)},
        {"names", Bind(&Names, plain)},
        {"pipe", Bind(&Pipe, plain)},
        {"stretch", Bind(&Stretch, plain)},
        {"lock", Bind(&Lock, plain)},
        {"unlock", Bind(&::close, plain)},
        {"run", Bind(&Run, plain)},
    };
}

} // namespace test
