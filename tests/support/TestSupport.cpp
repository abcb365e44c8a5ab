#include "TestSupport.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <mutex>
#include <sstream>

namespace test
{
namespace
{

const wchar_t* const registryScratch = L"Software\\ScanKELVTests";

/// One registry key, open.
class Key
{
public:
    explicit Key(HKEY hive, const std::wstring& path, bool create)
    {
        if (create)
            EXPECT_EQ(
                ERROR_SUCCESS,
                ::RegCreateKeyExW(hive, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key, nullptr));
        else
            ::RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &m_key);
    }
    ~Key()
    {
        if (m_key != nullptr)
            ::RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    HKEY Get() const { return m_key; }

private:
    HKEY m_key = nullptr;
};

std::mutex consoleMutex;
std::vector<std::string> consoleCalls;
void* consoleHandler = nullptr;

LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers)
{
    constexpr DWORD debugPrintException = 0x40010006; // DBG_PRINTEXCEPTION_C: length with terminator, text
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode != debugPrintException || record.NumberParameters < 2)
        return EXCEPTION_CONTINUE_SEARCH;
    const std::lock_guard lock(consoleMutex);
    consoleCalls.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    ::SetLastError(ERROR_FILE_NOT_FOUND); // as after a text that nobody takes
    return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

std::wstring ToWide(std::string_view utf8)
{
    std::wstring wide(utf8.size(), L'\0');
    const int bytes = static_cast<int>(utf8.size());
    wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), bytes)));
    return wide;
}

std::string ToUtf8(std::wstring_view text)
{
    std::string utf8(text.size() * 3, '\0');
    utf8.resize(static_cast<std::size_t>(::WideCharToMultiByte(
        CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(), static_cast<int>(utf8.size()), nullptr,
        nullptr)));
    return utf8;
}

std::string SystemMessage(DWORD code)
{
    char text[1024];
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    return {text, ::FormatMessageA(flags, nullptr, code, 0, text, sizeof(text), nullptr)};
}

std::string Utf16File(std::wstring_view text)
{
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

TemporaryFolder::TemporaryFolder()
{
    static std::atomic<unsigned> number = 0;
    do
        m_path = (std::filesystem::temp_directory_path() /
                  ("scankelv-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(number++)))
                     .native();
    while (!std::filesystem::create_directory(m_path));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_path, ignored))
        std::filesystem::permissions(entry, std::filesystem::perms::all, ignored);
    std::filesystem::remove_all(m_path, ignored);
}

bool FileExists(const std::wstring& path)
{
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string ReadFileBytes(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    EXPECT_TRUE(file) << "cannot open " << ToUtf8(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFileBytes(const std::wstring& path, std::string_view bytes)
{
    std::ofstream file(std::filesystem::path(path), std::ios::binary);
    file << bytes;
    EXPECT_TRUE(file.flush()) << "cannot write " << ToUtf8(path);
}

void SetReadOnly(const std::wstring& path, bool readOnly)
{
    ::SetFileAttributesW(path.c_str(), readOnly ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL);
}

PrivateRegistry::PrivateRegistry()
{
    ::RegDeleteTreeW(HKEY_CURRENT_USER, registryScratch);
    const Key machine(HKEY_CURRENT_USER, std::wstring(registryScratch) + L"\\Machine", true);
    const Key user(HKEY_CURRENT_USER, std::wstring(registryScratch) + L"\\User", true);
    EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.Get()));
    EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(HKEY_CURRENT_USER, user.Get()));
}

PrivateRegistry::~PrivateRegistry()
{
    ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, registryScratch);
}

void StoreBytes(HKEY hive, const std::wstring& key, const std::wstring& name, DWORD type, std::string_view bytes)
{
    // A terminator behind the bytes would be taken for the text's own.
    const std::string data = std::string(bytes) + "##";
    EXPECT_EQ(
        ERROR_SUCCESS, ::RegSetValueExW(
                           Key(hive, key, true).Get(), name.c_str(), 0, type,
                           reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(bytes.size())));
}

void Store(HKEY hive, const std::wstring& key, const std::wstring& name, std::wstring_view text)
{
    const std::wstring terminated(text);
    StoreBytes(
        hive, key, name, REG_SZ,
        {reinterpret_cast<const char*>(terminated.c_str()), (terminated.size() + 1) * sizeof(wchar_t)});
}

