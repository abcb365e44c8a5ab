// Memory of the agent between pages that nobody may touch: each block ends where its page does, and nobody can touch it
// after its release. This sees code that is not instrumented, the system's own too.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <oleauto.h>
#include <windows.h>

namespace faults
{

inline bool isGuarded = true; ///< not FAULT_GUARD=0: a run with very many blocks has more than the system maps
constexpr std::size_t pageSize = 4096;

inline void* Allocate(std::size_t size)
{
    if (!isGuarded)
        return std::calloc(1, std::max(size, std::size_t{1}));
    const std::size_t whole = std::max((size + pageSize - 1) / pageSize, std::size_t{1}) * pageSize;
    auto* const base = static_cast<char*>(::VirtualAlloc(nullptr, whole + 2 * pageSize, MEM_RESERVE, PAGE_NOACCESS));
    if (base == nullptr || ::VirtualAlloc(base, pageSize + whole, MEM_COMMIT, PAGE_READWRITE) == nullptr) // zeros
        return nullptr;
    char* const block = base + pageSize + whole - size;
    *reinterpret_cast<char**>(base) = block; // on a page of its own
    return block;
}

inline void Release(void* memory)
{
    if (!isGuarded)
        return std::free(memory);
    if (memory == nullptr)
        return;
    MEMORY_BASIC_INFORMATION about{};
    ::VirtualQuery(memory, &about, sizeof(about));
    if (*static_cast<void**>(about.AllocationBase) != memory) // after a release this cannot be read: that is a crash
        __builtin_trap();
    ::VirtualFree(about.AllocationBase, 0, MEM_DECOMMIT); // stays reserved: no later block is there
}

/// A BSTR: its length in bytes stands before the text.
inline BSTR WINAPI AllocateString(const OLECHAR* text, UINT length)
{
    const auto bytes = static_cast<UINT>(length * sizeof(OLECHAR));
    auto* const memory = static_cast<char*>(Allocate(sizeof(bytes) + bytes + sizeof(OLECHAR)));
    if (memory == nullptr)
        return nullptr;
    std::memcpy(memory, &bytes, sizeof(bytes));
    if (text != nullptr)
        std::memcpy(memory + sizeof(bytes), text, bytes);
    return reinterpret_cast<BSTR>(memory + sizeof(bytes));
}

inline void WINAPI ReleaseString(BSTR text)
{
    Release(text == nullptr ? nullptr : reinterpret_cast<char*>(text) - sizeof(UINT));
}

} // namespace faults
