#include "CheckedExpression.h"

#include <cerrno>
#include <cstring>

namespace scankelv
{

void EvaluateCheck(CheckKind kind, DWORD value, bool& failed, std::span<char, reportTextCapacity> text)
{
    const DWORD lastError = ::GetLastError();
    failed = (value == 0) != (kind.Number() == CheckErrorCode.Number());
    if (!failed)
        return;
    const auto copy = [text](const char* from) {
        FormatInto(std::span<char>(text), "%s", from == nullptr ? "" : from);
    };
    switch (kind.Number())
    {
    case CheckBoolean.Number():
        copy("");
        break;
    case CheckErrno.Number():
        copy(std::strerror(errno));
        break;
    case CheckErrorCode.Number():
        FormatSystemErrorText(value, text);
        break;
    case CheckLastError.Number():
        FormatSystemErrorText(lastError, text);
        break;
    default:
        copy(kind.Context());
    }
}

std::size_t FormatSystemErrorText(DWORD code, std::span<char, reportTextCapacity> text)
{
    text[0] = '\0';
    constexpr DWORD defaultLanguage = 0x0400;
    const DWORD length = ::FormatMessageA(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, defaultLanguage, text.data(),
        static_cast<DWORD>(text.size()), nullptr);
    if (length != 0)
        return length;
    return FormatInto(std::span<char>(text), "UNKNOWN ERROR 0x%X!", code);
}

void ReportFailedExpression(
    LoggerTypeAbstract& logger, const char* expression, const char* caller, const char* file, int line,
    const char* context, int level)
{
    if (level == silentLevel)
        return;
    char what[reportTextCapacity]{};
    std::size_t length = 0;
    if (expression != nullptr)
        length = FormatInto(std::span<char>(what), "Expression  %s  failed!", expression);
    if (context != nullptr)
        FormatInto(std::span<char>(what).subspan(std::min(length, sizeof(what) - 1)), "\nContext: %s ", context);
    char where[reportTextCapacity];
    FormatInto(
        std::span<char>(where), "%s,\n%s(%ld)", caller == nullptr ? "UNKNOWN CALLER" : caller,
        file == nullptr ? "UNKNOWN FILE" : file, line);
    logger.WriteLine("%s\n%s", what, where);
}

bool Checked(
    LoggerTypeAbstract& (&logger)(), CheckKind kind, DWORD value, const char* expression, int level, PlaceHere place)
{
    bool failed = false;
    char text[reportTextCapacity];
    EvaluateCheck(kind, value, failed, text);
    if (failed)
        ReportFailedExpression(logger(), expression, place.signature, place.file, place.line, text, level);
    return !failed;
}

} // namespace scankelv
