// Preloaded: a program that ends where its own code would begin. What is left is its start.
#include <cstdlib>
#include <dlfcn.h>

namespace
{

int End(int, char**, char**)
{
    std::_Exit(0);
}

} // namespace

extern "C" int __libc_start_main(
    int (*)(int, char**, char**), int count, char** arguments, void (*init)(), void (*fini)(), void (*rtldFini)(),
    void* stackEnd)
{
    using Start = int (*)(int (*)(int, char**, char**), int, char**, void (*)(), void (*)(), void (*)(), void*);
    const auto start = reinterpret_cast<Start>(::dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(&End, count, arguments, init, fini, rtldFini, stackEnd);
}
