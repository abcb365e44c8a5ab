#include "LogSinks.h"

#include <cstdio>

namespace scankelv
{
namespace
{

void AppendToFile(HANDLE file, std::string_view text)
{
    if (file == nullptr)
        return;
    // Other processes append to the same file, so every write seeks the end first. Ends above 4 GB need the upper half
    // of the position; with it, only the last error distinguishes a failure from a valid position.
    LONG upperHalf = 0;
    ::SetLastError(NO_ERROR);
    const DWORD lowerHalf = ::SetFilePointer(file, 0, &upperHalf, FILE_END);
    if (lowerHalf == INVALID_SET_FILE_POINTER && ::GetLastError() != NO_ERROR)
        return;
    DWORD written = 0;
    ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

} // namespace

void DebugConsoleWrite(std::string_view text)
{
    constexpr std::size_t pieceLength = 512;
    char piece[pieceLength + 1];
    while (!text.empty())
    {
        const std::size_t count = text.copy(piece, pieceLength);
        piece[count] = '\0';
        ::OutputDebugStringA(piece);
        text.remove_prefix(count);
    }
}

TextRenderCombo::TextRenderCombo(const char* logFile)
    : m_file(Own(::CreateFileA(
          logFile, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
          FILE_FLAG_SEQUENTIAL_SCAN, nullptr)))
{
}

void TextRenderCombo::Enable(DWORD sinks)
{
    m_toDebugConsole = (sinks & debugConsoleSink) != 0;
    m_toFile = (sinks & fileSink) != 0;
    m_beeps = (sinks & beepSink) != 0;
    m_toStandardError = (sinks & standardErrorSink) != 0;
}

void TextRenderCombo::Write(std::string_view text)
{
    if (m_toDebugConsole)
        DebugConsoleWrite(text);
    if (!m_toFile && !m_beeps && !m_toStandardError)
        return;
    if (text.size() > sizeof(m_entry) - m_entryLength)
        EndEntry();
    ++m_pieces;
    if (text.size() > sizeof(m_entry))
        Deliver(text);
    else
        m_entryLength += text.copy(m_entry + m_entryLength, text.size());
}

void TextRenderCombo::EndEntry()
{
    Deliver({m_entry, m_entryLength});
    m_entryLength = 0;
}

void TextRenderCombo::Deliver(std::string_view text)
{
    constexpr DWORD toneHertz = 440;
    constexpr DWORD toneMilliseconds = 500;
    if (m_toFile && !text.empty())
        AppendToFile(m_file.get(), text);
    for (; m_pieces != 0; --m_pieces)
        if (m_beeps)
            ::Beep(toneHertz, toneMilliseconds);
    if (m_toStandardError && !text.empty())
        static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

} // namespace scankelv
