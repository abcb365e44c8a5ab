// Local memory, and probes of memory that may not be there.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <windows.h>

namespace
{

std::uintptr_t PageSize()
{
    static const auto size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

/// Lets the kernel read a signal set there; it refuses the operation's number only afterwards. A null set it would not
/// read at all, and nothing lies in the first page.
bool IsReadable(std::uintptr_t address)
{
    constexpr std::uintptr_t setSize = 8;
    constexpr int noOperation = -1;
    return address >= PageSize() &&
           (::syscall(SYS_rt_sigprocmask, noOperation, address & ~(setSize - 1), nullptr, setSize) == 0 ||
            errno != EFAULT);
}

/// Lets the kernel add 0 to a number there, atomically.
bool IsWritable(std::uintptr_t address)
{
    const std::uintptr_t word = address & ~std::uintptr_t{3};
    return ::syscall(
               SYS_futex, word, FUTEX_WAKE_OP | FUTEX_PRIVATE_FLAG, 0, nullptr, word,
               FUTEX_OP(FUTEX_OP_ADD, 0, FUTEX_OP_CMP_EQ, 0)) >= 0;
}

/// A text that ends in time is read no further than its end; the bytes behind it belong to others.
template <class Char>
__attribute__((no_sanitize("address"))) BOOL IsBadText(const Char* text, UINT_PTR most)
{
    std::uintptr_t readableBelow = 0;
    for (; most != 0; --most, ++text)
    {
        const auto address = reinterpret_cast<std::uintptr_t>(text);
        if (address >= readableBelow)
        {
            if (!IsReadable(address))
                return TRUE;
            readableBelow = (address / PageSize() + 1) * PageSize();
        }
        if (*text == 0)
            return FALSE;
    }
    return FALSE;
}

} // namespace

BOOL IsBadStringPtrA(LPCSTR text, UINT_PTR most)
{
    return IsBadText(text, most);
}

BOOL IsBadStringPtrW(LPCWSTR text, UINT_PTR most)
{
    return IsBadText(text, most);
}

BOOL IsBadWritePtr(LPVOID memory, UINT_PTR bytes)
{
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    for (std::uintptr_t at = begin; at - begin < bytes; at = (at / PageSize() + 1) * PageSize())
        if (!IsWritable(at))
            return TRUE;
    return FALSE;
}

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes)
{
    const std::size_t size = std::max<std::size_t>(bytes, 1);
    void* memory = (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, size) : std::malloc(size);
    if (memory == nullptr)
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

HLOCAL LocalFree(HLOCAL memory)
{
    std::free(memory);
    return nullptr;
}
