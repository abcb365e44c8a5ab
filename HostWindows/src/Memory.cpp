// Local memory.

#include <algorithm>
#include <cstdlib>
#include <windows.h>

HLOCAL LocalAlloc(UINT, SIZE_T bytes)
{
    void* memory = std::calloc(1, std::max<std::size_t>(bytes, 1));
    if (memory == nullptr)
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

HLOCAL LocalFree(HLOCAL memory)
{
    std::free(memory);
    return nullptr;
}
