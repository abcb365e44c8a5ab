// A preloaded library that makes one call of a program fail, or kills the program at it. The program itself knows
// nothing of it. Settings, from the environment:
//   FAULT_CLASS    kinds of calls that are counted, parted by commas: see `classes`
//   FAULT_AT       the number of the call, counted from 1 and from the program's main function on
//   FAULT_ACTION   fail: this call; failon: this one and all behind it; kill, killafter: SIGKILL before it or behind it
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
#include <cstring>
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
    KillAfter,
};
constexpr std::string_view actions[] = {"fail", "failon", "kill", "killafter"};

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
    std::size_t length = 0;
    for (const std::string_view piece : pieces)
        length += piece.copy(line + length, sizeof(line) - length);
    ::syscall(SYS_write, file, line, length);
}

struct Digits
{
    explicit Digits(std::uint64_t number) : end(std::to_chars(std::begin(text), std::end(text), number).ptr) {}
    operator std::string_view() const { return {text, static_cast<std::size_t>(end - text)}; }
    char text[20];
    char* end;
};

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

template <class Real, class Failed>
auto Pass(Class kind, std::string_view call, const Real& real, const Failed& failed)
{
    if (!IsMet(kind, call))
        return real();
    if (action != KillAfter)
        return failed();
    real();
    ::kill(::getpid(), SIGKILL);
    return failed();
}

int Error(int usual)
{
    return chosenError != 0 ? chosenError : usual;
}

template <class Result>
Result WithErrno(Result result, int usual)
{
    errno = Error(usual);
    return result;
}

// ---- allocation -----------------------------------------------------------------------------------------------------

// dlsym may itself allocate while it looks for the allocator.
alignas(16) char early[8192];
std::size_t earlyUsed = 0;
bool isLooking = false;

template <class Function>
Function* Next(Function*& next, const char* name)
{
    if (next == nullptr)
    {
        isLooking = true;
        next = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
        isLooking = false;
    }
    return next;
}

bool IsEarly(const void* memory)
{
    return memory >= early && memory < early + sizeof(early);
}

void* EarlyMemory(std::size_t size)
{
    const std::size_t at = earlyUsed;
    earlyUsed += (size + 15) / 16 * 16;
    return early + at;
}

void* NoMemory()
{
    return WithErrno<void*>(nullptr, ENOMEM);
}

using MallocFunction = void*(std::size_t);
using CallocFunction = void*(std::size_t, std::size_t);
using ReallocFunction = void*(void*, std::size_t);
using FreeFunction = void(void*);
constinit MallocFunction* nextMalloc = nullptr;
constinit CallocFunction* nextCalloc = nullptr;
constinit ReallocFunction* nextRealloc = nullptr;
constinit FreeFunction* nextFree = nullptr;
constinit CallocFunction* nextAligned = nullptr;

} // namespace

// The names of the functions stand in for the real ones; their own declarations, which differ in what they promise,
// stay out of the way.
#define STANDS_FOR(name) __asm__(#name)

extern "C" {
void* FaultMalloc(std::size_t) STANDS_FOR(malloc);
void* FaultCalloc(std::size_t, std::size_t) STANDS_FOR(calloc);
void* FaultRealloc(void*, std::size_t) STANDS_FOR(realloc);
void* FaultAligned(std::size_t, std::size_t) STANDS_FOR(aligned_alloc);
void FaultFree(void*) STANDS_FOR(free);

void* FaultMalloc(std::size_t size)
{
    if (isLooking)
        return EarlyMemory(size);
    return Pass(
        Allocation, "malloc", [&] { return Next(nextMalloc, "malloc")(size); }, NoMemory);
}
void* FaultCalloc(std::size_t number, std::size_t size)
{
    if (isLooking)
        return EarlyMemory(number * size);
    return Pass(
        Allocation, "calloc", [&] { return Next(nextCalloc, "calloc")(number, size); }, NoMemory);
}
void* FaultRealloc(void* memory, std::size_t size)
{
    return Pass(
        Allocation, "realloc", [&] { return Next(nextRealloc, "realloc")(memory, size); }, NoMemory);
}
void* FaultAligned(std::size_t alignment, std::size_t size)
{
    return Pass(
        Allocation, "aligned_alloc", [&] { return Next(nextAligned, "aligned_alloc")(alignment, size); }, NoMemory);
}
void FaultFree(void* memory)
{
    if (!IsEarly(memory))
        Next(nextFree, "free")(memory);
}
}

// All forms, because a sanitizer brings each of its own.
void* operator new(std::size_t size)
{
    void* const memory = FaultMalloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}
void* operator new[](std::size_t size)
{
    return ::operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return FaultMalloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return FaultMalloc(size);
}

// ---- all other calls ------------------------------------------------------------------------------------------------

