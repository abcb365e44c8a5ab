// Checked expressions: an operation's result is evaluated, and a failure is reported with the place it happened at.
#pragma once

#include "LoggerTypeAbstract.h"

#include <version>
#ifdef __cpp_lib_source_location
#include <source_location>
#endif

namespace scankelv
{

/// Capacity of a failure text, and of each of the two parts of a report, in characters, the terminator counted.
inline constexpr std::size_t reportTextCapacity = 1024;

/// How a checked value is read: one of the four fixed kinds, or a fixed 8-bit text that a zero value is reported with.
class CheckKind
{
public:
    constexpr CheckKind(const char* context) : m_context(context) {}
    static constexpr CheckKind Fixed(int number) { return CheckKind(number); }
    constexpr int Number() const { return m_number; }           ///< 1 to 4; 0 for a context text
    constexpr const char* Context() const { return m_context; } ///< null for the fixed kinds

private:
    explicit constexpr CheckKind(int number) : m_number(number) {}
    int m_number = 0;
    const char* m_context = nullptr;
};

inline constexpr CheckKind CheckBoolean = CheckKind::Fixed(1); ///< fails when zero; empty failure text
inline constexpr CheckKind CheckErrno = CheckKind::Fixed(2);   ///< fails when zero; the message of errno
inline constexpr CheckKind CheckErrorCode =
    CheckKind::Fixed(3); ///< fails when not zero; the system message of the value
inline constexpr CheckKind CheckLastError =
    CheckKind::Fixed(4); ///< fails when zero; the system message of the last error

/// Level with which a failure is not reported; every other level is reported alike.
inline constexpr int silentLevel = 2;

/// Where a check stands. A default argument of this type is the place of the call.
struct Place
{
    const char* file = nullptr;
    int line = 0;
    const char* signature = nullptr;
};
struct PlaceHere : Place
{
#ifdef __cpp_lib_source_location
    constexpr PlaceHere(std::source_location at = std::source_location::current())
        : Place{at.file_name(), static_cast<int>(at.line()), at.function_name()}
    {
    }
#else // Clang 14: only the bare name of the function can be had
    constexpr PlaceHere(
        const char* file = __builtin_FILE(), int line = __builtin_LINE(), const char* name = __builtin_FUNCTION())
        : Place{file, line, name}
    {
    }
#endif
};

/// Sets `failed`, and on failure fills `text` (always terminated); a check that passes leaves `text` as it was.
void EvaluateCheck(CheckKind kind, DWORD value, bool& failed, std::span<char, reportTextCapacity> text);

/// The system's message for an error code, closing line break included, or "UNKNOWN ERROR 0x%X!".
/// @return characters written, terminator not counted.
std::size_t FormatSystemErrorText(DWORD code, std::span<char, reportTextCapacity> text);

/// Writes one report as one entry of the logger. Every text may be null.
void ReportFailedExpression(
    LoggerTypeAbstract& logger, const char* expression, const char* caller, const char* file, int line,
    const char* context, int level);

/// Evaluates one result and reports a failure with the caller's place.
/// @param logger  asked for only by a failure: a check that passes is no logger's first use.
/// @return true when the check passed. The last error is read before anything is logged.
bool Checked(
    LoggerTypeAbstract& (&logger)(), CheckKind kind, DWORD value, const char* expression, int level,
    PlaceHere place = {});

} // namespace scankelv
