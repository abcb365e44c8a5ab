// Where log text goes: the four sinks, and the two renderers that write to them.
#pragma once

#include "CodePage.h"
#include "Owners.h"

namespace scankelv
{

/// Bits of a sink mask.
inline constexpr DWORD debugConsoleSink = 1;
inline constexpr DWORD fileSink = 2;
inline constexpr DWORD beepSink = 4;
inline constexpr DWORD standardErrorSink = 8;
inline constexpr DWORD allSinks = debugConsoleSink | fileSink | beepSink | standardErrorSink;

/// Writes the text to the debugger console in calls of at most 512 characters each.
void DebugConsoleWrite(std::string_view text);

/// The text that describes one sink when a logger is created.
struct SinkPhrase
{
    DWORD sink;
    const char* text;
    bool quotesLogFile = false; ///< the log file's path and a closing quote follow
};

/// Writes to any of the four sinks. Failures of a sink are ignored.
class TextRenderCombo
{
public:
    static constexpr DWORD supportedSinks = allSinks;
    static constexpr const char* opening = "w4 Module ";
    static constexpr SinkPhrase phrases[] = {
        {debugConsoleSink, " logs to debug console"},
        {fileSink, " logs to file \"", true},
        {beepSink, " beeps"},
        {standardErrorSink, " logs to stderr"},
    };
    static constexpr const char* settingsPhrase = ". For settings see: ";

    /// Opens the log file for appending and creates it when it is absent; its folder is not created.
    /// @param logFile  path in the system's 8-bit code page, terminated
    explicit TextRenderCombo(const char* logFile);

    void Enable(DWORD sinks);
    /// Adds one piece to the current entry. The debugger console receives it at once. The other sinks receive the
    /// whole entry from EndEntry, the file in one write, so that lines of several processes do not mix; a piece longer
    /// than the entry's buffer is written at once.
    void Write(std::string_view text);
    void EndEntry();

private:
    void Deliver(std::string_view text);

    bool m_toDebugConsole = false;
    bool m_toFile = false;
    bool m_beeps = false;
    bool m_toStandardError = false;
    OwnedHandle m_file; ///< null when it could not be opened
    int m_pieces = 0;   ///< of the current entry; each sounds one tone
    std::size_t m_entryLength = 0;
    char m_entry[1536];
};

/// Writes to the debugger console alone.
class TextRenderDebugConsole
{
public:
    static constexpr DWORD supportedSinks = debugConsoleSink;
    static constexpr const char* opening = "w1 Module ";
    static constexpr SinkPhrase phrases[] = {
        {debugConsoleSink, " logs to debug console"},
        {fileSink, " logs to default file"},
        {beepSink, " beeps"},
        {standardErrorSink, " logs to stderr"},
    };
    static constexpr const char* settingsPhrase = ". Logging configured by default.";

    explicit TextRenderDebugConsole(const char* /*logFile*/) {}
    static void Enable(DWORD /*sinks*/) {}
    static void Write(std::string_view text) { DebugConsoleWrite(text); }
    static void EndEntry() {}
};

} // namespace scankelv
