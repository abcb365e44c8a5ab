// A preloaded library that makes one call of a program fail, or kills the program at it. The program itself knows
// nothing of it. Settings, from the environment:
//   FAULT_CLASS    kinds of calls that are counted, parted by commas: see `classes`
//   FAULT_AT       the number of the call, counted from 1 and from the program's main function on
//   FAULT_ACTION   fail: this call; failon: this one and all behind it; kill: SIGKILL before it
//   FAULT_ERROR    (optional) the error number that a failing call gives: errno's, or the database library's result
//   FAULT_REPORT   file that is told of the fault when it is met, and at the end what was counted and left open
// Programs that the program starts are left alone.

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <regex>
#include <sqlite3.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace
{

constexpr const char* none = "none"; // the class of a call that is never counted
std::string counted;
std::string action;
std::uint64_t faultAt = 0;
int chosenError = 0;
int report = -1;
std::atomic<std::uint64_t> count = 0;
std::atomic<bool> isArmed = false;

/// Whether this call is one to fail or to kill at. @return false as well for a call that is none of those counted
bool IsMet(const char* kind, const char* call)
{
    if (!isArmed || counted.find(kind) == counted.npos)
        return false;
    const std::uint64_t number = ++count;
    if (number < faultAt || (number > faultAt && action != "failon"))
        return false;
    if (number == faultAt)
        ::dprintf(report, "met %s\n", call); // allocates nothing, and is not counted
    if (action == "kill")
        ::kill(::getpid(), SIGKILL);
    return true;
}

// Every function that is stood in for takes up to six numbers and pointers, which are passed on as they come.
using Word = std::intptr_t;
using Function = Word(Word, Word, Word, Word, Word, Word);

template <class Found>
Found* Next(Found*& next, const char* name)
{
    if (next == nullptr)
        next = reinterpret_cast<Found*>(::dlsym(RTLD_NEXT, name));
    return next;
}

int Error(int usual)
{
    return chosenError != 0 ? chosenError : usual;
}

Word WithErrno(Word result, int usual)
{
    errno = Error(usual);
    return result;
}

/// Where a pointer was to go.
Word WithNothing(Word place, int usual)
{
    *reinterpret_cast<void**>(place) = nullptr;
    return Error(usual);
}

bool IsLocking(Word command, Word lock)
{
    const bool isOne =
        (command >= F_GETLK && command <= F_SETLKW) || (command >= F_OFD_GETLK && command <= F_OFD_SETLKW);
    return isOne && reinterpret_cast<const struct ::flock*>(lock)->l_type != F_UNLCK;
}

} // namespace