#define FAULT(kind, Result, name, parameters, arguments, failed)                                                       \
    extern "C" Result Fault_##name parameters STANDS_FOR(name);                                                        \
    extern "C" Result Fault_##name parameters                                                                          \
    {                                                                                                                  \
        using Function = Result parameters;                                                                            \
        static constinit Function* next = nullptr;                                                                     \
        return Pass(                                                                                                   \
            kind, #name, [&]() -> Result { return Next(next, #name) arguments; }, [&]() -> Result { return failed; }); \
    }

#define NO_FILE WithErrno(-1, EACCES)
#define NO_ROOM WithErrno(-1, ENOSPC)
#define NO_ROOM_WRITTEN WithErrno<::ssize_t>(-1, ENOSPC)

FAULT(Open, int, open, (const char* path, int flags, unsigned mode), (path, flags, mode), NO_FILE)
FAULT(Open, int, open64, (const char* path, int flags, unsigned mode), (path, flags, mode), NO_FILE)
FAULT(Open, int, openat, (int at, const char* path, int flags, unsigned mode), (at, path, flags, mode), NO_FILE)
FAULT(Open, int, openat64, (int at, const char* path, int flags, unsigned mode), (at, path, flags, mode), NO_FILE)
FAULT(Open, void*, opendir, (const char* path), (path), WithErrno<void*>(nullptr, EACCES))
FAULT(Open, int, memfd_create, (const char* name, unsigned flags), (name, flags), NO_FILE)

// What is told to the terminal, or to whoever reads it, is no change of anything.
FAULT(
    file <= STDERR_FILENO ? None : Write, ::ssize_t, write, (int file, const void* data, std::size_t size),
    (file, data, size), NO_ROOM_WRITTEN)
FAULT(
    Write, ::ssize_t, pwrite, (int file, const void* data, std::size_t size, ::off_t at), (file, data, size, at),
    NO_ROOM_WRITTEN)
FAULT(
    Write, ::ssize_t, pwrite64, (int file, const void* data, std::size_t size, ::off_t at), (file, data, size, at),
    NO_ROOM_WRITTEN)
FAULT(Write, int, ftruncate, (int file, ::off_t size), (file, size), NO_ROOM)
FAULT(Write, int, ftruncate64, (int file, ::off_t size), (file, size), NO_ROOM)
FAULT(Write, int, posix_fallocate, (int file, ::off_t at, ::off_t size), (file, at, size), Error(ENOSPC))
FAULT(Write, int, posix_fallocate64, (int file, ::off_t at, ::off_t size), (file, at, size), Error(ENOSPC))
FAULT(Write, int, fchmod, (int file, unsigned mode), (file, mode), WithErrno(-1, EPERM))
FAULT(Write, int, fchown, (int file, unsigned user, unsigned group), (file, user, group), WithErrno(-1, EPERM))
FAULT(Write, int, chmod, (const char* path, unsigned mode), (path, mode), WithErrno(-1, EPERM))

FAULT(Rename, int, rename, (const char* from, const char* to), (from, to), NO_FILE)
FAULT(Rename, int, link, (const char* from, const char* to), (from, to), NO_FILE)
FAULT(Rename, int, unlink, (const char* path), (path), NO_FILE)
FAULT(Rename, int, mkdir, (const char* path, unsigned mode), (path, mode), NO_FILE)
FAULT(Rename, int, rmdir, (const char* path), (path), NO_FILE)

// Giving a lock back never fails.
FAULT(
    (operation & LOCK_UN) != 0 ? None : Lock, int, flock, (int file, int operation), (file, operation),
    WithErrno(-1, ENOLCK))
bool IsLock(int command, const void* lock)
{
    const bool isOne =
        (command >= F_GETLK && command <= F_SETLKW) || (command >= F_OFD_GETLK && command <= F_OFD_SETLKW);
    return isOne && static_cast<const struct ::flock*>(lock)->l_type != F_UNLCK;
}
FAULT(
    IsLock(command, argument) ? Lock : None, int, fcntl, (int file, int command, void* argument),
    (file, command, argument), WithErrno(-1, ENOLCK))
FAULT(
    IsLock(command, argument) ? Lock : None, int, fcntl64, (int file, int command, void* argument),
    (file, command, argument), WithErrno(-1, ENOLCK))

FAULT(
    Registry, int, sqlite3_open_v2, (const char* name, void** database, int flags, const char* system),
    (name, database, flags, system), (*database = nullptr, Error(SQLITE_CANTOPEN)))
FAULT(
    Registry, int, sqlite3_open, (const char* name, void** database), (name, database),
    (*database = nullptr, Error(SQLITE_NOMEM)))
FAULT(
    Registry, int, sqlite3_prepare_v2,
    (void* database, const char* text, int size, void** statement, const char** tail),
    (database, text, size, statement, tail), (*statement = nullptr, Error(SQLITE_IOERR)))
FAULT(
    Registry, int, sqlite3_prepare_v3,
    (void* database, const char* text, int size, unsigned flags, void** statement, const char** tail),
    (database, text, size, flags, statement, tail), (*statement = nullptr, Error(SQLITE_IOERR)))
FAULT(Registry, int, sqlite3_step, (void* statement), (statement), Error(SQLITE_IOERR))
FAULT(
    Registry, int, sqlite3_exec, (void* database, const char* text, void* each, void* given, char** message),
    (database, text, each, given, message), Error(SQLITE_IOERR))
FAULT(
    Registry, int, sqlite3_bind_int64, (void* statement, int at, std::int64_t number), (statement, at, number),
    Error(SQLITE_NOMEM))
FAULT(
    Registry, int, sqlite3_bind_blob64,
    (void* statement, int at, const void* data, std::uint64_t size, void (*release)(void*)),
    (statement, at, data, size, release), Error(SQLITE_NOMEM))
FAULT(Registry, const void*, sqlite3_column_blob, (void* statement, int at), (statement, at), nullptr)
FAULT(
    Registry, unsigned char*, sqlite3_serialize,
    (void* database, const char* schema, std::int64_t* size, unsigned flags), (database, schema, size, flags), nullptr)

FAULT(Module, void*, dlopen, (const char* path, int mode), (path, mode), nullptr)

FAULT(
    Document, void*, xmlCreateIOParserCtxt,
    (void* sax, void* user, void* read, void* close, void* context, int encoding),
    (sax, user, read, close, context, encoding), nullptr)
FAULT(Document, int, xmlCtxtUseOptions, (void* context, int options), (context, options), options)
FAULT(Document, int, xmlParseDocument, (void* context), (context), -1)
FAULT(Document, int, xmlSAXVersion, (void* sax, int version), (sax, version), -1)
FAULT(Document, const char*, xmlDictLookup, (void* names, const char* name, int size), (names, name, size), nullptr)
FAULT(
    Document, const char*, xmlDictQLookup, (void* names, const char* prefix, const char* name), (names, prefix, name),
    nullptr)
FAULT(Document, int, xmlValidateQName, (const char* name, int space), (name, space), -1)
FAULT(
    Document, void*, iconv_open, (const char* to, const char* from), (to, from),
    WithErrno(reinterpret_cast<void*>(-1), ENOMEM))

FAULT(
    Process, int, posix_spawn,
    (int* id, const char* path, const void* actions, const void* attributes, char* const* arguments,
     char* const* environment),
    (id, path, actions, attributes, arguments, environment), Error(EAGAIN))

// The C library's own look-up of a user ends in an assertion or worse where memory runs out in it: nothing of this
// project could mend that.
extern "C" void* FaultUser(unsigned id) STANDS_FOR(getpwuid);
extern "C" void* FaultUser(unsigned id)
{
    using Function = void*(unsigned);
    static constinit Function* next = nullptr;
    const bool wasArmed = isArmed.exchange(false);
    void* const user = Next(next, "getpwuid")(id);
    isArmed = wasArmed;
    return user;
}

// ---- the program ----------------------------------------------------------------------------------------------------

namespace
{

void ReportEnd()
{
    isArmed = false;
    Say(report, {"calls ", Digits(count), "\n"});
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

[[noreturn]] void Refuse(std::initializer_list<std::string_view> reason)
{
    constexpr int badSettings = 2;
    Say(STDERR_FILENO, {"faults: "});
    Say(STDERR_FILENO, reason);
    Say(STDERR_FILENO, {"\n"});
    ::syscall(SYS_exit_group, badSettings);
    std::abort();
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
        Refuse({setting, " knows no \"", name, "\""});
    return static_cast<unsigned>(found - std::begin(known));
}

std::uint64_t NumberFrom(const char* setting)
{
    const std::string_view text = Setting(setting);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0)
        Refuse({setting, " is no number from 1 on: \"", text, "\""});
    return number;
}

void ReadSettings()
{
    for (std::string_view rest = Setting("FAULT_CLASS");;)
    {
        const std::size_t comma = rest.find(',');
        counted |= 1U << IndexIn(classes, rest.substr(0, comma), "FAULT_CLASS");
        if (comma == std::string_view::npos)
            break;
        rest.remove_prefix(comma + 1);
    }
    faultAt = NumberFrom("FAULT_AT");
    action = IndexIn(actions, Setting("FAULT_ACTION"), "FAULT_ACTION");
    if (!Setting("FAULT_ERROR").empty())
        chosenError = static_cast<int>(NumberFrom("FAULT_ERROR"));
    const char* const path = std::getenv("FAULT_REPORT");
    report =
        path == nullptr
            ? -1
            : static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (report < 0)
        Refuse({"FAULT_REPORT names no file that can be written"});
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

using StartFunction = int(MainFunction*, int, char**, void (*)(), void (*)(), void (*)(), void*);

} // namespace

extern "C" int FaultStart(
    MainFunction* main, int count, char** arguments, void (*init)(), void (*fini)(), void (*loaderFini)(),
    void* stackEnd) STANDS_FOR(__libc_start_main);
extern "C" int FaultStart(
    MainFunction* main, int argumentCount, char** arguments, void (*init)(), void (*fini)(), void (*loaderFini)(),
    void* stackEnd)
{
    static constinit StartFunction* next = nullptr;
    programMain = main;
    return Next(next, "__libc_start_main")(&ArmedMain, argumentCount, arguments, init, fini, loaderFini, stackEnd);
}