void Store(HKEY hive, const std::wstring& key, const std::wstring& name, DWORD number)
{
    StoreBytes(hive, key, name, REG_DWORD, {reinterpret_cast<const char*>(&number), sizeof(number)});
}

void Store(HKEY hive, const std::wstring& key, const NamedValues& values)
{
    for (const auto& [name, value] : values)
        std::visit([&, name = name](const auto& content) { Store(hive, key, name, content); }, value);
}

std::string Stored(HKEY hive, const std::wstring& key, const std::wstring& name)
{
    std::string bytes(65536, '\0');
    auto size = static_cast<DWORD>(bytes.size());
    DWORD type = REG_NONE;
    const Key open(hive, key, false);
    if (open.Get() == nullptr ||
        ::RegQueryValueExW(open.Get(), name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(bytes.data()), &size) !=
            ERROR_SUCCESS)
        return "absent";
    bytes.resize(size);
    const std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), size / sizeof(wchar_t));
    if (type == REG_SZ && size % sizeof(wchar_t) == 0 && text.find(L'\0') + 1 == text.size())
        return ToUtf8(std::wstring_view(text).substr(0, text.size() - 1));
    if (DWORD number = 0; type == REG_DWORD && size == sizeof(number))
    {
        bytes.copy(reinterpret_cast<char*>(&number), sizeof(number));
        return "#" + std::to_string(number);
    }
    std::ostringstream shown;
    shown << "type " << type << ":" << std::hex << std::uppercase << std::setfill('0');
    for (const char byte : bytes)
        shown << ' ' << std::setw(2) << (byte & 0xFF);
    return shown.str();
}

std::vector<std::string> StoredNames(HKEY hive, const std::wstring& key)
{
    std::vector<std::string> names;
    wchar_t name[256];
    const Key open(hive, key, false);
    for (DWORD length = std::size(name); ::RegEnumValueW(
                                             open.Get(), static_cast<DWORD>(names.size()), name, &length, nullptr,
                                             nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         length = std::size(name))
        names.push_back(ToUtf8({name, length}));
    return names;
}

std::string Joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

std::string StoredValues(HKEY hive, const std::wstring& key)
{
    std::vector<std::string> names = StoredNames(hive, key);
    std::ranges::sort(names);
    std::string values;
    for (const std::string& name : names)
        values += name + "=" + Stored(hive, key, ToWide(name)) + "\n";
    return values;
}

DebugConsoleCapture::DebugConsoleCapture()
{
    Clear();
    consoleHandler = ::AddVectoredExceptionHandler(0, &OnException); // the checked build's own handler has to be first
}

DebugConsoleCapture::~DebugConsoleCapture()
{
    ::RemoveVectoredExceptionHandler(consoleHandler);
}

void DebugConsoleCapture::Clear()
{
    const std::lock_guard lock(consoleMutex);
    consoleCalls.clear();
}

std::vector<std::string> DebugConsoleCapture::Calls() const
{
    const std::lock_guard lock(consoleMutex);
    return consoleCalls;
}

std::string DebugConsoleCapture::Text() const
{
    std::string text;
    for (const std::string& call : Calls())
        text += call;
    return text;
}

std::vector<std::string> DebugConsoleCapture::Lines() const
{
    std::vector<std::string> lines;
    std::istringstream text(Text());
    bool inReport = false;
    for (std::string line; std::getline(text, line);)
    {
        inReport = inReport || line.find("Expression  ") != line.npos;
        if (!inReport)
            lines.push_back(line.substr(0, line.find('\r')));
        inReport = inReport && line.find(".cpp(") == line.npos; // a report's last line
    }
    return lines;
}

std::vector<std::string> DebugConsoleCapture::Reports() const
{
    std::vector<std::string> reports;
    for (const auto& [expression, context] : ReportsWithContext())
        reports.push_back(expression);
    return reports;
}

std::vector<std::pair<std::string, std::string>> DebugConsoleCapture::ReportsWithContext() const
{
    constexpr std::string_view before = "Expression  ", between = "  failed!\r\nContext: ", after = " \r\n";
    std::vector<std::pair<std::string, std::string>> reports;
    const std::string text = Text();
    for (std::size_t at = text.find(before); at != text.npos; at = text.find(before, at))
    {
        at += before.size();
        const std::size_t middle = text.find(between, at), context = middle + between.size();
        reports.emplace_back(text.substr(at, middle - at), text.substr(context, text.find(after, context) - context));
    }
    return reports;
}

} // namespace test
