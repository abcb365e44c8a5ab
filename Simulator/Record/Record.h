// Simulator: the programs around the agent, simulated: the search library and the colour-profile updater. Both write
// down what they were asked, so that a test or a person can read it afterwards.
#pragma once

#include <string>
#include <string_view>
#include <windows.h>

namespace simulator
{

/// A variable of the environment; empty when there is none.
std::wstring Variable(const wchar_t* name);
std::string Utf8(std::wstring_view text);
/// The UTF-16 form of UTF-8, and of bytes that begin with FF FE as they are.
std::wstring Utf16(std::string_view bytes);
/// The whole file; throws std::runtime_error when it cannot be read.
std::string FileBytes(const std::wstring& path);

/// Owns the handle of one open file.
class FileHandle
{
public:
    explicit FileHandle(HANDLE handle) : m_handle(handle) {}
    ~FileHandle()
    {
        if (IsOpen())
            ::CloseHandle(m_handle);
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return m_handle; }

private:
    HANDLE m_handle;
};

/// A readable UTF-8 file to whose end lines are added. A file that cannot be opened takes none.
class Record
{
public:
    explicit Record(const std::wstring& path);

    bool IsOpen() const { return m_file.IsOpen(); }
    /// One line; line breaks inside the text are written as \r and \n.
    void Line(std::string_view text);
    /// "  name = text", or "  name = (null)".
    void Argument(std::string_view name, const wchar_t* text);

private:
    FileHandle m_file;
};

} // namespace simulator
