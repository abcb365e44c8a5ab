// A preloaded library that makes one call of a program fail, or kills the program at it. The program itself knows
// nothing of it. Settings, from the environment:
//   FAULT_CLASS    kinds of calls that are counted, parted by commas: see `classes`
//   FAULT_AT       the number of the call, counted from 1 and from the program's main function on
//   FAULT_ACTION   fail: this call; failon: this one and all behind it; kill: SIGKILL before it
//   FAULT_ERROR    (optional) the error number that a failing call gives: errno's, or the database library's result
//   FAULT_REPORT   file that is told of the fault when it is met, and at the end what was counted and left open
// Programs that the program starts are left alone.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <iterator>
#include <new>
#include <sqlite3.h>
#include <string_view>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" char** environ;

namespace
{

enum Class : unsigned
{
    Open,
    Write,
    Rename,
    Lock,
    Registry,
    Allocation,
    Module,
    Document,
    Process,
    None, // a call that is never counted
};
constexpr std::string_view classes[] = {"open",       "write",  "rename",   "lock",   "registry",
                                        "allocation", "module", "document", "process"};

enum Action : unsigned
{
    Fail,
    FailOn,
    Kill,
};
constexpr std::string_view actions[] = {"fail", "failon", "kill"};

unsigned counted = 0; // a bit for each class
std::uint64_t faultAt = 0;
unsigned action = Fail;
int chosenError = 0;
int report = -1;
std::atomic<std::uint64_t> count = 0;
std::atomic<bool> isArmed = false;

// What is written here must not be counted, and nothing may be allocated for it.
void Say(int file, std::initializer_list<std::string_view> pieces)
{
    char line[512];
    char* end = line;
    for (const std::string_view piece : pieces)
        end = std::copy_n(piece.data(), std::min<std::ptrdiff_t>(std::ssize(piece), std::end(line) - end), end);
    ::syscall(SYS_write, file, line, end - line);
}

/// Whether this call is one to fail or to kill at. @return false as well for a call that is none of those counted
bool IsMet(Class kind, std::string_view call)
{
    if ((counted >> kind & 1U) == 0 || !isArmed)
        return false;
    const std::uint64_t number = ++count;
    if (number < faultAt || (number > faultAt && action != FailOn))
        return false;
    if (number == faultAt)
        Say(report, {"met ", call, "\n"});
    if (action == Kill)
        ::kill(::getpid(), SIGKILL);
    return true;
}

// Every function that is stood in for takes up to six numbers and pointers, which are passed on as they come.
using Word = std::intptr_t;
using Function = Word(Word, Word, Word, Word, Word, Word);

// dlsym may itself allocate while it looks for the allocator, and give back the text of an earlier error.
alignas(16) char early[8192];
std::size_t earlyUsed = 0;
bool isLooking = false;

template <class Found>
Found* Next(Found*& next, const char* name)
{
    if (next == nullptr)
    {
        isLooking = true;
        next = reinterpret_cast<Found*>(::dlsym(RTLD_NEXT, name));
        isLooking = false;
    }
    return next;
}

Word EarlyMemory(Word size)
{
    const std::size_t at = earlyUsed;
    earlyUsed += static_cast<std::size_t>(size + 15) / 16 * 16;
    return reinterpret_cast<Word>(early + at);
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

#define ALLOCATION(name, size)                                                                                         \
    extern "C" Word Fault_##name(Word a, Word b) STANDS_FOR(name);                                                     \
    extern "C" Word Fault_##name(Word a, Word b)                                                                       \
    {                                                                                                                  \
        static Word (*next)(Word, Word) = nullptr;                                                                     \
        if (isLooking)                                                                                                 \
            return EarlyMemory(size);                                                                                  \
        return IsMet(Allocation, #name) ? WithErrno(0, ENOMEM) : Next(next, #name)(a, b);                              \
    }

ALLOCATION(malloc, a)
ALLOCATION(calloc, a* b)
ALLOCATION(realloc, b)
extern "C" void Fault_free(char* memory) STANDS_FOR(free);
extern "C" void Fault_free(char* memory)
{
    static void (*next)(char*) = nullptr;
    if (!isLooking && (memory < early || memory >= std::end(early)))
        Next(next, "free")(memory);
}

FAULT(Allocation, mmap, WithErrno(-1, ENOMEM))
FAULT(Allocation, mmap64, WithErrno(-1, ENOMEM))

// All forms, because a sanitizer brings each of its own.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return reinterpret_cast<void*>(Fault_malloc(static_cast<Word>(size), 0));
}
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept
{
    return ::operator new(size, nothrow);
}
void* operator new(std::size_t size)
{
    void* const memory = ::operator new(size, std::nothrow);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}
void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

FAULT(Open, open, WithErrno(-1, EACCES))
FAULT(Open, open64, WithErrno(-1, EACCES))
FAULT(Open, opendir, WithErrno(0, EACCES))
FAULT(Open, memfd_create, WithErrno(-1, EMFILE))

// What is told to the terminal, or to whoever reads it, is no change of anything.
FAULT(static_cast<int>(a) <= STDERR_FILENO ? None : Write, write, WithErrno(-1, ENOSPC))
FAULT(Write, pwrite64, WithErrno(-1, ENOSPC))
FAULT(Write, ftruncate, WithErrno(-1, ENOSPC))
FAULT(Write, ftruncate64, WithErrno(-1, ENOSPC))
FAULT(Write, posix_fallocate, Error(ENOSPC))
FAULT(Write, fchmod, WithErrno(-1, EPERM))
FAULT(Write, fchown, WithErrno(-1, EPERM))
FAULT(Write, chmod, WithErrno(-1, EPERM))

FAULT(Rename, rename, WithErrno(-1, EACCES))
FAULT(Rename, link, WithErrno(-1, EACCES))
FAULT(Rename, unlink, WithErrno(-1, EACCES))
FAULT(Rename, mkdir, WithErrno(-1, EACCES))
FAULT(Rename, rmdir, WithErrno(-1, EACCES))

// Giving a lock back never fails.
FAULT((b & LOCK_UN) != 0 ? None : Lock, flock, WithErrno(-1, ENOLCK))
FAULT(IsLocking(b, c) ? Lock : None, fcntl, WithErrno(-1, ENOLCK))
FAULT(IsLocking(b, c) ? Lock : None, fcntl64, WithErrno(-1, ENOLCK))

FAULT(Registry, sqlite3_open, WithNothing(b, SQLITE_NOMEM))
FAULT(Registry, sqlite3_open_v2, WithNothing(b, SQLITE_CANTOPEN))
FAULT(Registry, sqlite3_prepare_v2, WithNothing(d, SQLITE_IOERR))
FAULT(Registry, sqlite3_prepare_v3, WithNothing(e, SQLITE_IOERR))
FAULT(Registry, sqlite3_step, Error(SQLITE_IOERR))
FAULT(Registry, sqlite3_exec, Error(SQLITE_IOERR))
FAULT(Registry, sqlite3_bind_int64, Error(SQLITE_NOMEM))
FAULT(Registry, sqlite3_bind_blob64, Error(SQLITE_NOMEM))
FAULT(Registry, sqlite3_column_blob, 0)
FAULT(Registry, sqlite3_serialize, 0)

FAULT(Module, dlopen, 0)

FAULT(Document, xmlCreateMemoryParserCtxt, 0)
FAULT(Document, xmlParseDocument, -1)
FAULT(Document, xmlValidateQName, -1)
FAULT(Document, iconv_open, WithErrno(-1, ENOMEM))

FAULT(Process, posix_spawn, Error(EAGAIN))

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
    char digits[20];
    Say(report, {"calls ", {digits, std::to_chars(digits, std::end(digits), count).ptr}, "\n"});
    if (::DIR* const open = ::opendir("/proc/self/fd"))
    {
        while (const ::dirent* const entry = ::readdir(open))
        {
            const int number = std::atoi(entry->d_name);
            char target[256] = {};
            if (number > STDERR_FILENO && number != report && number != ::dirfd(open) &&
                ::readlinkat(::dirfd(open), entry->d_name, target, sizeof(target) - 1) > 0)
                Say(report, {"open ", target, "\n"});
        }
        ::closedir(open);
    }
}

[[noreturn]] void Refuse(std::string_view setting, std::string_view reason, std::string_view text = {})
{
    constexpr int badSettings = 2;
    Say(STDERR_FILENO, {"faults: ", setting, reason, text, "\n"});
    ::_exit(badSettings);
}

std::string_view Setting(const char* name)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? std::string_view() : text;
}

