// Preloaded: counts the allocations of a program and appends their number to the file ALLOCATIONS.PID.
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);
}

namespace
{

std::atomic<unsigned long> allocations = 0;

[[gnu::destructor]] void Report()
{
    const unsigned long counted = allocations;
    char path[4096];
    std::snprintf(path, sizeof(path), "%s.%d", std::getenv("ALLOCATIONS"), ::getpid());
    if (std::FILE* const file = std::fopen(path, "w"))
    {
        std::fprintf(file, "%lu\n", counted);
        std::fclose(file);
    }
}

} // namespace

extern "C" void* malloc(std::size_t bytes)
{
    ++allocations;
    return __libc_malloc(bytes);
}
extern "C" void* calloc(std::size_t count, std::size_t bytes)
{
    ++allocations;
    return __libc_calloc(count, bytes);
}
extern "C" void* realloc(void* memory, std::size_t bytes)
{
    ++allocations;
    return __libc_realloc(memory, bytes);
}
