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
using hostwindows::KeyId;
using hostwindows::StoredKey;
using hostwindows::Utf16FromUtf8;
using hostwindows::Utf8FromUtf16;

constexpr const char* notFound = "The system was unable to find the specified registry key or value.";
constexpr const char* done = "The operation completed successfully.";

hostwindows::RegistryStore& Store()
{
    return hostwindows::RegistryStore::OfThisProcess();
}

/// What a failure of the registry is to the user.
std::string WordsOf(LSTATUS status)
{
    constexpr struct
    {
        LSTATUS status;
        const char* words;
    } rows[] = {
        {ERROR_KEY_DELETED, notFound},
        {ERROR_BAD_PATHNAME, "Invalid key name."},
        {ERROR_INVALID_PARAMETER, "Invalid key name or value name."},
        {ERROR_ACCESS_DENIED, "Access is denied."},
        {ERROR_DISK_FULL, "There is not enough space on the disk."},
        {ERROR_REGISTRY_CORRUPT, "The configuration registry database is corrupt."},
    };
    const auto* row = std::ranges::find(rows, status, [](const auto& known) { return known.status; });
    return row != std::end(rows) ? row->words : "The registry cannot be used (" + std::to_string(status) + ").";
}

/// "HKCU\Software" taken apart.
struct KeyName
{
    KeyId hive;
    std::u16string fullName; ///< with the long spelling of the root
    std::u16string path;     ///< below the root
};

