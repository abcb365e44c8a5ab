// The runtime library of the checked build (CheckedBuild.cmake): what code built with -fsanitize=kernel-address calls.
// Eight bytes of memory have one byte of shadow: 0, all may be touched; 1 to 7, only so many of them; below 0, none.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <windows.h>

namespace
{
using Address = std::uintptr_t;
using Size = std::size_t;
// Values of the shadow; GCC writes others below 0 for the variables of functions.
constexpr std::int8_t Open = 0, ScopeLeft = -8, GlobalEnd = -7, HeapStart = -6, HeapEnd = -5, FreedStart = -4,
                      Freed = -3;
constexpr Address shadowStart = 0x100000000000, shadowSize = 0x100000000000; // for 128 TB; as in CheckedBuild.cmake
constexpr Size granule = 8, redZone = 16;
constexpr UINT exitCode = 99;

std::int8_t& ShadowOf(Address address)
{
    return reinterpret_cast<std::int8_t*>(shadowStart)[address / granule];
}
void Fill(Address from, Address end, std::int8_t value)
{
    for (; from < end; from += granule)
        ShadowOf(from) = value;
}
/// Of the memory up to `end`, only the first bytes may be touched.
void Enclose(Address from, Size size, Address end, std::int8_t behind)
{
    const Address lastGranule = from + size / granule * granule;
    Fill(from, lastGranule, Open);
    Fill(lastGranule, end, behind);
    if (size % granule != 0)
        ShadowOf(lastGranule) = static_cast<std::int8_t>(size % granule);
}

/// Says what was found and where, as `addr2line -e FILE 0x140000000+OFFSET` understands it, and ends the process.
void Report(const char* what, Size size, Address address, const void* code)
{
    HMODULE module = nullptr;
    char file[MAX_PATH] = "", text[2 * MAX_PATH];
    constexpr DWORD fromAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    ::GetModuleHandleExA(fromAddress, static_cast<const char*>(code), &module);
    ::GetModuleFileNameA(module, file, sizeof(file));
    const int length = std::snprintf(
        text, sizeof(text), "MemoryCheck: %s of %llu bytes at 0x%llx, by %s+0x%llx\n", what, size, address, file,
        reinterpret_cast<Address>(code) - reinterpret_cast<Address>(module));
    DWORD written;
    ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(length), &written, nullptr);
    ::OutputDebugStringA(text);
    ::TerminateProcess(::GetCurrentProcess(), exitCode);
}
void Check(const char* what, Address from, Size size, const void* code)
{
    for (Address at = from, end = from + size, next; at < end; at = next)
    {
        next = std::min((at / granule + 1) * granule, end);
        if (const std::int8_t open = ShadowOf(at);
            open != Open && static_cast<std::int8_t>((next - 1) % granule) >= open)
            return Report(what, size, from, code);
    }
}

/// The shadow is allocated where it is touched first.
LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode == EXCEPTION_ILLEGAL_INSTRUCTION)
        Report("undefined behaviour", 0, 0, record.ExceptionAddress);
    const Address touched = record.ExceptionInformation[1];
    if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || touched - shadowStart >= shadowSize)
        return EXCEPTION_CONTINUE_SEARCH;
    constexpr Size block = 0x10000; // as it is reserved at once; another thread may have been quicker
    auto* const start = reinterpret_cast<void*>(touched / block * block);
    ::VirtualAlloc(start, block, MEM_RESERVE, PAGE_READWRITE);
    return ::VirtualAlloc(start, block, MEM_COMMIT, PAGE_READWRITE) != nullptr ? EXCEPTION_CONTINUE_EXECUTION
                                                                               : EXCEPTION_CONTINUE_SEARCH;
}
void* handler;
int Start()
{
    handler = ::AddVectoredExceptionHandler(1, &OnException);
    return handler != nullptr ? 0 : 1;
}
// In this section the C library looks for what it calls first of all, before it allocates anything itself.
__attribute__((section(".CRT$XIB"), used)) int (*const start)() = Start;
extern "C" const IMAGE_DOS_HEADER __ImageBase;
/// A library that is unloaded takes its handler along; a program needs its own to the very end.
__attribute__((destructor(101))) void Stop()
{
    if (static_cast<const void*>(&__ImageBase) != ::GetModuleHandleW(nullptr))
        ::RemoveVectoredExceptionHandler(handler);
}

Size BlockSize(Size size)
{
    return redZone + (size + granule - 1) / granule * granule + redZone;
}
} // namespace