unsigned IndexIn(auto& known, std::string_view name, std::string_view setting)
{
    const auto found = std::ranges::find(known, name);
    if (found == std::end(known))
        Refuse(setting, " knows no ", name);
    return static_cast<unsigned>(found - std::begin(known));
}

std::uint64_t NumberFrom(const char* setting)
{
    const std::string_view text = Setting(setting);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0)
        Refuse(setting, " is no number from 1 on: ", text);
    return number;
}

void ReadSettings()
{
    const std::string_view names = Setting("FAULT_CLASS");
    for (std::size_t at = 0, comma = 0; comma != names.npos; at = comma + 1)
    {
        comma = names.find(',', at);
        counted |= 1U << IndexIn(classes, names.substr(at, comma - at), "FAULT_CLASS");
    }
    faultAt = NumberFrom("FAULT_AT");
    action = IndexIn(actions, Setting("FAULT_ACTION"), "FAULT_ACTION");
    if (!Setting("FAULT_ERROR").empty())
        chosenError = static_cast<int>(NumberFrom("FAULT_ERROR"));
    if (const char* const path = std::getenv("FAULT_REPORT"))
        report =
            static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (report < 0)
        Refuse("FAULT_REPORT", " names no file that can be written");
    for (const char* name : {"LD_PRELOAD", "FAULT_CLASS", "FAULT_AT", "FAULT_ACTION", "FAULT_ERROR", "FAULT_REPORT"})
        ::unsetenv(name);
}

using MainFunction = int(int, char**, char**);
MainFunction* programMain = nullptr;

int ArmedMain(int argumentCount, char** arguments, char** environment)
{
    ReadSettings();
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
