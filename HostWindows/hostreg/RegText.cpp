#include "RegText.h"

#include "../src/Paths.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace hostreg
{
namespace
{

constexpr char16_t byteOrderMark = 0xFEFF;
constexpr std::u16string_view header = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view olderHeader = u"REGEDIT4";

std::u16string Utf16OfBytes(std::string_view bytes, bool swapped)
{
    std::u16string text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * 2);
    if (swapped)
        for (char16_t& unit : text)
            unit = static_cast<char16_t>((unit << 8) | (unit >> 8));
    return text;
}

std::u16string Decode(std::string_view bytes)
{
    using namespace std::literals;
    if (bytes.starts_with("\xFF\xFE"))
        return Utf16OfBytes(bytes.substr(2), false);
    if (bytes.starts_with("\xFE\xFF"))
        return Utf16OfBytes(bytes.substr(2), true);
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    else if (bytes.starts_with("W\0"sv) || bytes.starts_with("R\0"sv))
        return Utf16OfBytes(bytes, false);
    return hostwindows::Utf16FromUtf8(bytes);
}

std::string Bytes(std::u16string_view text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

bool IsBlank(char16_t unit)
{
    return unit == u' ' || unit == u'\t';
}

bool IsLineEnd(char16_t unit)
{
    return unit == u'\r' || unit == u'\n';
}

std::optional<unsigned> HexDigit(char16_t unit)
{
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const char16_t small = unit | 0x20;
    if (small >= u'a' && small <= u'f')
        return unit < 0x80 ? std::optional<unsigned>(small - u'a' + 10U) : std::nullopt;
    return std::nullopt;
}

constexpr std::uint32_t typeText = 1;
constexpr std::uint32_t typeExpandText = 2;
constexpr std::uint32_t typeBinary = 3;
constexpr std::uint32_t typeNumber = 4;
constexpr std::uint32_t typeTexts = 7;

/// One walk over the text. A function returns false when the text is not as it should be, and has said why.
class Reader
{
public:
    Reader(std::u16string_view text, std::vector<RegChange>& changes, RegTextError& error)
        : m_text(text),
          m_changes(changes),
          m_error(error)
    {
    }

    bool Read()
    {
        if (!ReadHeader())
            return false;
        while (!AtEnd())
            if (!ReadLine())
                return false;
        return true;
    }

private:
    bool AtEnd() const { return m_at == m_text.size(); }
    char16_t Here() const { return AtEnd() ? u'\0' : m_text[m_at]; }
    bool AtLineEnd() const { return AtEnd() || IsLineEnd(m_text[m_at]); }

    bool Fail(std::string message)
    {
        m_error = {m_line, std::move(message)};
        return false;
    }

    bool Skip(char16_t unit)
    {
        if (AtEnd() || m_text[m_at] != unit)
            return false;
        ++m_at;
        return true;
    }

    bool SkipWord(std::u16string_view word)
    {
        const std::u16string_view rest = m_text.substr(m_at, word.size());
        const auto small = [](char16_t unit) {
            return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
        };
        if (!std::ranges::equal(rest, word, {}, small))
            return false;
        m_at += word.size();
        return true;
    }

    void SkipBlanks()
    {
        while (!AtEnd() && IsBlank(m_text[m_at]))
            ++m_at;
    }

    /// One line end: CR LF, LF or CR.
    void SkipLineEnd()
    {
        if (AtEnd())
            return;
        if (Skip(u'\r'))
            Skip(u'\n');
        else
            ++m_at;
        ++m_line;
    }

    std::u16string_view RestOfLine()
    {
        const std::size_t start = m_at;
        while (!AtLineEnd())
            ++m_at;
        return m_text.substr(start, m_at - start);
    }

    bool ReadHeader()
    {
        std::u16string_view line = RestOfLine();
        while (!line.empty() && IsBlank(line.back()))
            line.remove_suffix(1);
        m_older = line == olderHeader;
        if (line != header && !m_older)
            return Fail("it does not begin with \"Windows Registry Editor Version 5.00\"");
        SkipLineEnd();
        return true;
    }

    bool ReadLine()
    {
        SkipBlanks();
        bool good = true;
        if (Skip(u'['))
            good = ReadKey();
        else if (Here() == u'@' || Here() == u'"')
            good = ReadValue();
        else if (!AtLineEnd() && Here() != u';')
            return Fail("it is neither a key, nor a value, nor a comment");
        if (!good)
            return false;
        SkipBlanks();
        if (Here() == u';')
            RestOfLine();
        if (!AtLineEnd())
            return Fail("something follows behind the value");
        SkipLineEnd();
        return true;
    }

    bool ReadKey()
    {
        RegChange change;
        change.line = m_line;
        change.kind = Skip(u'-') ? RegChange::Kind::deleteKey : RegChange::Kind::openKey;
        // A name may hold brackets: the line's last one ends it.
        const std::u16string_view line = RestOfLine();
        const std::size_t end = line.rfind(u']');
        if (end == std::u16string_view::npos)
            return Fail("the key lacks its closing bracket");
        m_at -= line.size() - end - 1;
        change.name = line.substr(0, end);
        m_hasKey = change.kind == RegChange::Kind::openKey;
        m_changes.push_back(std::move(change));
        return true;
    }

    bool ReadValue()
    {
        RegChange change;
        change.line = m_line;
        if (!m_hasKey)
            return Fail("the value belongs to no key");
        if (!Skip(u'@') && !ReadQuoted(change.name))
            return false;
        SkipBlanks();
        if (!Skip(u'='))
            return Fail("\"=\" is missing behind the value's name");
        SkipBlanks();
        change.kind = RegChange::Kind::setValue;
        bool good = true;
        if (Skip(u'-'))
            change.kind = RegChange::Kind::deleteValue;
        else if (Here() == u'"')
            good = ReadText(change);
        else if (SkipWord(u"dword:"))
            good = ReadNumber(change);
        else if (SkipWord(u"hex"))
            good = ReadBytes(change);
        else
            return Fail("the data is neither a quoted text, nor dword:, nor hex:, nor -");
        if (good)
            m_changes.push_back(std::move(change));
        return good;
    }

    /// A text in quotes, which may go over several lines.
    bool ReadQuoted(std::u16string& text)
    {
        const std::size_t start = m_line;
        ++m_at;
        while (!Skip(u'"'))
        {
            if (AtEnd())
            {
                m_line = start;
                return Fail("the closing quotation mark is missing");
            }
            if (Here() == u'\\')
            {
                ++m_at;
                if (Here() != u'\\' && Here() != u'"')
                    return Fail("a backslash within quotation marks is written twice");
            }
            if (Here() == u'\n' || (Here() == u'\r' && m_text.substr(m_at, 2) != u"\r\n"))
                ++m_line;
            text += m_text[m_at++];
        }
        return true;
    }

    bool ReadText(RegChange& change)
    {
        std::u16string text;
        if (!ReadQuoted(text))
            return false;
        change.type = typeText;
        text += u'\0';
        change.data = Bytes(text);
        return true;
    }

    /// A hexadecimal number of at most 8 digits.
    bool ReadHex(std::uint32_t& number)
    {
        number = 0;
        std::size_t digits = 0;
        for (; !AtEnd() && HexDigit(m_text[m_at]).has_value() && digits <= 8; ++digits)
            number = (number << 4) | *HexDigit(m_text[m_at++]);
        return digits >= 1 && digits <= 8;
    }

    bool ReadNumber(RegChange& change)
    {
        std::uint32_t number = 0;
        SkipBlanks();
        if (!ReadHex(number))
            return Fail("dword: is followed by one to eight hexadecimal digits");
        change.type = typeNumber;
        for (unsigned shift = 0; shift < 32; shift += 8)
            change.data += static_cast<char>((number >> shift) & 0xFF);
        return true;
    }

    bool ReadBytes(RegChange& change)
    {
        change.type = typeBinary;
        if (Skip(u'(') && (!ReadHex(change.type) || !Skip(u')')))
            return Fail("the type in hex( ) is no hexadecimal number");
        if (!Skip(u':'))
            return Fail("\":\" is missing behind hex");
        for (bool more = true; more;)
        {
            SkipBlanks();
            if (Skip(u'\\'))
            {
                SkipBlanks();
                if (!AtLineEnd())
                    return Fail("a backslash between bytes ends its line");
                SkipLineEnd();
                continue;
            }
            if (AtLineEnd() || Here() == u';')
                break;
            std::uint32_t byte = 0;
            if (!ReadHex(byte) || byte > 0xFF)
                return Fail("the bytes are not two hexadecimal digits each");
            change.data += static_cast<char>(byte);
            SkipBlanks();
            more = Skip(u',');
        }
        const bool isText = change.type == typeText || change.type == typeExpandText || change.type == typeTexts;
        if (m_older && isText) // there, the bytes of a text are 8-bit characters
            change.data = Bytes(hostwindows::Utf16FromUtf8(change.data));
        return true;
    }

    std::u16string_view m_text;
    std::vector<RegChange>& m_changes;
    RegTextError& m_error;
    std::size_t m_at = 0;
    std::size_t m_line = 1;
    bool m_older = false;
    bool m_hasKey = false;
};

void AppendHex(std::u16string& text, std::uint32_t number, int digits)
{
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        text += u"0123456789abcdef"[(number >> shift) & 0xF];
}

void AppendQuoted(std::u16string& text, std::u16string_view quoted)
{
    text += u'"';
    for (const char16_t unit : quoted)
    {
        if (unit == u'"' || unit == u'\\')
            text += u'\\';
        text += unit;
    }
    text += u'"';
}

bool HasLineEnd(std::u16string_view text)
{
    return std::ranges::any_of(text, IsLineEnd);
}

} // namespace

bool ReadRegText(std::string_view bytes, std::vector<RegChange>& changes, RegTextError& error)
{
    const std::u16string text = Decode(bytes);
    return Reader(text, changes, error).Read();
}

RegTextWriter::RegTextWriter()
{
    m_text += byteOrderMark;
    m_text.append(header).append(u"\r\n");
}

bool RegTextWriter::Key(std::u16string_view path)
{
    if (HasLineEnd(path))
        return false;
    m_text.append(u"\r\n[").append(path).append(u"]\r\n");
    return true;
}

void RegTextWriter::Value(std::u16string_view name, std::uint32_t type, std::string_view data)
{
    const std::size_t lineStart = m_text.size();
    if (name.empty())
        m_text += u'@';
    else
        AppendQuoted(m_text, name);
    m_text += u'=';
    if (type == typeNumber && data.size() == 4)
    {
        std::uint32_t number = 0;
        std::memcpy(&number, data.data(), sizeof(number));
        m_text += u"dword:";
        AppendHex(m_text, number, 8);
    }
    else if (std::u16string text = Utf16OfBytes(data, false);
             // What quotation marks cannot give back exactly goes by its bytes.
             type == typeText && data.size() % 2 == 0 && text.ends_with(u'\0') && text.find(u'\0') == text.size() - 1 &&
             !HasLineEnd(text))
    {
        text.pop_back();
        AppendQuoted(m_text, text);
    }
    else
    {
        m_text += u"hex";
        if (type != typeBinary)
        {
            int digits = 1;
            while (digits < 8 && (type >> (digits * 4)) != 0)
                ++digits;
            m_text += u'(';
            AppendHex(m_text, type, digits);
            m_text += u')';
        }
        m_text += u':';
        constexpr std::size_t fullLine = 76;
        std::size_t column = m_text.size() - lineStart;
        for (std::size_t i = 0; i < data.size(); ++i)
        {
            AppendHex(m_text, static_cast<unsigned char>(data[i]), 2);
            if (i + 1 == data.size())
                break;
            m_text += u',';
            column += 3;
            if (column > fullLine)
            {
                m_text += u"\\\r\n  ";
                column = 2;
            }
        }
    }
    m_text += u"\r\n";
}

std::string RegTextWriter::Finish()
{
    m_text += u"\r\n";
    return Bytes(m_text);
}

} // namespace hostreg
