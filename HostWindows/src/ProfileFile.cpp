// Profile (ini) files.
//
// A read is one pass over the file's bytes in the encoding they have: nothing is converted but the value that was asked
// for. A write changes the bytes of one line and leaves all others as they are.

#include "Descriptor.h"
#include "LetterCase.h"
#include "Paths.h"
#include "SharedFile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <sys/stat.h>

namespace hostwindows
{
namespace
{

template <class Unit>
using View = std::basic_string_view<Unit>;
template <class Unit>
using Text = std::basic_string<Unit>;

constexpr std::string_view utf16Mark = "\xFF\xFE";
constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";

template <class To, class From>
Text<To> Converted(View<From> text)
{
    if constexpr (std::is_same_v<To, From>)
        return Text<To>(text);
    else if constexpr (std::is_same_v<To, char>)
        return Utf8FromUtf16(text);
    else
        return Utf16FromUtf8(text);
}

template <class Unit>
bool IsBlank(Unit unit)
{
    return unit == ' ' || unit == '\t' || unit == '\v' || unit == '\f' || unit == 0x1A;
}

template <class Unit>
View<Unit> Trimmed(View<Unit> text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

template <class Unit>
View<Unit> WithoutQuotes(View<Unit> text)
{
    const bool quoted = text.size() > 1 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
    return quoted ? text.substr(1, text.size() - 2) : text;
}

/// A section's or key's name as it was asked for, compared with names in the file.
class Name
{
public:
    explicit Name(LPCWSTR text) : m_text(Trimmed(ViewOf(text))) {}
    const std::u16string& Wide() const { return m_text; }
    bool Is(std::u16string_view stored) const { return EqualWithoutCase(stored, m_text); }
    bool Is(std::string_view stored) const
    {
        const auto capital = [](auto unit) { return Capital(static_cast<char16_t>(unit)); };
        const bool ascii = std::ranges::all_of(stored, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        return ascii ? std::ranges::equal(stored, m_text, {}, capital, capital) : Is(Utf16FromUtf8(stored));
    }

private:
    std::u16string m_text;
};

/// One line of the file: [begin, end) without its line end, which is [end, next).
template <class Unit>
struct Line
{
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t next = 0;
    View<Unit> content; ///< without the blanks around it

    std::optional<View<Unit>> SectionName() const
    {
        if (content.empty() || content.front() != '[')
            return std::nullopt;
        const std::size_t bracket = content.rfind(Unit(']'));
        if (bracket == View<Unit>::npos)
            return std::nullopt;
        return Trimmed(content.substr(1, bracket - 1));
    }
    View<Unit> KeyName() const { return Trimmed(content.substr(0, content.find(Unit('=')))); }
    std::optional<View<Unit>> Value() const
    {
        const std::size_t equals = content.find(Unit('='));
        if (equals == View<Unit>::npos)
            return std::nullopt;
        const View<Unit> value = content.substr(equals + 1);
        return Trimmed(value.substr(0, value.find(Unit(0))));
    }
};

/// The lines of a text, one after the other. Line ends are LF and any number of CR, before an LF or alone.
template <class Unit>
class Lines
{
public:
    explicit Lines(View<Unit> text) : m_text(text) {}

    bool Next(Line<Unit>& line)
    {
        if (m_at >= m_text.size())
            return false;
        // Each is looked for once: in a text that has only one of them, the time would grow with the square.
        if (m_feed < m_at || m_at == 0)
            m_feed = std::min(m_text.find(Unit('\n'), m_at), m_text.size());
        if (m_return < m_at || m_at == 0)
            m_return = std::min(m_text.find(Unit('\r'), m_at), m_text.size());
        line.begin = m_at;
        line.end = line.next = std::min(m_feed, m_return);
        while (line.next < m_text.size() && m_text[line.next] == '\r')
            ++line.next;
        if (line.next < m_text.size() && m_text[line.next] == '\n')
            ++line.next;
        line.content = Trimmed(m_text.substr(line.begin, line.end - line.begin));
        m_at = line.next;
        return true;
    }

private:
    View<Unit> m_text;
    std::size_t m_at = 0;
    std::size_t m_feed = 0;
    std::size_t m_return = 0;
};

template <class Unit>
struct Found
{
    bool section = false;           ///< the file has the section
    std::size_t begin = 0;          ///< of the section, its header included
    std::size_t end = 0;            ///< of the section; not set when the key was found
    std::size_t contentsEnd = 0;    ///< behind the section's last line that is not blank
    std::optional<Line<Unit>> line; ///< of the key
};

/// The first section of a name, and the first line of a key in it. Lines before any header form the section of empty
/// name. A null key is not looked for.
template <class Unit>
Found<Unit> Find(View<Unit> text, const Name& section, const Name* key)
{
    Found<Unit> found;
    found.section = section.Wide().empty();
    Lines<Unit> lines(text);
    for (Line<Unit> line; lines.Next(line);)
    {
        if (const auto name = line.SectionName())
        {
            if (found.section)
            {
                found.end = line.begin;
                return found;
            }
            found.section = section.Is(*name);
            found.begin = line.begin;
            found.contentsEnd = line.next;
        }
        else if (found.section && !line.content.empty())
        {
            found.contentsEnd = line.next;
            if (key != nullptr && key->Is(line.KeyName()))
            {
                found.line = line;
                return found;
            }
        }
    }
    found.end = text.size();
    return found;
}

/// The names of all sections, or of one section's keys, each with a terminator.
template <class Unit>
std::u16string Names(View<Unit> text, bool sections)
{
    std::u16string names;
    Lines<Unit> lines(text);
    for (Line<Unit> line; lines.Next(line);)
    {
        const auto section = line.SectionName();
        const bool isKey = !section && line.Value() && line.content.front() != ';';
        if (sections ? section && !section->empty() : isKey)
            names.append(Converted<char16_t>(sections ? *section : line.KeyName())).append(1, u'\0');
    }
    return names;
}

/// Hands over the text behind the byte-order mark, in the units that the file is written in, and the mark's length.
template <class Use>
auto WithText(std::string_view bytes, Use use)
{
    if (bytes.starts_with(utf16Mark))
    {
        std::u16string units((bytes.size() - utf16Mark.size()) / sizeof(char16_t), u'\0');
        std::memcpy(units.data(), bytes.data() + utf16Mark.size(), units.size() * sizeof(char16_t));
        return use(View<char16_t>(units), utf16Mark.size());
    }
    const std::size_t mark = bytes.starts_with(utf8Mark) ? utf8Mark.size() : 0;
    return use(bytes.substr(mark), mark);
}

FoundPath FileOf(LPCWSTR file)
{
    std::u16string name(ViewOf(file));
    if (name.empty())
        return {{}, ERROR_ACCESS_DENIED};
    if (name.find_first_of(u"\\/:") == std::u16string::npos)
    {
        ::mkdir((MachineFolder() + "/drive_c/windows").c_str(), 0777);
        name.insert(0, u"C:\\windows\\");
    }
    FoundPath found = FindPath(name);
    if (found.error == NO_ERROR && found.isFolder)
        found.error = ERROR_ACCESS_DENIED;
    return found;
}

/// What a file holds: nothing, and why, when it cannot be read. One reader at a time has it.
struct Contents
{
    std::unique_lock<std::mutex> turn;
    DWORD error;
    std::string_view bytes;
};

Contents ContentsOf(const FoundPath& found)
{
    if (found.error != NO_ERROR)
        return {{}, found.error, {}};
    static std::mutex mutex;
    // The file read last, since a run reads many keys of few files. It is not destroyed: static owners may still read
    // at the process's end.
    static KeptFile& last = *new KeptFile;
    [[maybe_unused]] static const int closedThere = std::atexit([] { last.Close(); });
    std::unique_lock turn(mutex);
    const DWORD error = last.Read(found.path, found.status);
    return {std::move(turn), error, error == NO_ERROR ? std::string_view(last.Bytes()) : std::string_view()};
}

std::optional<std::u16string> ReadValue(std::string_view bytes, LPCWSTR section, LPCWSTR key)
{
    const Name keyName(key);
    return WithText(bytes, [&]<class Unit>(View<Unit> text, std::size_t) -> std::optional<std::u16string> {
        const Found<Unit> found = Find(text, Name(section), &keyName);
        if (const auto value = found.line ? found.line->Value() : std::nullopt)
            return Converted<char16_t>(WithoutQuotes(*value));
        return std::nullopt;
    });
}

/// The names of all sections, or of a section's keys if it has any.
std::optional<std::u16string> ReadNames(std::string_view bytes, LPCWSTR section)
{
    return WithText(bytes, [&]<class Unit>(View<Unit> text, std::size_t) -> std::optional<std::u16string> {
        if (section == nullptr)
            return Names(text, true);
        const Found<Unit> found = Find(text, Name(section), nullptr);
        std::u16string names;
        if (found.section)
            names = Names(text.substr(found.begin, found.end - found.begin), false);
        return names.empty() ? std::nullopt : std::optional(names);
    });
}

/// Digits behind an optional sign and "0x"; what follows is ignored, an overflow wraps, a negative number is 0.
UINT NumberIn(std::u16string_view text)
{
    constexpr std::u16string_view digits = u"0123456789ABCDEF";
    text.remove_prefix(text.starts_with(u'+') ? 1 : 0);
    const bool hexadecimal = text.starts_with(u"0x");
    text.remove_prefix(hexadecimal ? 2 : 0);
    const UINT base = hexadecimal ? 16 : 10;
    UINT number = 0;
    for (const char16_t unit : text)
    {
        const std::size_t digit = digits.find(Capital(unit));
        if (digit >= base)
            break;
        number = number * base + static_cast<UINT>(digit);
    }
    return number;
}

/// A change of one place of the file.
template <class Unit>
struct Edit
{
    std::size_t at;
    std::size_t removed;
    Text<Unit> inserted;
};

/// A null key deletes the section, a null value the key. @return nothing when there is nothing to delete
template <class Unit>
std::optional<Edit<Unit>>
EditOf(View<Unit> text, const Name& section, const Name* key, const std::optional<Text<Unit>>& value)
{
    constexpr Unit lineEnd[] = {'\r', '\n', 0};
    const Found<Unit> found = Find(text, section, key);
    if (key == nullptr)
        return found.section ? std::optional(Edit<Unit>{found.begin, found.end - found.begin, {}}) : std::nullopt;
    if (found.line && !value)
        return Edit<Unit>{found.line->begin, found.line->next - found.line->begin, {}};
    if (!value)
        return std::nullopt;
    const Text<Unit> assignment = Unit('=') + *value;
    if (found.line)
    {
        // The file's spelling of the name stays, and its indent.
        const View<Unit> name = found.line->KeyName();
        const std::size_t nameEnd = static_cast<std::size_t>(name.data() - text.data()) + name.size();
        return Edit<Unit>{nameEnd, found.line->end - nameEnd, assignment};
    }
    const std::size_t at = found.section ? found.contentsEnd : text.size();
    Edit<Unit> edit{at, 0, {}};
    if (at != 0 && text[at - 1] != '\n' && text[at - 1] != '\r')
        edit.inserted += lineEnd;
    const auto written = [](const Name& name) { return Converted<Unit>(View<char16_t>(name.Wide())); };
    if (!found.section)
        edit.inserted += Unit('[') + written(section) + Unit(']') + lineEnd;
    edit.inserted += written(*key) + assignment + lineEnd;
    return edit;
}

/// Applies the write to the bytes of a file. @return false when they are so already
bool Change(std::string& bytes, LPCWSTR section, LPCWSTR key, LPCWSTR value)
{
    const std::optional<Name> keyName = key == nullptr ? std::nullopt : std::optional<Name>(key);
    return WithText(bytes, [&]<class Unit>(View<Unit> text, std::size_t mark) {
        const auto written = value == nullptr ? std::nullopt : std::optional(Converted<Unit>(ViewOf(value)));
        const auto edit = EditOf(text, Name(section), keyName ? &*keyName : nullptr, written);
        if (!edit || text.substr(edit->at, edit->removed) == edit->inserted)
            return false;
        bytes.replace(
            mark + edit->at * sizeof(Unit), edit->removed * sizeof(Unit),
            reinterpret_cast<const char*>(edit->inserted.data()), edit->inserted.size() * sizeof(Unit));
        return true;
    });
}

/// A null section only flushes, and nothing waits to be written here. @return 0 or the error code
DWORD Write(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file)
{
    if (section == nullptr)
        return ERROR_FILE_NOT_FOUND;
    DWORD error = NO_ERROR;
    std::string path;
    std::string bytes;
    const auto changes = [&] {
        FoundPath found = FileOf(file);
        const Contents read = ContentsOf(found);
        path = std::move(found.path);
        error = read.error == ERROR_FILE_NOT_FOUND ? NO_ERROR : read.error;
        bytes = read.bytes;
        return error == NO_ERROR && Change(bytes, section, key, value);
    };
    if (changes())
    {
        const FolderLock lock(FolderOf(path));
        return changes() ? ReplaceWholeFile(lock, path, bytes) : error; // of what others have written meanwhile
    }
    if (error != NO_ERROR)
        return error;
    // What is there already is not written again, but refused where it could not be.
    Descriptor unchanged;
    error = OpenShared(unchanged, path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
    return error == ERROR_FILE_NOT_FOUND ? NO_ERROR : error;
}

} // namespace
} // namespace hostwindows

using namespace hostwindows;

UINT GetPrivateProfileIntW(LPCWSTR section, LPCWSTR key, INT preset, LPCWSTR file)
{
    const Contents read = ContentsOf(FileOf(file));
    ::SetLastError(read.error);
    const auto text = ReadValue(read.bytes, section, key);
    return text && !text->empty() ? NumberIn(*text) : static_cast<UINT>(preset);
}

UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT preset, LPCSTR file)
{
    return GetPrivateProfileIntW(
        Utf16FromUtf8(section).c_str(), Utf16FromUtf8(key).c_str(), preset, Utf16FromUtf8(file).c_str());
}

DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR preset, LPWSTR buffer, DWORD size, LPCWSTR file)
{
    if (size == 0)
        return 0;
    const bool list = section == nullptr || key == nullptr;
    const Contents read = ContentsOf(FileOf(file));
    std::optional<std::u16string> text = list ? ReadNames(read.bytes, section) : ReadValue(read.bytes, section, key);
    if (!text)
    {
        std::u16string_view given = ViewOf(preset);
        given = given.substr(0, given.find_last_not_of(u' ') + 1); // npos + 1 is 0
        text = WithoutQuotes(given);
    }
    // A list that is cut ends in two terminators all the same.
    const std::size_t ends = list && text->size() >= size ? 2 : 1;
    const std::size_t count = std::min<std::size_t>(text->size(), size - std::min<std::size_t>(size, ends));
    text->copy(buffer, count);
    std::fill_n(buffer + count, std::min<std::size_t>(ends, size - count), u'\0');
    ::SetLastError(read.error);
    return static_cast<DWORD>(count);
}

BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file)
{
    const DWORD error = Write(section, key, value, file);
    ::SetLastError(error);
    return error == NO_ERROR ? TRUE : FALSE;
}
