// hostreg: the registry of a machine folder, in the command language of reg.exe.
#include "../src/LetterCase.h"
#include "../src/Paths.h"
#include "../src/RegistryStore.h"
#include "../src/SharedFile.h"
#include "RegText.h"
#include "ValueText.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <iterator>
#include <map>
#include <ranges>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace
{

using namespace hostreg;
using hostwindows::EqualWithoutCase;
using hostwindows::Utf16FromUtf8;
using hostwindows::Utf8FromUtf16;

constexpr const char* notFound = "The system was unable to find the specified registry key or value.";
constexpr const char* done = "The operation completed successfully.";

void Require(LSTATUS status)
{
    constexpr struct
    {
        LSTATUS status;
        const char* words;
    } rows[] = {
        {ERROR_FILE_NOT_FOUND, notFound},
        {ERROR_KEY_DELETED, notFound},
        {ERROR_BAD_PATHNAME, "Invalid key name."},
        {ERROR_INVALID_PARAMETER, "Invalid key name or value name."},
        {ERROR_ACCESS_DENIED, "Access is denied."},
        {ERROR_DISK_FULL, "There is not enough space on the disk."},
        {ERROR_REGISTRY_CORRUPT, "The configuration registry database is corrupt."},
    };
    if (status == ERROR_SUCCESS)
        return;
    const auto* row = std::ranges::find(rows, status, [](const auto& known) { return known.status; });
    throw Failure(row != std::end(rows) ? row->words : "The registry cannot be used (" + std::to_string(status) + ").");
}

/// Owns an open key.
class Key
{
public:
    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    Key(Key&& other) noexcept : m_key(std::exchange(other.m_key, nullptr)) {}
    Key& operator=(Key&& other) noexcept
    {
        std::swap(m_key, other.m_key);
        return *this;
    }
    ~Key()
    {
        if (m_key != nullptr)
            ::RegCloseKey(m_key);
    }

    HKEY Get() const { return m_key; }
    PHKEY Receive() { return &m_key; }

private:
    HKEY m_key = nullptr;
};

/// "HKCU\Software" taken apart.
struct KeyName
{
    HKEY hive;
    std::u16string fullName; ///< with the long spelling of the root
    std::u16string path;     ///< below the root
};

KeyName ParseKeyName(std::u16string_view text)
{
    struct Root
    {
        std::u16string_view shortName, longName;
        HKEY hive;
    };
    const std::array roots = {
        Root{u"HKCU", u"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
        Root{u"HKLM", u"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
    };
    while (text.ends_with(u'\\'))
        text.remove_suffix(1);
    const std::size_t end = std::min(text.find(u'\\'), text.size());
    const std::u16string_view rootText = text.substr(0, end);
    const std::u16string_view path = text.substr(std::min(end + 1, text.size()));
    const auto* root = std::ranges::find_if(roots, [&](const Root& row) {
        return EqualWithoutCase(rootText, row.shortName) || EqualWithoutCase(rootText, row.longName);
    });
    if (root == roots.end() || path.starts_with(u'\\'))
        throw Failure("Invalid key name.");
    std::u16string fullName(root->longName);
    if (!path.empty())
        fullName.append(u"\\").append(path);
    return {root->hive, fullName, std::u16string(path)};
}

Key OpenKey(const KeyName& name)
{
    Key key;
    Require(::RegOpenKeyExW(name.hive, name.path.c_str(), 0, MAXIMUM_ALLOWED, key.Receive()));
    return key;
}

Key CreateKey(const KeyName& name)
{
    Key key;
    Require(::RegCreateKeyExW(
        name.hive, name.path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr));
    return key;
}

std::optional<Value> ReadValue(HKEY key, const std::u16string& name)
{
    Value value{name, 0, {}};
    LSTATUS status = ERROR_MORE_DATA;
    for (DWORD size = 0; status == ERROR_MORE_DATA;) // once more when another process has made it longer meanwhile
    {
        value.data.resize(size);
        status = ::RegQueryValueExW(
            key, name.c_str(), nullptr, &value.type, reinterpret_cast<BYTE*>(value.data.data()), &size);
        if (status == ERROR_SUCCESS)
            value.data.resize(size);
    }
    if (status == ERROR_FILE_NOT_FOUND)
        return std::nullopt;
    Require(status);
    return value;
}

/// Calls `use` with each value of a key.
template <class Use>
void ForEachValue(HKEY key, const Use& use)
{
    constexpr DWORD nameRoom = 16384;
    std::u16string name(nameRoom, u'\0');
    for (DWORD index = 0;; ++index)
    {
        DWORD length = nameRoom;
        const LSTATUS status = ::RegEnumValueW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS)
            return;
        Require(status);
        if (const std::optional<Value> value = ReadValue(key, name.substr(0, length)); value.has_value())
            use(*value);
    }
}

std::vector<KeyName> SubKeys(HKEY key, const KeyName& parent)
{
    std::vector<KeyName> names;
    std::array<WCHAR, 256> name{};
    for (DWORD index = 0;; ++index)
    {
        DWORD length = name.size();
        const LSTATUS status = ::RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS)
            return names;
        Require(status);
        const std::u16string_view found(name.data(), length);
        std::u16string path = parent.path;
        path.append(path.empty() ? u"" : u"\\").append(found);
        names.push_back({parent.hive, std::u16string(parent.fullName).append(u"\\").append(found), path});
    }
}

/// The key and all below it, parents first. No recursion: a deep tree costs no stack.
template <class Use>
void ForEachKey(const KeyName& top, const Use& use)
{
    std::vector<KeyName> ahead{top};
    while (!ahead.empty())
    {
        const KeyName name = std::move(ahead.back());
        ahead.pop_back();
        const Key key = OpenKey(name);
        use(name, key.Get());
        std::vector<KeyName> below = SubKeys(key.Get(), name);
        std::ranges::move(std::ranges::reverse_view(below), std::back_inserter(ahead));
    }
}

/// Asks on standard output until standard input says yes or no; its end means no.
bool Confirmed(const std::string& question, bool forced)
{
    constexpr std::u16string_view yes[] = {u"y", u"yes"};
    constexpr std::u16string_view no[] = {u"n", u"no"};
    std::string line;
    while (!forced)
    {
        std::cout << question << " (Yes/No)? " << std::flush;
        if (!std::getline(std::cin, line))
            return false;
        const auto matches = [answer = Utf16FromUtf8(line)](std::u16string_view word) {
            return EqualWithoutCase(answer, word);
        };
        if (std::ranges::any_of(yes, matches))
            return true;
        if (std::ranges::any_of(no, matches))
            return false;
    }
    return true;
}

struct Arguments
{
    std::vector<std::string> words;            ///< the key, the file
    std::map<std::string, std::string> values; ///< what stands behind each given option

    bool Has(const char* option) const { return values.contains(option); }
    KeyName Key() const { return ParseKeyName(Utf16FromUtf8(words[0])); }
    /// The value that /v or /ve names; none when neither is there.
    std::optional<std::u16string> ValueName() const
    {
        if (Has("/ve"))
            return std::u16string();
        const auto name = values.find("/v");
        return name == values.end() ? std::nullopt : std::optional(Utf16FromUtf8(name->second));
    }
};

void Complete(bool confirmed)
{
    if (!confirmed)
        throw Failure("The operation was cancelled by the user.");
    std::cout << done << '\n';
}

/// The Linux path of a file named in either way.
std::string FilePath(const std::string& name)
{
    if (name.find('\\') == std::string::npos && (name.size() < 2 || name[1] != ':'))
        return name;
    const hostwindows::FoundPath found = hostwindows::FindPath(Utf16FromUtf8(name));
    if (found.error != NO_ERROR)
        throw Failure("The system cannot find the path " + name + ".");
    return found.path;
}

void RequireFile(DWORD error, const std::string& name, const char* what)
{
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
        throw Failure("The system cannot find the file " + name + ".");
    if (error != NO_ERROR)
        throw Failure("The file " + name + " cannot be " + what + " (" + std::to_string(error) + ").");
}

// ---- The commands

std::string ShownName(const std::u16string& name)
{
    return name.empty() ? "(Default)" : Utf8FromUtf16(name);
}

void PrintValue(const Value& value)
{
    std::cout << "    " << ShownName(value.name) << "    " << NameOfType(value.type) << "    " << TextOfData(value)
              << '\n';
}

/// The values of a key below a line with its name, which a key without values needs only in a list of all keys.
void PrintKey(const KeyName& name, HKEY key, bool always)
{
    const std::string line = "\n" + Utf8FromUtf16(name.fullName) + "\n";
    if (always)
        std::cout << line;
    bool needed = !always;
    ForEachValue(key, [&](const Value& value) {
        std::cout << (std::exchange(needed, false) ? line : "");
        PrintValue(value);
    });
}

void QueryAll(const KeyName& top, const std::optional<std::u16string>& wanted)
{
    std::size_t matches = 0;
    ForEachKey(top, [&](const KeyName& name, HKEY key) {
        if (!wanted.has_value())
            return PrintKey(name, key, true);
        const std::optional<Value> value = ReadValue(key, *wanted);
        if (!value.has_value())
            return;
        ++matches;
        std::cout << '\n' << Utf8FromUtf16(name.fullName) << '\n';
        PrintValue(*value);
    });
    std::cout << '\n';
    if (wanted.has_value())
        std::cout << "End of search: " << matches << " match(es) found.\n";
    if (wanted.has_value() && matches == 0)
        throw Failure(notFound);
}

void Query(const Arguments& arguments)
{
    const KeyName name = arguments.Key();
    const Key key = OpenKey(name);
    const std::optional<std::u16string> wanted = arguments.ValueName();
    if (arguments.Has("/s"))
        return QueryAll(name, wanted);
    if (!wanted.has_value())
    {
        PrintKey(name, key.Get(), false);
        std::cout << '\n';
        for (const KeyName& below : SubKeys(key.Get(), name))
            std::cout << Utf8FromUtf16(below.fullName) << '\n';
        return;
    }
    const std::optional<Value> value = ReadValue(key.Get(), *wanted);
    if (!value.has_value() && !wanted->empty())
        throw Failure(notFound);
    std::cout << '\n' << Utf8FromUtf16(name.fullName) << '\n';
    if (value.has_value())
        PrintValue(*value);
    else
        std::cout << "    (Default)    REG_SZ    (value not set)\n";
    std::cout << '\n';
}

void Add(const Arguments& arguments)
{
    const KeyName name = arguments.Key();
    const auto given = [&](const char* option, const char* otherwise) {
        const auto found = arguments.values.find(option);
        return found == arguments.values.end() ? std::string(otherwise) : found->second;
    };
    const std::optional<DWORD> type = TypeOfName(given("/t", "REG_SZ"));
    if (!type.has_value())
        throw Failure("Invalid syntax. Specify valid type for '/t'.");
    const std::string data = DataOfText(*type, given("/d", ""));
    const std::optional<std::u16string> value = arguments.ValueName();
    if (!value.has_value() && (arguments.Has("/d") || arguments.Has("/t")))
        throw Failure("Invalid syntax. '/t' and '/d' need '/v' or '/ve'.");
    const Key key = CreateKey(name);
    if (!value.has_value())
        return Complete(true);
    const bool exists = ReadValue(key.Get(), *value).has_value();
    const bool confirmed =
        Confirmed("Value " + ShownName(*value) + " exists, overwrite", !exists || arguments.Has("/f"));
    if (confirmed)
        Require(::RegSetValueExW(
            key.Get(), value->c_str(), 0, *type, reinterpret_cast<const BYTE*>(data.data()),
            static_cast<DWORD>(data.size())));
    Complete(confirmed);
}

void Delete(const Arguments& arguments)
{
    const KeyName name = arguments.Key();
    const Key key = OpenKey(name);
    const std::string shownKey = Utf8FromUtf16(name.fullName);
    const std::optional<std::u16string> value = arguments.ValueName();
    const bool forced = arguments.Has("/f");
    bool confirmed = false;
    if (value.has_value())
    {
        if (!ReadValue(key.Get(), *value).has_value())
            throw Failure(notFound);
        confirmed = Confirmed("Delete the registry value " + ShownName(*value), forced);
        if (confirmed)
            Require(::RegDeleteValueW(key.Get(), value->c_str()));
    }
    else if (arguments.Has("/va"))
    {
        confirmed = Confirmed("Delete all values under the registry key " + shownKey, forced);
        std::vector<std::u16string> names;
        if (confirmed)
            ForEachValue(key.Get(), [&](const Value& found) { names.push_back(found.name); });
        for (const std::u16string& found : names)
            Require(::RegDeleteValueW(key.Get(), found.c_str()));
    }
    else
    {
        if (name.path.empty())
            Require(ERROR_ACCESS_DENIED);
        confirmed = Confirmed("Permanently delete the registry key " + shownKey, forced);
        if (confirmed)
            Require(::RegDeleteTreeW(name.hive, name.path.c_str()));
    }
    Complete(confirmed);
}

void Export(const Arguments& arguments)
{
    RegTextWriter text;
    ForEachKey(arguments.Key(), [&](const KeyName& name, HKEY key) {
        if (!text.Key(name.fullName))
            throw Failure(
                "The key " + Utf8FromUtf16(name.fullName) +
                " has a line end in its name, which no .reg file can hold.");
        ForEachValue(key, [&](const Value& value) { text.Value(value.name, value.type, value.data); });
    });
    const std::string path = FilePath(arguments.words[1]);
    struct ::stat file = {};
    const bool exists = ::stat(path.c_str(), &file) == 0;
    const bool confirmed =
        Confirmed("File " + arguments.words[1] + " already exists. Overwrite", !exists || arguments.Has("/y"));
    if (confirmed)
        RequireFile(hostwindows::ReplaceWholeFile(path, text.Finish()), arguments.words[1], "written");
    Complete(confirmed);
}

/// What is done while it lives is done as a whole or not at all.
class Transaction
{
public:
    Transaction() { Require(Locked(&Store::Begin)); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction() { Locked(&Store::Rollback); }

    void Commit() { Require(Locked(&Store::Commit)); }

private:
    using Store = hostwindows::RegistryStore;

    template <class Result>
    static Result Locked(Result (Store::*operation)())
    {
        const std::lock_guard lock(Store::Mutex());
        return (Store::OfThisProcess().*operation)();
    }
};

void Apply(const RegChange& change, Key& current)
{
    LSTATUS status = ERROR_SUCCESS;
    switch (change.kind)
    {
    case RegChange::Kind::openKey:
        current = CreateKey(ParseKeyName(change.name));
        return;
    case RegChange::Kind::deleteKey: {
        const KeyName name = ParseKeyName(change.name);
        status = name.path.empty() ? LSTATUS{ERROR_ACCESS_DENIED} : ::RegDeleteTreeW(name.hive, name.path.c_str());
        break;
    }
    case RegChange::Kind::deleteValue:
        status = ::RegDeleteValueW(current.Get(), change.name.c_str());
        break;
    case RegChange::Kind::setValue:
        Require(::RegSetValueExW(
            current.Get(), change.name.c_str(), 0, change.type, reinterpret_cast<const BYTE*>(change.data.data()),
            static_cast<DWORD>(change.data.size())));
        return;
    }
    if (status != ERROR_FILE_NOT_FOUND) // what is gone already needs no deleting
        Require(status);
}

void Import(const Arguments& arguments)
{
    const std::string& file = arguments.words[0];
    std::string bytes;
    RequireFile(hostwindows::ReadWholeFile(FilePath(file), bytes), file, "read");
    std::vector<RegChange> changes;
    RegTextError error;
    const auto failAt = [&](std::size_t line, const std::string& why) {
        throw Failure("The file " + file + " was not imported. Line " + std::to_string(line) + ": " + why);
    };
    if (!ReadRegText(bytes, changes, error))
        failAt(error.line, error.message + ".");
    Transaction transaction;
    Key current;
    for (const RegChange& change : changes)
    {
        try
        {
            Apply(change, current);
        }
        catch (const Failure& failure)
        {
            failAt(change.line, failure.what());
        }
    }
    transaction.Commit();
    Complete(true);
}

struct Command
{
    std::string_view name;
    std::size_t words;        ///< that come before the options
    std::string_view options; ///< one with a value behind it ends in ":"
    void (*run)(const Arguments&);
    const char* usage;
};

constexpr Command commands[] = {
    {"query", 1, " /v: /ve /s ", &Query, "KEY [/v NAME | /ve] [/s]"},
    {"add", 1, " /v: /ve /t: /d: /f ", &Add, "KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/f]"},
    {"delete", 1, " /v: /ve /va /f ", &Delete, "KEY [/v NAME | /ve | /va] [/f]"},
    {"export", 2, " /y ", &Export, "KEY FILE [/y]"},
    {"import", 1, " ", &Import, "FILE"},
};

bool EqualWords(std::string_view left, std::string_view right)
{
    return EqualWithoutCase(Utf16FromUtf8(left), Utf16FromUtf8(right));
}

/// @return nothing when the words are no use of the command
std::optional<Arguments> ParseArguments(const Command& command, const std::vector<std::string>& words)
{
    if (words.size() < command.words)
        return std::nullopt;
    const auto firstOption = words.begin() + static_cast<std::ptrdiff_t>(command.words);
    Arguments arguments{{words.begin(), firstOption}, {}};
    for (auto word = firstOption; word != words.end(); ++word)
    {
        std::string option = *word;
        for (char& c : option)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        std::string value;
        if (command.options.find(" " + option + ": ") != std::string_view::npos && word + 1 != words.end())
            value = *++word;
        else if (command.options.find(" " + option + " ") == std::string_view::npos)
            return std::nullopt;
        if (!arguments.values.emplace(option, value).second)
            return std::nullopt;
    }
    const int targets = arguments.Has("/v") + arguments.Has("/ve") + arguments.Has("/va");
    return targets > 1 ? std::nullopt : std::optional(arguments);
}

void Run(const std::vector<std::string>& words)
{
    const auto* command = std::ranges::find_if(
        commands, [&](const Command& row) { return !words.empty() && EqualWords(row.name, words[0]); });
    if (command == std::end(commands))
    {
        std::string usage = "Invalid syntax. Usage:";
        for (const Command& row : commands)
            usage.append("\n  hostreg ").append(row.name).append(" ").append(row.usage);
        throw Failure(usage);
    }
    const std::optional<Arguments> arguments = ParseArguments(*command, {words.begin() + 1, words.end()});
    if (!arguments.has_value())
        throw Failure("Invalid syntax. Usage: hostreg " + std::string(command->name) + " " + command->usage);
    command->run(*arguments);
}

} // namespace

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);
    int exitCode = 0;
    try
    {
        Run({argv + std::min(argc, 1), argv + argc});
    }
    catch (const std::exception& failure)
    {
        std::cerr << "ERROR: " << failure.what() << '\n';
        exitCode = 1;
    }
    std::cout.flush();
    return std::cout.good() ? exitCode : 1;
}
