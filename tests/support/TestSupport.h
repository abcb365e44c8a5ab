// What the tests share on both systems. Paths are Windows paths.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>
#include <wtypes.h>

namespace test
{

using Wide = std::basic_string<WCHAR>;

/// Milliseconds until what a test waits for counts as hanging: beyond what CTest gives a whole test.
inline constexpr DWORD patience = 1200000;

/// Waits until the condition holds. @return whether it does
template <class Condition>
bool Eventually(Condition condition)
{
    constexpr DWORD pause = 10; // milliseconds
    for (DWORD waited = 0; waited < patience; waited += pause)
    {
        if (condition())
            return true;
        ::Sleep(pause);
    }
    return false;
}

/// UTF-16 of UTF-8 and back; a lone surrogate becomes U+FFFD.
Wide ToWide(std::string_view utf8);
std::string ToUtf8(std::basic_string_view<WCHAR> text);

/// The bytes of a text as UTF-16LE.
std::string Utf16Bytes(std::basic_string_view<WCHAR> text);
Wide FromUtf16Bytes(std::string_view bytes);

void ReplaceAll(std::string& text, std::string_view part, std::string_view instead);

void Append(std::string& text, std::string_view utf8);
void Append(Wide& text, std::string_view utf8);

/// From the form that texts have in files of cases: ␀ to ␟ are control characters, ␠ is a blank, ‹FF› a byte or, of a
/// wide text, a unit, and ‹3 word› three times the word.
template <class Text>
Text Given(std::string_view shown);
/// Into that form, but for the line breaks: bytes that are no UTF-8, and what stands a hundred times or more.
std::string Shown(std::string_view text);

/// The parts between bars.
std::vector<std::string> Parts(std::string_view text);

/// The parts between bars as arguments of functions of either width: "null" is a null pointer, and what is not there is
/// an empty text.
class Fields
{
public:
    explicit Fields(std::string_view text) : m_narrow(Parts(text))
    {
        for (const std::string& part : m_narrow)
            m_wide.push_back(ToWide(part));
    }
    const char* Narrow(std::size_t i) const
    {
        return i >= m_narrow.size() ? "" : m_narrow[i] == "null" ? nullptr : m_narrow[i].c_str();
    }
    const WCHAR* operator[](std::size_t i) const
    {
        return i >= m_wide.size() ? OLESTR("") : Narrow(i) == nullptr ? nullptr : m_wide[i].c_str();
    }

private:
    std::vector<std::string> m_narrow;
    std::vector<Wide> m_wide;
};

/// A new empty folder, removed with all it holds at the end, read-only files too.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const Wide& Path() const { return m_path; } ///< without a closing backslash
    Wide File(std::string_view name) const { return m_path + OLESTR("\\") + ToWide(name); }

private:
    Wide m_path;
};

bool FileExists(const Wide& path);
/// Whole contents; a test failure and an empty text when it cannot be read.
std::string ReadFileBytes(const Wide& path);
void WriteFileBytes(const Wide& path, std::string_view bytes);
/// Copies a file; a program stays one that can be started.
void CopyFileTo(const Wide& from, const Wide& to);
/// Sets or clears the read-only mark of a file, if it is there.
void SetReadOnly(const Wide& path, bool readOnly);

/// HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE of this process point to new empty keys until the end.
class PrivateRegistry
{
public:
    PrivateRegistry();
    ~PrivateRegistry();
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;
};

/// Makes a key of these values, "name=text|name=#number|name=@type bytes", in place of what was there.
void Store(HKEY hive, const std::string& path, std::string_view values);

/// Every value of a key and of those below it: a line for each key's path, and one for each value with its type and
/// bytes; texts as such when their bytes are those of a sound text.
std::string StoredText(HKEY hive, const Wide& path);

/// Collects what this process writes to the debugger console while it lives, call by call. One at a time.
class DebugConsoleCapture
{
public:
    DebugConsoleCapture();
    ~DebugConsoleCapture();
    DebugConsoleCapture(const DebugConsoleCapture&) = delete;
    DebugConsoleCapture& operator=(const DebugConsoleCapture&) = delete;

    std::string Text() const; ///< all of it, joined
    std::vector<std::string> Calls() const;
    int Tones() const; ///< beeps that were asked for meanwhile; none of them sounds
    void Clear();
};

/// The cases of a text file below tests/: each is a line "> given", and below it the lines that it is answered with.
/// "#" begins a remark. Control characters are shown as ␀ to ␟ in both, and a hundred of the same and more as ‹100 x›;
/// what is given goes through Given.
void ExpectAnswers(const char* file, const std::function<std::string(const std::string& given)>& answer);

/// What a program left behind when it had ended.
struct ProgramResult
{
    bool started = false;
    DWORD exitCode = 0;
    std::string debugConsole; ///< what it wrote to the debugger console
};

/// Starts a program with exactly this command line and waits for its end.
ProgramResult RunProgram(const Wide& program, const Wide& commandLine, const Wide& currentFolder = {});

/// Whether Wine stands in the place of Windows.
bool OnWine();

/// Sets a variable of this process, which the programs it starts inherit; an empty value removes it.
void SetVariable(std::string_view name, std::string_view value);

} // namespace test