extern "C" {
// clang-format off
#define CHECK(what, address, size) Check(what, reinterpret_cast<Address>(address), size, __builtin_return_address(0))
#define ACCESS(size) \
    void __asan_load##size##_noabort(const void* at) { CHECK("read", at, size); } \
    void __asan_store##size##_noabort(const void* at) { CHECK("write", at, size); }
ACCESS(1) ACCESS(2) ACCESS(4) ACCESS(8) ACCESS(16)
void __asan_loadN_noabort(const void* at, Size size) { CHECK("read", at, size); }
void __asan_storeN_noabort(const void* at, Size size) { CHECK("write", at, size); }
void __asan_poison_stack_memory(Address at, Size size) { Fill(at, at + size, ScopeLeft); }
void __asan_unpoison_stack_memory(Address at, Size size) { Enclose(at, size, at + size, Open); }

struct Global { Address start; Size size, wholeSize; const void* rest[5]; }; // as GCC writes it
void __asan_register_globals(const Global* at, Size count)
{
    for (; count != 0; --count, ++at) Enclose(at->start, at->size, at->start + at->wholeSize, GlobalEnd);
}
void __asan_unregister_globals(const Global* at, Size count) // of a library that is unloaded
{
    for (; count != 0; --count, ++at) Fill(at->start, at->start + at->wholeSize, Open);
}
void __asan_before_dynamic_init(const char*) {}
void __asan_after_dynamic_init() {}
void __asan_handle_no_return() // the frames above may be left: nothing of them stays forbidden
{
    MEMORY_BASIC_INFORMATION stack{};
    ::VirtualQuery(&stack, &stack, sizeof(stack));
    Fill(reinterpret_cast<Address>(&stack), reinterpret_cast<Address>(stack.BaseAddress) + stack.RegionSize, Open);
}

// The linker puts __wrap_X in the place of X, which is called __real_X then. The standard library throws through
// instrumented frames without being instrumented; and nobody else checks what is copied and filled.
#define THROW(name) int __real_##name(void*); \
    int __wrap_##name(void* exception) { __asan_handle_no_return(); return __real_##name(exception); }
THROW(_Unwind_RaiseException) THROW(_Unwind_Resume_or_Rethrow)
#define COPY(name) void* __real_##name(void*, const void*, Size); \
    void* __wrap_##name(void* to, const void* from, Size size) \
    { CHECK("read", from, size); CHECK("write", to, size); return __real_##name(to, from, size); }
COPY(memcpy) COPY(memmove)
void* __real_memset(void*, int, Size);
void* __wrap_memset(void* to, int value, Size size) { CHECK("write", to, size); return __real_memset(to, value, size); }
// clang-format on

// A block has a red zone on each side, its size in the first, and is kept for a while after its release. realloc, which
// nobody calls, does not know these blocks.
void* __real_malloc(Size);
void __real_free(void*);
void* __wrap_malloc(Size size)
{
    auto* const block = size > PTRDIFF_MAX ? nullptr : static_cast<Size*>(__real_malloc(BlockSize(size)));
    if (block == nullptr)
        return nullptr;
    const auto start = reinterpret_cast<Address>(block);
    *block = size;
    Fill(start, start + redZone, HeapStart);
    Enclose(start + redZone, size, start + BlockSize(size), HeapEnd);
    return reinterpret_cast<void*>(start + redZone);
}
void* __wrap_calloc(Size count, Size size)
{
    Size bytes;
    void* const memory = __builtin_mul_overflow(count, size, &bytes) ? nullptr : __wrap_malloc(bytes);
    return memory == nullptr ? nullptr : std::memset(memory, 0, bytes);
}
void __wrap_free(void* memory)
{
    static std::atomic<Size*> released[1024];
    static std::atomic<unsigned> next;
    const Address start = reinterpret_cast<Address>(memory) - redZone;
    if (memory != nullptr && ShadowOf(start) == FreedStart)
        Report("second release", 0, start + redZone, __builtin_return_address(0));
    if (memory == nullptr || ShadowOf(start) != HeapStart) // the C library's own
        return __real_free(memory);
    auto* block = reinterpret_cast<Size*>(start);
    Fill(start, start + redZone, FreedStart);
    Fill(start + redZone, start + BlockSize(*block), Freed);
    block = released[next++ % std::size(released)].exchange(block);
    if (block != nullptr)
        Fill(reinterpret_cast<Address>(block), reinterpret_cast<Address>(block) + BlockSize(*block), Open);
    __real_free(block);
}
}
