// What the standard library calls to throw, and when nobody catches. Its own functions bring in two kinds of
// std::string, the demangler and printf: a third of the agent. Here std::length_error, std::out_of_range and the others
// are one class, to be caught as std::exception; its text, which may reach the log, has no values in it. If a function
// is missing here, the linker reports multiple definitions, as it takes the library's object with all of them.
#include <cstdlib>
#include <exception>
#include <new>
#include <string>

namespace
{
class StandardException : public std::exception
{
public:
    explicit StandardException(const char* what) noexcept : m_what(what) {}
    const char* what() const noexcept override { return m_what; }

private:
    const char* m_what; // a literal
};
} // namespace

// clang-format off
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl50-cpp,cert-dcl58-cpp): the library declares these names.
namespace std
{
void __throw_bad_alloc() { throw bad_alloc(); }
void __throw_bad_array_new_length() { throw bad_array_new_length(); }
void __throw_length_error(const char* what) { throw StandardException(what); }
void __throw_logic_error(const char* what) { throw StandardException(what); }
void __throw_out_of_range_fmt(const char* format, ...) { throw StandardException(format); }
void __throw_system_error(int) { throw StandardException(__func__); } // by std::mutex
} // namespace std
void __gnu_cxx::__verbose_terminate_handler() { std::abort(); }
// NOLINTEND(bugprone-reserved-identifier,cert-dcl50-cpp,cert-dcl58-cpp)
