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

namespace fs = std::filesystem;

std::map<std::string, Function, std::less<>> SystemFunctions()
{
    return {
        // Where a Windows path leads to, how its look-up ended, and whether there is something; and the way back.
        {"find", Helper([](const WCHAR* path) {
             const hostwindows::FoundPath found = hostwindows::FindPath(path);
             return OnOneLine(found.path) + ", " + ErrorName(found.error) + (found.exists ? ", there" : "");
         })},
        {"findback", Helper([](const char* path) { return OnOneLine(ToUtf8(hostwindows::WindowsPath(path))); })},
        {"entries", Helper([](const WCHAR* folder) { return EntriesIn(LinuxPath(folder)); })},
        {"mode",
         Helper([](const WCHAR* path) { return static_cast<unsigned>(fs::status(LinuxPath(path)).permissions()); })},
        {"setmode",
         Helper([](const WCHAR* path, unsigned mode) { fs::permissions(LinuxPath(path), fs::perms(mode)); })},
        {"symlink", Helper([](const WCHAR* target, const WCHAR* link) {
             fs::create_symlink(LinuxPath(target), LinuxPath(link));
         })},
        {"issymlink", Helper([](const WCHAR* path) { return fs::is_symlink(LinuxPath(path)); })},
        {"hardlink", Helper([](const WCHAR* target, const WCHAR* link) {
             fs::create_hard_link(LinuxPath(target), LinuxPath(link));
         })},
        {"names", Helper([](const WCHAR* path) { return fs::hard_link_count(LinuxPath(path)); })},
        {"pipe", Helper([](const WCHAR* path) { return ::mkfifo(LinuxPath(path).c_str(), 0600); })},
        {"stretch", Helper([](const WCHAR* path, LONG gibibytes) {
             return ::truncate(LinuxPath(path).c_str(), off_t{gibibytes} << 30);
         })},
        // As another program does; the answer is the file.
        {"lock", Helper([](const WCHAR* path) {
             const int file = ::open(LinuxPath(path).c_str(), O_RDWR | O_CLOEXEC);
             return ::flock(file, LOCK_EX) == 0 ? file : -1;
         })},
        {"unlock", Bind(&::close, plain)},
        {"run", Helper([](const char* command) { return std::system(command); })},
    };
}

} // namespace test
