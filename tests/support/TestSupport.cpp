#include "System.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace test
{
namespace
{

struct FileHandle
{
    HANDLE handle;
    ~FileHandle()
    {
        if (handle != INVALID_HANDLE_VALUE)
            ::CloseHandle(handle);
    }
};

const WCHAR* const registryScratch = OLESTR("Software\\ScanKELVTests");

} // namespace

void Append(std::string& text, std::string_view utf8)
{
    text += utf8;
}
void Append(Wide& text, std::string_view utf8)
{
    text += ToWide(utf8);
}

template <class Text>
Text Given(std::string_view shown)
{
    constexpr std::string_view picture = "\xE2\x90", open = "‹", close = "›"; // a picture's third byte tells which
    Text text;
    while (!shown.empty())
    {
        const std::size_t plain = std::min({shown.find(picture), shown.find(open), shown.size()});
        Append(text, shown.substr(0, plain));
        shown.remove_prefix(plain);
        if (shown.starts_with(picture))
            text += static_cast<typename Text::value_type>(shown[2] & 0x7F);
        else if (shown.starts_with(open))
        {
            const std::string inner(shown.substr(3, shown.find(close) - 3));
            if (const std::size_t blank = inner.find(' '); blank == inner.npos)
                text += static_cast<typename Text::value_type>(std::stoi(inner, nullptr, 16));
            else
                for (int times = std::stoi(inner); times-- > 0;)
                    text += Given<Text>(std::string_view(inner).substr(blank + 1));
            shown.remove_prefix(inner.size() + 3);
        }
        shown.remove_prefix(std::min<std::size_t>(shown.size(), 3));
    }
    return text;
}
template std::string Given(std::string_view);
template Wide Given(std::string_view);

std::string Shown(std::string_view text)
{
    constexpr std::size_t longRun = 100;
    const bool isUtf8 = ToUtf8(ToWide(text)) == text;
    std::string shown;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end)
    {
        const char c = text[at];
        end = std::min(text.find_first_not_of(c, at), text.size());
        std::ostringstream one;
        if (c < '\0' && !isUtf8)
            one << "‹" << std::hex << std::uppercase << (c & 0xFF) << "›";
        else if (c < '\0' || c >= ' ' || c == '\n')
            one << c;
        else
            one << "\xE2\x90" << static_cast<char>(c | 0x80);
        if (end - at >= longRun)
            shown += "‹" + std::to_string(end - at) + " " + one.str() + "›";
        else
            for (; at < end; ++at)
                shown += one.str();
    }
    return shown;
}

