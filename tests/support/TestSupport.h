// What the tests of the Windows sources share.
#pragma once

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <sstream>
#include <windows.h>

namespace test
{

/// UTF-16 of UTF-8 and back.
inline std::wstring ToWide(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).native();
}
inline std::string ToUtf8(std::wstring_view text)
{
    const std::u8string utf8 = std::filesystem::path(text).u8string();
    return {utf8.begin(), utf8.end()};
}

/// The system's message for an error code, with its closing line break.
inline std::string SystemMessage(DWORD code)
{
    char text[1024];
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    return {text, ::FormatMessageA(flags, nullptr, code, 0, text, sizeof(text), nullptr)};
}

inline std::string Utf16File(std::wstring_view text) // with its byte-order mark
{
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

/// A document without line ends and tabs: Wine's model puts each tag on a line of its own, Windows' is documented not
/// to.
template <class Text>
std::basic_string<typename Text::value_type> WithoutLines(const Text& document)
{
    std::basic_string<typename Text::value_type> text(document);
    std::erase_if(text, [](auto c) { return c == '\r' || c == '\n' || c == '\t'; });
    return text;
}

/// A new empty folder, removed with all it holds at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        int number = 0;
        do
            m_path = (std::filesystem::temp_directory_path() / ("scankelv-" + std::to_string(number++))).native();
        while (!std::filesystem::create_directory(m_path));
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(TemporaryFolder&&) = delete;

    const std::wstring& Path() const { return m_path; } ///< without a closing backslash
    std::wstring File(std::wstring_view name) const { return m_path + L"\\" + std::wstring(name); }

private:
    std::wstring m_path;
};

/// Whole contents; a test failure and an empty text when it cannot be read.
inline std::string ReadFileBytes(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    EXPECT_TRUE(file) << "cannot open " << ToUtf8(path);
    return {std::istreambuf_iterator<char>(file), {}};
}
inline void WriteFileBytes(const std::wstring& path, std::string_view bytes)
{
    std::ofstream file(std::filesystem::path(path), std::ios::binary);
    EXPECT_TRUE((file << bytes).flush()) << "cannot write " << ToUtf8(path);
}

/// HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE of this process are new empty keys until the end.
struct PrivateRegistry
{
    PrivateRegistry()
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ScanKELVTests");
        HKEY user = nullptr, machine = nullptr;
        ::RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\ScanKELVTests\\User", &user);
        ::RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\ScanKELVTests\\Machine", &machine);
        EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine));
        EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_CURRENT_USER, user));
        ::RegCloseKey(user);
        ::RegCloseKey(machine);
    }
    ~PrivateRegistry()
    {
        ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ScanKELVTests");
    }
};

inline void Store(HKEY hive, const std::wstring& key, const std::wstring& name, const std::wstring& text) // REG_SZ
{
    const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(hive, key.c_str(), name.c_str(), REG_SZ, text.c_str(), size));
}
inline void Store(HKEY hive, const std::wstring& key, const std::wstring& name, DWORD number) // REG_DWORD
{
    EXPECT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(hive, key.c_str(), name.c_str(), REG_DWORD, &number, sizeof(number)));
}
/// Several values, as StoredValues shows them.
inline void Store(HKEY hive, const std::wstring& key, const std::string& values)
{
    std::istringstream lines(values);
    for (std::string name, value; std::getline(std::getline(lines, name, '='), value);)
        if (value.starts_with('#'))
            Store(hive, key, ToWide(name), DWORD{std::stoul(value.substr(1))});
        else
            Store(hive, key, ToWide(name), ToWide(value));
}

/// A REG_DWORD as "#7", a REG_SZ as its text; "absent" without such a value.
inline std::string Stored(HKEY hive, const std::wstring& key, const std::wstring& name)
{
    wchar_t text[32768];
    DWORD type = 0, size = sizeof(text);
    const DWORD types = RRF_RT_REG_SZ | RRF_RT_REG_DWORD;
    if (::RegGetValueW(hive, key.c_str(), name.c_str(), types, &type, text, &size) != ERROR_SUCCESS)
        return "absent";
    return type == REG_SZ ? ToUtf8(text) : "#" + std::to_string(text[0] | DWORD{text[1]} << 16);
}
/// Every value of a key as "name=value" and a line feed, sorted by name.
inline std::string StoredValues(HKEY hive, const std::wstring& path)
{
    std::map<std::string, std::string> values; // by name
    HKEY key = nullptr;
    ::RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &key);
    wchar_t name[256];
    for (DWORD i = 0, length = 256;
         ::RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS; ++i, length = 256)
        values[ToUtf8(name)] = Stored(hive, path, name);
    ::RegCloseKey(key);
    std::string text;
    for (const auto& [valueName, value] : values)
        text.append(valueName).append("=").append(value).append("\n");
    return text;
}

/// Collects what this process writes to the debugger console while it lives. One at a time, one thread at a time.
class DebugConsoleCapture
{
public:
    DebugConsoleCapture() { Clear(); }
    ~DebugConsoleCapture() { ::RemoveVectoredExceptionHandler(m_handler); }
    DebugConsoleCapture(DebugConsoleCapture&&) = delete;

    const std::string& Text() const { return s_text; }
    void Clear() { s_text.clear(); }

private:
    static LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers)
    {
        const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
        if (record.ExceptionCode != DBG_PRINTEXCEPTION_C || record.NumberParameters < 2)
            return EXCEPTION_CONTINUE_SEARCH;
        s_text += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        ::SetLastError(ERROR_FILE_NOT_FOUND); // as after a text that nobody takes
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    static inline std::string s_text;
    void* const m_handler = ::AddVectoredExceptionHandler(0, &OnException); // after the checked build's own
};

} // namespace test
