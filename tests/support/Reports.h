// Failure reports, read back from the debugger console.
#pragma once

#include "CheckedExpression.h"
#include "TestSupport.h"

namespace test
{

struct Report
{
    std::string expression;
    std::string context;
};

inline std::vector<Report> ReportsIn(std::string_view console)
{
    std::vector<Report> reports;
    const auto takeBetween = [&console](std::string_view start, std::string_view end) {
        const std::size_t from = console.find(start);
        if (from == console.npos)
            return std::string();
        console.remove_prefix(from + start.size());
        const std::string taken(console.substr(0, console.find(end)));
        console.remove_prefix(taken.size());
        return taken;
    };
    while (console.find("Expression  ") != console.npos)
        reports.push_back({takeBetween("Expression  ", "  failed!\r\n"), takeBetween("Context: ", " \r\n")});
    return reports;
}

/// The expressions of the reports captured so far, a blank behind each.
inline std::string ReportedExpressions(const DebugConsoleCapture& console)
{
    std::string expressions;
    for (const Report& report : ReportsIn(console.Text()))
        expressions += report.expression + " ";
    return expressions;
}

/// The system's message for an error code, as reports hold it.
inline std::string SystemText(DWORD code)
{
    char text[scankelv::reportTextCapacity];
    scankelv::FormatSystemErrorText(code, text);
    std::string message = text;
    ReplaceAll(message, "\r\n", "\n");
    ReplaceAll(message, "\n", "\r\n");
    return message;
}

} // namespace test
