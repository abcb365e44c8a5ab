#include "Record.h"

#include <stdexcept>

namespace simulator
{
std::wstring Variable(const wchar_t* name)
{
    const DWORD size = ::GetEnvironmentVariableW(name, nullptr, 0);
    std::wstring value(size, 0);
    if (size != 0)
        value.resize(::GetEnvironmentVariableW(name, value.data(), size));
    return value;
}

std::string Utf8(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    std::string bytes(
        static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr)),
        '\0');
    ::WideCharToMultiByte(
        CP_UTF8, 0, text.data(), length, bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

std::wstring Utf16(std::string_view bytes)
{
    std::wstring text;
    if (bytes.starts_with("\xFF\xFE"))
    {
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2)
            text += static_cast<wchar_t>(
                static_cast<unsigned char>(bytes[i]) | (static_cast<unsigned char>(bytes[i + 1]) << 8));
        return text;
    }
    const int length = static_cast<int>(bytes.size());
    text.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, nullptr, 0)));
    ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, text.data(), static_cast<int>(text.size()));
    return text;
}

std::string FileBytes(const std::wstring& path)
{
    const FileHandle file(::CreateFileW(
        path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen())
        throw std::runtime_error("cannot read " + Utf8(path));
    std::string bytes;
    char piece[65536];
    DWORD count = 0;
    while (::ReadFile(file.Get(), piece, sizeof(piece), &count, nullptr) != 0 && count != 0)
        bytes.append(piece, count);
    return bytes;
}

Record::Record(const std::wstring& path)
    : m_file(::CreateFileW(
          path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
          nullptr))
{
}

void Record::Line(std::string_view text)
{
    if (!IsOpen())
        return;
    std::string line;
    for (const char c : text)
    {
        if (c == '\r')
            line += "\\r";
        else if (c == '\n')
            line += "\\n";
        else
            line += c;
    }
    line += '\n';
    DWORD count = 0;
    ::SetFilePointer(m_file.Get(), 0, nullptr, FILE_END);
    ::WriteFile(m_file.Get(), line.data(), static_cast<DWORD>(line.size()), &count, nullptr);
}

void Record::Argument(std::string_view name, const wchar_t* text)
{
    Line("  " + std::string(name) + " = " + (text == nullptr ? "(null)" : Utf8(text)));
}

} // namespace simulator