KeyName ParseKeyName(std::u16string_view text)
{
    struct Root
    {
        std::u16string_view shortName, longName;
        KeyId hive;
    };
    constexpr std::array roots = {
        Root{u"HKCU", u"HKEY_CURRENT_USER", hostwindows::currentUser},
        Root{u"HKLM", u"HKEY_LOCAL_MACHINE", hostwindows::localMachine},
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

KeyId CreateKey(const KeyName& name)
{
    bool made = false;
    return Store().CreateKey(name.hive, name.path, false, made);
}

KeyId FindKey(const KeyName& name)
{
    const std::optional<KeyId> found = Store().FindKey(name.hive, name.path);
    return found ? *found : throw Failure(notFound);
}

/// A key that is not there needs no deleting.
void DeleteKey(const KeyName& name)
{
    if (name.path.empty())
        throw Failure(WordsOf(ERROR_ACCESS_DENIED));
    if (const std::optional<KeyId> found = Store().FindKey(name.hive, name.path))
        Store().DeleteKey(*found);
}

/// Calls `use` with the full name of the key and of each one below it, parents first. No recursion: a deep tree costs
/// no stack.
template <class Use>
void ForEachKey(const KeyName& top, const Use& use)
{
    std::vector<StoredKey> ahead{{FindKey(top), top.fullName}};
    while (!ahead.empty())
    {
        const StoredKey key = std::move(ahead.back());
        ahead.pop_back();
        use(key.name, key.id);
        const std::vector<StoredKey> below = Store().KeysOf(key.id);
        for (const StoredKey& each : std::ranges::reverse_view(below))
            ahead.push_back({each.id, key.name + u'\\' + each.name});
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

void PrintKeyName(const std::u16string& name)
{
    std::cout << '\n' << Utf8FromUtf16(name) << '\n';
}

void QueryAll(const KeyName& top, const std::optional<std::u16string>& wanted)
{
    std::size_t matches = 0;
    ForEachKey(top, [&](const std::u16string& name, KeyId key) {
        std::vector<Value> values;
        if (!wanted)
            values = Store().ValuesOf(key);
        else if (const std::optional<Value> value = Store().ReadValue(key, *wanted))
            values = {*value};
        if (wanted && values.empty())
            return;
        matches += values.size();
        PrintKeyName(name);
        std::ranges::for_each(values, PrintValue);
    });
    std::cout << '\n';
    if (wanted)
        std::cout << "End of search: " << matches << " match(es) found.\n";
    if (wanted && matches == 0)
        throw Failure(notFound);
}

void Query(const Arguments& arguments)
{
    const KeyName name = arguments.Key();
    const KeyId key = FindKey(name);
    const std::optional<std::u16string> wanted = arguments.ValueName();
    if (arguments.Has("/s"))
        return QueryAll(name, wanted);
    if (!wanted)
    {
        const std::vector<Value> values = Store().ValuesOf(key);
        if (!values.empty())
            PrintKeyName(name.fullName);
        std::ranges::for_each(values, PrintValue);
        std::cout << '\n';
        for (const StoredKey& below : Store().KeysOf(key))
            std::cout << Utf8FromUtf16(name.fullName + u'\\' + below.name) << '\n';
        return;
    }
    const std::optional<Value> value = Store().ReadValue(key, *wanted);
    if (!value && !wanted->empty())
        throw Failure(notFound);
    PrintKeyName(name.fullName);
    if (value)
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
    const KeyId key = CreateKey(name);
    if (!value)
        return Complete(true);
    const bool exists = Store().ReadValue(key, *value).has_value();
    const bool confirmed =
        Confirmed("Value " + ShownName(*value) + " exists, overwrite", !exists || arguments.Has("/f"));
    if (confirmed)
        Store().WriteValue(key, *value, *type, data);
    Complete(confirmed);
}

void Delete(const Arguments& arguments)
{
    const KeyName name = arguments.Key();
    const KeyId key = FindKey(name);
    const std::string shownKey = Utf8FromUtf16(name.fullName);
    const std::optional<std::u16string> value = arguments.ValueName();
    const bool forced = arguments.Has("/f");
    bool confirmed = false;
    if (value.has_value())
    {
        if (!Store().ReadValue(key, *value))
            throw Failure(notFound);
        confirmed = Confirmed("Delete the registry value " + ShownName(*value), forced);
        if (confirmed)
            Store().DeleteValue(key, *value);
    }
    else if (arguments.Has("/va"))
    {
        confirmed = Confirmed("Delete all values under the registry key " + shownKey, forced);
        if (confirmed)
            for (const Value& found : Store().ValuesOf(key))
                Store().DeleteValue(key, found.name);
    }
    else
    {
        confirmed = Confirmed("Permanently delete the registry key " + shownKey, forced);
        if (confirmed)
            DeleteKey(name);
    }
    Complete(confirmed);
}

void Export(const Arguments& arguments)
{
    RegTextWriter text;
    ForEachKey(arguments.Key(), [&](const std::u16string& name, KeyId key) {
        if (!text.Key(name))
            throw Failure(
                "The key " + Utf8FromUtf16(name) + " has a line end in its name, which no .reg file can hold.");
        for (const Value& value : Store().ValuesOf(key))
            text.Value(value.name, value.type, value.data);
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

/// @param current  the key that values belong to
void Apply(const RegChange& change, KeyId& current)
{
    switch (change.kind)
    {
    case RegChange::Kind::openKey:
        current = CreateKey(ParseKeyName(change.name));
        break;
    case RegChange::Kind::deleteKey:
        DeleteKey(ParseKeyName(change.name));
        break;
    case RegChange::Kind::deleteValue:
        Store().DeleteValue(current, change.name);
        break;
    case RegChange::Kind::setValue:
        Store().WriteValue(current, change.name, change.type, change.data);
        break;
    }
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
    hostwindows::RegistryStore::Transaction transaction(Store());
    KeyId current = 0;
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
        catch (const hostwindows::RegistryFailure& failure)
        {
            failAt(change.line, WordsOf(failure.status));
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
    std::string failed;
    try
    {
        Run({argv + std::min(argc, 1), argv + argc});
    }
    catch (const hostwindows::RegistryFailure& failure)
    {
        failed = WordsOf(failure.status);
    }
    catch (const std::exception& failure)
    {
        failed = failure.what();
    }
    if (!failed.empty())
        std::cerr << "ERROR: " << failed << '\n';
    std::cout.flush();
    return failed.empty() && std::cout.good() ? 0 : 1;
}