// The names of the functions stand in for the real ones; their own declarations stay out of the way.
#define STANDS_FOR(name) __asm__(#name)
#define FAULT(kind, name, failed)                                                                                      \
    extern "C" Word Fault_##name(Word a, Word b, Word c, Word d, Word e, Word f) STANDS_FOR(name);                     \
    extern "C" Word Fault_##name(Word a, Word b, Word c, Word d, Word e, Word f)                                       \
    {                                                                                                                  \
        static Function* next = nullptr;                                                                               \
        return IsMet(kind, #name) ? failed : Next(next, #name)(a, b, c, d, e, f);                                      \
    }

FAULT("allocation", malloc, WithErrno(0, ENOMEM))
FAULT("allocation", calloc, WithErrno(0, ENOMEM))
FAULT("allocation", realloc, WithErrno(0, ENOMEM))
FAULT("allocation", mmap, WithErrno(-1, ENOMEM))
FAULT("allocation", mmap64, WithErrno(-1, ENOMEM))

FAULT("open", open, WithErrno(-1, EACCES))
FAULT("open", open64, WithErrno(-1, EACCES))
FAULT("open", opendir, WithErrno(0, EACCES))
FAULT("open", memfd_create, WithErrno(-1, EMFILE))

// What is told to the terminal, or to whoever reads it, is no change of anything.
FAULT(static_cast<int>(a) <= STDERR_FILENO ? none : "write", write, WithErrno(-1, ENOSPC))
FAULT("write", pwrite64, WithErrno(-1, ENOSPC))
FAULT("write", ftruncate, WithErrno(-1, ENOSPC))
FAULT("write", ftruncate64, WithErrno(-1, ENOSPC))
FAULT("write", posix_fallocate, Error(ENOSPC))
FAULT("write", fchmod, WithErrno(-1, EPERM))
FAULT("write", fchown, WithErrno(-1, EPERM))
FAULT("write", chmod, WithErrno(-1, EPERM))

FAULT("rename", rename, WithErrno(-1, EACCES))
FAULT("rename", link, WithErrno(-1, EACCES))
FAULT("rename", unlink, WithErrno(-1, EACCES))
FAULT("rename", mkdir, WithErrno(-1, EACCES))
FAULT("rename", rmdir, WithErrno(-1, EACCES))

// Giving a lock back never fails.
FAULT((b & LOCK_UN) != 0 ? none : "lock", flock, WithErrno(-1, ENOLCK))
FAULT(IsLocking(b, c) ? "lock" : none, fcntl, WithErrno(-1, ENOLCK))
FAULT(IsLocking(b, c) ? "lock" : none, fcntl64, WithErrno(-1, ENOLCK))

FAULT("registry", sqlite3_open, WithNothing(b, SQLITE_NOMEM))
FAULT("registry", sqlite3_open_v2, WithNothing(b, SQLITE_CANTOPEN))
FAULT("registry", sqlite3_prepare_v2, WithNothing(d, SQLITE_IOERR))
FAULT("registry", sqlite3_prepare_v3, WithNothing(e, SQLITE_IOERR))
FAULT("registry", sqlite3_step, Error(SQLITE_IOERR))
FAULT("registry", sqlite3_exec, Error(SQLITE_IOERR))
FAULT("registry", sqlite3_bind_int64, Error(SQLITE_NOMEM))
FAULT("registry", sqlite3_bind_blob64, Error(SQLITE_NOMEM))
FAULT("registry", sqlite3_column_blob, 0)
FAULT("registry", sqlite3_serialize, 0)

FAULT("module", dlopen, 0)

FAULT("document", xmlCreateMemoryParserCtxt, 0)
FAULT("document", xmlParseDocument, -1)
FAULT("document", xmlValidateQName, -1)
FAULT("document", iconv_open, WithErrno(-1, ENOMEM))

FAULT("process", posix_spawn, Error(EAGAIN))

// All forms, because a sanitizer brings each of its own.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return std::malloc(size);
}
void* operator new(std::size_t size)
{
    void* const memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

// The C library's own look-up of a user ends in an assertion or worse where memory runs out in it: nothing of this
// project could mend that.
extern "C" void* Fault_getpwuid(unsigned id) STANDS_FOR(getpwuid);
extern "C" void* Fault_getpwuid(unsigned id)
{
    static void* (*next)(unsigned) = nullptr;
    const bool wasArmed = isArmed.exchange(false);
    void* const user = Next(next, "getpwuid")(id);
    isArmed = wasArmed;
    return user;
}

namespace
{

void ReportEnd()
{
    isArmed = false;
    ::dprintf(report, "calls %ju\n", std::uintmax_t(count));
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        const int number = std::stoi(entry.path().filename());
        const std::string target = std::filesystem::read_symlink(entry.path());
        if (number > STDERR_FILENO && number != report && !target.ends_with("/fd"))
            ::dprintf(report, "open %s\n", target.c_str());
    }
}

[[noreturn]] void Refuse(const char* name, const std::string& text)
{
    constexpr int badSettings = 2;
    ::dprintf(STDERR_FILENO, "faults: %s cannot be \"%s\"\n", name, text.c_str());
    ::_exit(badSettings);
}

/// Takes a setting out of the environment.
std::string Setting(const char* name, const std::string& form)
{
    const char* const text = std::getenv(name);
    std::string setting = text == nullptr ? "" : text;
    if (!std::regex_match(setting, std::regex(form)))
        Refuse(name, setting);
    ::unsetenv(name);
    return setting;
}

using MainFunction = int(int, char**, char**);
MainFunction* programMain = nullptr;

int ArmedMain(int argumentCount, char** arguments, char** environment)
{
    const std::string kind = "(open|write|rename|lock|registry|allocation|module|document|process)";
    counted = Setting("FAULT_CLASS", kind + "(," + kind + ")*");
    action = Setting("FAULT_ACTION", "fail|failon|kill");
    faultAt = std::stoull(Setting("FAULT_AT", "[1-9][0-9]*"));
    chosenError = std::stoi('0' + Setting("FAULT_ERROR", "[0-9]*"));
    const std::string path = Setting("FAULT_REPORT", ".+");
    report = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (report < 0)
        Refuse("FAULT_REPORT", path);
    ::unsetenv("LD_PRELOAD");
    std::atexit(&ReportEnd); // the first one in is the last one out
    isArmed = true;
    return programMain(argumentCount, arguments, environment);
}

} // namespace

extern "C" int Fault_start(MainFunction* main, Word, Word, Word, Word, Word, Word) STANDS_FOR(__libc_start_main);
extern "C" int Fault_start(MainFunction* main, Word a, Word b, Word c, Word d, Word e, Word f)
{
    static int (*next)(MainFunction*, Word, Word, Word, Word, Word, Word) = nullptr;
    programMain = main;
    return Next(next, "__libc_start_main")(&ArmedMain, a, b, c, d, e, f);
}
