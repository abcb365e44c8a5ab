// Makes the error whose name is given, to show that the checked build sees it; ProductTest.py says what is expected.
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

// What the compiler must not know beforehand.
static volatile std::size_t eight = 8;
static volatile int largest = 0x7FFFFFFF, result;
static int global[8], *volatile numbers;

// clang-format off
/// operator new, which is not instrumented, throws through this frame, which cleans up nothing.
[[gnu::noinline]] static void Throw()
{ int values[8]{}; numbers = values; numbers = static_cast<int*>(::operator new(SIZE_MAX - eight)); }

static const struct { std::string_view name; void (*make)(); } plantedErrors[] = {
    {"NoError", [] { try { Throw(); } catch (std::bad_alloc&) {
        numbers = static_cast<int*>(__builtin_alloca(64 * eight)); std::memset(numbers, 0, 64 * eight); } }},
    {"StackWrite", [] { int values[8]; numbers = values; numbers[eight] = 1; }},
    {"StackCopy", [] { int copy[2]; numbers = copy; std::memcpy(numbers, "12345678", eight + 1); }},
    {"StackAfterScope", [] { { int inner = 1; numbers = &inner; } result = *numbers; }},
    {"GlobalRead", [] { numbers = global; result = numbers[eight]; }},
    {"HeapRead", [] { const auto block = std::make_unique<char[]>(13); result = block[eight + 5]; }},
    {"UseAfterDelete", [] { numbers = new int; delete numbers; *numbers = 1; }},
    {"SecondDelete", [] { numbers = new int; delete numbers; delete numbers; }},
    {"SignedOverflow", [] { result = largest + 1; }},
    {"VectorIndex", [] { result = std::vector<int>(8)[eight]; }},
};
// clang-format on

int main(int, char** words)
{
    for (const auto& each : plantedErrors)
        if (each.name == words[1])
            return each.make(), 0;
    return 2;
}
