// Checked expressions: one call evaluates an operation's result and reports a failure with the caller's file and line.
#pragma once

#include "LoggerTypeAbstract.h"

#include <version>
#ifdef __cpp_lib_source_location
#include <source_location>
#endif

namespace scankelv
{

/// Capacity of a failure text, and of each of the two parts of a report, in 8-bit characters, terminator counted.
inline constexpr std::size_t reportTextCapacity = 1024;

/// How a checked value is evaluated: one of the four fixed kinds, or a context text. With a context text, zero is a
/// failure that is reported with this text; it is 8-bit and terminated, and must outlive the check.
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

inline constexpr CheckKind CheckBoolean = CheckKind::Fixed(1);   ///< fails when zero; empty failure text
inline constexpr CheckKind CheckErrno = CheckKind::Fixed(2);     ///< fails when zero; the message of errno
inline constexpr CheckKind CheckErrorCode = CheckKind::Fixed(3); ///< fails when not zero; the value's system message
inline constexpr CheckKind CheckLastError = CheckKind::Fixed(4); ///< fails when zero; the last error's system message

/// A failure with this level is not reported. All other levels are treated alike.
inline constexpr int silentLevel = 2;

/// The source location of a check. PlaceHere as a default argument is the location of the call.
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
#else // Clang 14 gives only the function's name, not its signature
    constexpr PlaceHere(
        const char* file = __builtin_FILE(), int line = __builtin_LINE(), const char* name = __builtin_FUNCTION())
        : Place{file, line, name}
    {
    }
#endif
};

/// Evaluates one value. Sets `failed`; on failure fills `text`, always terminated, otherwise leaves it unchanged.
void EvaluateCheck(CheckKind kind, DWORD value, bool& failed, std::span<char, reportTextCapacity> text);

/// Writes the system's message for a Windows error code or HRESULT, its trailing line break included, or
/// "UNKNOWN ERROR 0x...!" with the code in hexadecimal when the system has no message.
/// @return characters written, terminator not counted.
std::size_t FormatSystemErrorText(DWORD code, std::span<char, reportTextCapacity> text);

/// Writes one report as one log entry, unless the level is `silentLevel`. Texts are 8-bit and terminated; each may be
/// null.
void ReportFailedExpression(
    LoggerTypeAbstract& logger, const char* expression, const char* caller, const char* file, int line,
    const char* context, int level);

/// Evaluates one result and reports a failure with the caller's location. The thread's last error is read before
/// anything is logged.
/// @param logger      called only on failure, so that a check that passes does not create the logger
/// @param expression  the checked expression as it appears in the report, 8-bit and terminated
/// @return true when the check passed
bool Checked(
    LoggerTypeAbstract& (&logger)(), CheckKind kind, DWORD value, const char* expression, int level,
    PlaceHere place = {});

} // namespace scankelv
