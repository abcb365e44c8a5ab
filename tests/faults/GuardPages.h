// Memory of the agent between pages that nobody may touch: each block ends where its page ends, and nobody can touch it
// after its release. Code that is not instrumented, the system's own too, is caught here.
#pragma once

#include <algorithm>
#include <cstring>
#include <oleauto.h>
#include <windows.h>

namespace faults
{

constexpr std::size_t pageSize = 4096;
constexpr char fence = '\xF9'; // before a block, as it does not begin where its page does

struct Head // on the page before the block
{
    std::size_t size;
    const void* block;
};

inline std::size_t WholePages(std::size_t size)
{
    return std::max((size + pageSize - 1) / pageSize, std::size_t{1}) * pageSize;
}

/// @return the reservation that `memory` is in, null for none; its first page is readable until the release
inline char* ReservationOf(const void* memory)
{
    MEMORY_BASIC_INFORMATION about{};
    ::VirtualQuery(memory, &about, sizeof(about));
    return static_cast<char*>(about.AllocationBase);
}

inline void* Allocate(std::size_t size)
{
    const std::size_t whole = WholePages(size);
    auto* const base = static_cast<char*>(::VirtualAlloc(nullptr, whole + 2 * pageSize, MEM_RESERVE, PAGE_NOACCESS));
    if (base == nullptr || ::VirtualAlloc(base, pageSize + whole, MEM_COMMIT, PAGE_READWRITE) == nullptr)
        return nullptr;
    char* const block = base + pageSize + whole - size;
    std::fill(base + pageSize, block, fence);
    *reinterpret_cast<Head*>(base) = {size, block};
    return block;
}

inline void Release(void* memory)
{
    if (memory == nullptr)
        return;
    char* const base = ReservationOf(memory);
    if (base == nullptr)
        __builtin_trap();
    const Head head = *reinterpret_cast<const Head*>(base); // a crash when it was released before
    const auto isFence = [](char c) { return c == fence; };
    if (head.block != memory || !std::all_of(base + pageSize, static_cast<char*>(memory), isFence))
        __builtin_trap();
    ::VirtualFree(base, pageSize + WholePages(head.size), MEM_DECOMMIT); // stays reserved: no later block is there
}

inline void* AllocateZeros(std::size_t count, std::size_t size)
{
    void* const memory = Allocate(count * size);
    return memory == nullptr ? nullptr : std::memset(memory, 0, count * size);
}

/// A BSTR: its length in bytes stands before the text.
inline BSTR WINAPI AllocateString(const OLECHAR* text, UINT length)
{
    const UINT bytes = length * static_cast<UINT>(sizeof(OLECHAR));
    auto* const memory = static_cast<char*>(AllocateZeros(1, sizeof(UINT) + bytes + sizeof(OLECHAR)));
    if (memory == nullptr)
        return nullptr;
    std::memcpy(memory, &bytes, sizeof(bytes));
    if (text != nullptr)
        std::memcpy(memory + sizeof(UINT), text, bytes);
    return reinterpret_cast<BSTR>(memory + sizeof(UINT));
}

inline void WINAPI ReleaseString(BSTR text)
{
    char* const memory = reinterpret_cast<char*>(text) - sizeof(UINT);
    const char* const base = text == nullptr ? nullptr : ReservationOf(memory);
    if (base != nullptr && reinterpret_cast<const Head*>(base)->block == memory)
        Release(memory);
    else
        ::SysFreeString(text); // the document model's own
}

} // namespace faults