Wide ToWide(std::string_view utf8)
{
    if (utf8.empty())
        return {}; // an error to Windows
    Wide wide(utf8.size(), 0);
    const auto bytes = static_cast<int>(utf8.size());
    wide.resize(static_cast<std::size_t>(
        ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

std::string ToUtf8(std::basic_string_view<WCHAR> text)
{
    if (text.empty())
        return {};
    std::string utf8(text.size() * 3, '\0');
    const auto units = static_cast<int>(text.size());
    utf8.resize(static_cast<std::size_t>(::WideCharToMultiByte(
        CP_UTF8, 0, text.data(), units, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

std::string Utf16Bytes(std::basic_string_view<WCHAR> text)
{
    std::string bytes;
    for (const WCHAR unit : text)
    {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>((unit >> 8) & 0xFF);
    }
    return bytes;
}

Wide FromUtf16Bytes(std::string_view bytes)
{
    Wide text;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        text += static_cast<WCHAR>(
            static_cast<unsigned char>(bytes[at]) | (static_cast<unsigned char>(bytes[at + 1]) << 8));
    return text;
}

void ReplaceAll(std::string& text, std::string_view part, std::string_view instead)
{
    for (std::size_t at = 0; !part.empty() && (at = text.find(part, at)) != text.npos; at += instead.size())
        text.replace(at, part.size(), instead);
}

std::vector<std::string> Parts(std::string_view text)
{
    std::vector<std::string> parts;
    for (std::size_t at = 0; !text.empty() && at <= text.size();)
    {
        parts.emplace_back(text.substr(at, text.find('|', at) - at));
        at += parts.back().size() + 1;
    }
    return parts;
}

bool FileExists(const Wide& path)
{
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string ReadFileBytes(const Wide& path)
{
    const FileHandle file{::CreateFileW(
        path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
        nullptr)};
    if (file.handle == INVALID_HANDLE_VALUE)
    {
        ADD_FAILURE() << "cannot open " << ToUtf8(path) << ": " << ::GetLastError();
        return {};
    }
    std::string bytes;
    char piece[4096];
    DWORD count = 0;
    while (::ReadFile(file.handle, piece, sizeof(piece), &count, nullptr) != 0 && count != 0)
        bytes.append(piece, count);
    return bytes;
}

void WriteFileBytes(const Wide& path, std::string_view bytes)
{
    const FileHandle file{
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
    DWORD count = 0;
    const bool written = file.handle != INVALID_HANDLE_VALUE &&
                         ::WriteFile(file.handle, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) != 0;
    EXPECT_TRUE(written && count == bytes.size()) << "cannot write " << ToUtf8(path) << ": " << ::GetLastError();
}

PrivateRegistry::PrivateRegistry()
{
    ::RegDeleteTreeW(HKEY_CURRENT_USER, registryScratch);
    const struct
    {
        HKEY hive;
        const WCHAR* name;
    } hives[] = {
        {HKEY_LOCAL_MACHINE, OLESTR("Software\\ScanKELVTests\\Machine")},
        {HKEY_CURRENT_USER, OLESTR("Software\\ScanKELVTests\\User")},
    };
    for (const auto& [hive, name] : hives)
    {
        HKEY key = nullptr;
        EXPECT_EQ(
            ERROR_SUCCESS,
            ::RegCreateKeyExW(HKEY_CURRENT_USER, name, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        EXPECT_EQ(ERROR_SUCCESS, ::RegOverridePredefKey(hive, key));
        ::RegCloseKey(key);
    }
}

PrivateRegistry::~PrivateRegistry()
{
    ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, registryScratch);
}

void Store(HKEY hive, const std::string& path, std::string_view values)
{
    ::RegDeleteTreeW(hive, ToWide(path).c_str());
    HKEY key = nullptr;
    EXPECT_EQ(
        ERROR_SUCCESS, ::RegCreateKeyExW(hive, ToWide(path).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr));
    for (const std::string& value : Parts(values))
    {
        const std::size_t sign = value.find('=') + 1;
        const std::string text = value.substr(sign);
        DWORD type = REG_SZ;
        std::string bytes = Utf16Bytes(ToWide(text) + WCHAR());
        if (text.starts_with('#'))
        {
            type = REG_DWORD;
            const auto number = static_cast<DWORD>(std::stoul(text.substr(1)));
            bytes.assign(reinterpret_cast<const char*>(&number), sizeof(number));
        }
        else if (text.starts_with('@'))
        {
            bytes.clear();
            std::size_t end = 0;
            type = static_cast<DWORD>(std::stoul(text.substr(1), &end));
            for (std::size_t at = end + 2; at < text.size(); at += 2)
                bytes += static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16));
        }
        const auto size = static_cast<DWORD>(bytes.size());
        bytes += "##"; // a terminator behind the bytes would be taken for the text's own
        EXPECT_EQ(
            ERROR_SUCCESS, ::RegSetValueExW(
                               key, ToWide(value.substr(0, sign - 1)).c_str(), 0, type,
                               reinterpret_cast<const BYTE*>(bytes.data()), size));
    }
    ::RegCloseKey(key);
}

std::string StoredText(HKEY hive, const Wide& path)
{
    HKEY key = nullptr;
    if (::RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return {};
    std::set<std::string> values;
    WCHAR name[16384];
    std::string data(65536, '\0');
    for (DWORD index = 0;; ++index)
    {
        DWORD length = std::size(name), type = 0;
        auto size = static_cast<DWORD>(data.size());
        if (::RegEnumValueW(key, index, name, &length, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size) !=
            ERROR_SUCCESS)
            break;
        const std::string bytes = data.substr(0, size);
        const Wide text = FromUtf16Bytes(bytes);
        std::ostringstream shown;
        shown << ToUtf8({name, length}) << " = " << type << std::hex << std::uppercase << ' ';
        if (type == REG_SZ && size % 2 == 0 && text.find(WCHAR()) + 1 == text.size())
            shown << '\'' << ToUtf8({text.data(), text.size() - 1}) << '\'';
        else
            for (const char byte : bytes)
                shown << ((byte >> 4) & 0xF) << (byte & 0xF);
        values.insert(shown.str());
    }
    std::string result = values.empty() ? "" : "[" + ToUtf8(path) + "]\r\n";
    for (const std::string& value : values)
        result += value + "\r\n";
    for (DWORD index = 0;; ++index)
    {
        DWORD length = std::size(name);
        if (::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        result += StoredText(hive, path + OLESTR("\\") + Wide(name, length));
    }
    ::RegCloseKey(key);
    return result;
}

std::string DebugConsoleCapture::Text() const
{
    std::string text;
    for (const std::string& call : Calls())
        text += call;
    return text;
}

void ExpectAnswers(const char* file, const std::function<std::string(const std::string& given)>& answer)
{
    std::string path = std::string("Z:" TESTS_FOLDER "/") + file;
    std::ranges::replace(path, '/', '\\');
    std::istringstream lines(ReadFileBytes(ToWide(path)));
    std::string given, expected;
    int cases = 0;
    const auto check = [&] {
        if (cases++ > 0)
        {
            EXPECT_EQ(expected, Shown(answer(Given<std::string>(given)))) << file << ": > " << given;
        }
        expected.clear();
    };
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with('>'))
        {
            check();
            given = line.substr(std::min<std::size_t>(line.size(), 2));
        }
        else if (!line.empty() && line[0] != '#')
            expected += line + "\n";
    check();
    EXPECT_GT(cases, 1) << file;
}

ProgramResult RunProgram(const Wide& program, const Wide& commandLine, const Wide& currentFolder)
{
    ProgramResult result;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    Wide line = commandLine;
    const DebugConsoleCapture console;
    result.started = ::CreateProcessW(
                         program.c_str(), line.data(), nullptr, nullptr, FALSE, startFlags, nullptr,
                         currentFolder.empty() ? nullptr : currentFolder.c_str(), &startup, &process) != 0;
    if (result.started)
    {
        result.debugConsole = ConsoleUntilTheEnd(process);
        ::GetExitCodeProcess(process.hProcess, &result.exitCode);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    return result;
}

bool OnWine()
{
    const HMODULE system = ::GetModuleHandleW(OLESTR("ntdll.dll"));
    return system != nullptr && ::GetProcAddress(system, "wine_get_version") != nullptr;
}

void SetVariable(std::string_view name, std::string_view value)
{
    ::SetEnvironmentVariableW(ToWide(name).c_str(), value.empty() ? nullptr : ToWide(value).c_str());
}

} // namespace test
