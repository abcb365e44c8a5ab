// What the tests of the Windows sources share.
#pragma once

#include <gmock/gmock.h>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>
#include <windows.h>

namespace test
{

/// UTF-16 of UTF-8 and back; a lone surrogate becomes U+FFFD.
std::wstring ToWide(std::string_view utf8);
std::string ToUtf8(std::wstring_view text);

/// The system's message for an error code, with its closing line break.
std::string SystemMessage(DWORD code);

/// FF FE and the bytes of the text as UTF-16LE.
std::string Utf16File(std::wstring_view text);

/// A new empty folder, removed with all it holds at the end, read-only files too.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::wstring& Path() const { return m_path; } ///< without a closing backslash
    std::wstring File(std::wstring_view name) const { return m_path + L"\\" + std::wstring(name); }

private:
    std::wstring m_path;
};

bool FileExists(const std::wstring& path);
/// Whole contents; a test failure and an empty text when it cannot be read.
std::string ReadFileBytes(const std::wstring& path);
void WriteFileBytes(const std::wstring& path, std::string_view bytes);
void SetReadOnly(const std::wstring& path, bool readOnly);

/// HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE of this process are new empty keys until the end.
class PrivateRegistry
{
public:
    PrivateRegistry();
    ~PrivateRegistry();
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;
};

/// Creates the key when it is absent, and the value with these bytes; exactly these: no terminator is added.
void StoreBytes(HKEY hive, const std::wstring& key, const std::wstring& name, DWORD type, std::string_view bytes);
void Store(HKEY hive, const std::wstring& key, const std::wstring& name, std::wstring_view text); ///< REG_SZ
void Store(HKEY hive, const std::wstring& key, const std::wstring& name, DWORD number);           ///< REG_DWORD
/// Names with their texts or numbers.
using NamedValues = std::vector<std::pair<const wchar_t*, std::variant<DWORD, std::wstring>>>;
void Store(HKEY hive, const std::wstring& key, const NamedValues& values);

/// A value's type and bytes as one text: "text", a REG_SZ with its terminator; "#7", a REG_DWORD; else "type 3: 0A FF";
/// "absent" without value or key.
std::string Stored(HKEY hive, const std::wstring& key, const std::wstring& name);
/// Every value of a key as "name=value" and a line feed, sorted by name.
std::string StoredValues(HKEY hive, const std::wstring& key);
/// The names of the values of a key, in no certain order.
std::vector<std::string> StoredNames(HKEY hive, const std::wstring& key);

/// The lines with a line end behind each.
std::string Joined(const std::vector<std::string>& lines);

/// Collects what this process writes to the debugger console while it lives, call by call. One at a time.
class DebugConsoleCapture
{
public:
    DebugConsoleCapture();
    ~DebugConsoleCapture();
    DebugConsoleCapture(const DebugConsoleCapture&) = delete;
    DebugConsoleCapture& operator=(const DebugConsoleCapture&) = delete;

    std::vector<std::string> Calls() const;
    std::string Text() const; ///< all of it, joined
    /// The lines of the text that belong to no failure report.
    std::vector<std::string> Lines() const;
    /// The expressions of the failure reports in the text.
    std::vector<std::string> Reports() const;
    /// The same with the context of each report.
    std::vector<std::pair<std::string, std::string>> ReportsWithContext() const;
    void Clear();
};

} // namespace test
