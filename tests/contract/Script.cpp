#include "Script.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <thread>

namespace test
{
namespace
{

const auto untouched = reinterpret_cast<void*>(Word{0x5678});
constexpr const char* folderVariable = "SCANKELV_TEST_FOLDER";

std::string_view Trimmed(std::string_view text)
{
    const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

/// The parts between the separators that stand in no quotes, none for an empty text.
std::vector<std::string_view> Split(std::string_view text, std::string_view separator)
{
    std::vector<std::string_view> parts;
    char quote = 0;
    std::size_t start = 0;
    for (std::size_t at = 0; at < text.size(); ++at)
        if (quote != 0 || text[at] == '"' || text[at] == '\'')
            quote = quote == 0 ? text[at] : quote == text[at] ? char{} : quote;
        else if (text.substr(at).starts_with(separator))
        {
            parts.push_back(Trimmed(text.substr(start, at - start)));
            start = at + separator.size();
        }
    if (!Trimmed(text).empty())
        parts.push_back(Trimmed(text.substr(start)));
    return parts;
}

/// Another process, which plays a line of a script.
const bool isPlayer = InRole(OLESTR("script"), [](const Wide& line) -> UINT {
    WCHAR folder[1024] = {};
    ::GetEnvironmentVariableW(ToWide(folderVariable).c_str(), folder, 1024);
    const std::string calls = ToUtf8(line); // with a remark behind them, perhaps
    return static_cast<UINT>(Script(folder).Do(calls.substr(0, calls.find(" # "))).word);
});

} // namespace

std::string OnOneLine(std::string_view bytes)
{
    std::string line = Shown(bytes);
    ReplaceAll(line, "\n", "␊");
    return "[" + line + "]";
}

std::string ErrorName(DWORD error)
{
    const struct
    {
        DWORD code;
        const char* name;
    } names[] = {
        {0, "success"},
        {kept, "kept"},
        {ERROR_FILE_NOT_FOUND, "FILE_NOT_FOUND"},
        {ERROR_PATH_NOT_FOUND, "PATH_NOT_FOUND"},
        {ERROR_ACCESS_DENIED, "ACCESS_DENIED"},
        {ERROR_INVALID_HANDLE, "INVALID_HANDLE"},
        {ERROR_SHARING_VIOLATION, "SHARING_VIOLATION"},
        {ERROR_FILE_EXISTS, "FILE_EXISTS"},
        {ERROR_INVALID_PARAMETER, "INVALID_PARAMETER"},
        {ERROR_INVALID_NAME, "INVALID_NAME"},
        {ERROR_BAD_PATHNAME, "BAD_PATHNAME"},
        {ERROR_ALREADY_EXISTS, "ALREADY_EXISTS"},
        {ERROR_MORE_DATA, "MORE_DATA"},
        {ERROR_KEY_DELETED, "KEY_DELETED"},
        {ERROR_CHILD_MUST_BE_VOLATILE, "CHILD_MUST_BE_VOLATILE"},
        {S_FALSE, "S_FALSE"},
        {static_cast<DWORD>(E_FAIL), "E_FAIL"},
        {static_cast<DWORD>(E_INVALIDARG), "E_INVALIDARG"},
        {static_cast<DWORD>(E_NOINTERFACE), "E_NOINTERFACE"},
        {static_cast<DWORD>(REGDB_E_CLASSNOTREG), "CLASSNOTREG"},
        {static_cast<DWORD>(CO_E_NOTINITIALIZED), "NOTINITIALIZED"},
        {static_cast<DWORD>(RPC_E_CHANGED_MODE), "CHANGED_MODE"}};
    for (const auto& [code, name] : names)
        if (code == error)
            return name;
    std::ostringstream number;
    number << (error > 0xFFFF ? std::hex : std::dec) << (error > 0xFFFF ? "0x" : "") << error;
    return number.str();
}

DWORD lastSeenError = 0;

Outcome Told(Word word, std::string shown, bool failed, Form form)
{
    const DWORD error = ::GetLastError();
    if (form.isCode)
        shown = ErrorName(static_cast<DWORD>(word));
    if (error != kept && (form.error == Form::Always || (form.error == Form::OnFailure && failed)))
        shown += ", " + ErrorName(error);
    if (form.error != Form::Never)
        lastSeenError = error;
    return {word, shown};
}

/// While a call is made: its arguments, and what its places tell afterwards.
struct Script::Call
{
    std::vector<Argument> arguments;
    std::vector<std::function<std::string()>> places;
    bool givesObjects = false;
};

Script::Script(const Wide& folder)
{
    if (folder.empty())
        m_folder.emplace();
    const auto inLinux = [](const Wide& path) {
        Wide converted = path.substr(2);
        std::ranges::replace(converted, OLESTR('\\'), OLESTR('/'));
        return converted;
    };
    const char* const machine = std::getenv("HOSTWINDOWS_ROOT");
    m_texts = {
        {"folder", folder.empty() ? m_folder->Path() : folder},
        {"program", ProgramPath()},
        {"sample", ToWide("Z:" SAMPLE_LIBRARY)},
        {"hostreg", ToWide(HOSTREG)},
        {"version", ToWide(PROJECT_VERSION)},
        {"commandline", ::GetCommandLineW()},
        {"machine", ToWide(machine == nullptr ? "" : machine)}};
    m_texts["dosmachine"] = OLESTR("Z:") + m_texts["machine"];
    std::ranges::replace(m_texts["dosmachine"], OLESTR('/'), OLESTR('\\'));
    for (const char* name : {"folder", "program"})
        m_texts[std::string("linux") + name] = inLinux(m_texts[name]);
    SetVariable(folderVariable, ToUtf8(m_texts["folder"]));
    AllowRoles();
}

Script::~Script()
{
    for (IUnknown* object : m_objects)
        object->Release();
    RestoreVariables();
}

std::string Script::Expanded(std::string answer) const
{
    for (const auto& [name, text] : m_texts)
        ReplaceAll(answer, "{" + name + "}", ToUtf8(text));
    for (const auto& [name, word] : m_kept)
        ReplaceAll(answer, "{" + name + "}", std::to_string(word));
    return answer;
}

Outcome Script::Do(std::string_view line)
{
    if (const std::size_t definition = line.find(" := "); definition != std::string_view::npos)
    {
        m_words[std::string(line.substr(0, definition))] = line.substr(definition + 4);
        return {};
    }
    if (line == "hives")
    {
        m_registry.emplace();
        return {};
    }
    if (line.starts_with("thread "))
    {
        Outcome outcome;
        std::thread([&] { outcome = Do(line.substr(line.find(' '))); }).join();
        return outcome;
    }
    if (line.starts_with("repeat "))
    {
        std::size_t digits = 0;
        const int times = std::stoi(std::string(line.substr(7)), &digits);
        Outcome all;
        for (int i = 0; i < times; ++i)
        {
            std::string call(line.substr(7 + digits));
            ReplaceAll(call, "%", std::to_string(i));
            const Outcome outcome = Do(call);
            if (i == 0 || outcome.answer != all.answer)
                all = {outcome.word, all.answer + outcome.answer};
        }
        return all;
    }
    const std::size_t start = line.find(" = start ");
    if (start != std::string_view::npos)
    {
        m_children.push_back(std::make_unique<Child>(OLESTR("script ") + Given<Wide>(line.substr(start + 9))));
        m_kept[std::string(line.substr(0, start))] = reinterpret_cast<Word>(m_children.back().get());
        return {};
    }
    Outcome all;
    for (const std::string_view call : Split(line, " ; "))
    {
        const bool isQuiet = call.starts_with("- ");
        const Outcome outcome = Made(call.substr(isQuiet ? 2 : 0));
        all.word = outcome.word;
        if (!isQuiet)
            all.answer += (all.answer.empty() ? "" : " ; ") + outcome.answer;
    }
    return all;
}

Outcome Script::Made(std::string_view call)
{
    const std::size_t equals = call.find(" = ");
    if (equals != std::string_view::npos && call.find_first_of(" \"'") == equals)
        return Kept(std::string(call.substr(0, equals)), call.substr(equals + 3));

    const std::string_view name = call.substr(0, call.find(' '));
    const std::vector<std::string_view> given = Split(call.substr(name.size()), ",");
    if (const auto word = m_words.find(name); word != m_words.end())
    {
        std::string expanded = word->second;
        for (std::size_t i = 0; i < given.size(); ++i)
            ReplaceAll(expanded, "$" + std::to_string(i + 1), given[i]);
        return Do(expanded);
    }
    if (name == "Release")
    {
        IUnknown* const object = reinterpret_cast<IUnknown*>(NumberOf(given.at(0)));
        if (std::erase(m_objects, object) != 0)
            object->Release();
        return {};
    }
    const auto function = Functions().find(name);
    if (function == Functions().end() || function->second.parameters != given.size())
        throw std::invalid_argument("no such call: " + std::string(call));
    Call made;
    made.givesObjects = function->second.form.givesObjects;
    for (const std::string_view argument : given)
        made.arguments.push_back(ArgumentOf(argument, made));
    Outcome outcome = function->second.call(made.arguments.data());
    for (const auto& place : made.places)
        outcome.answer += place();
    return outcome;
}

Outcome Script::Kept(const std::string& name, std::string_view call)
{
    if (IsText(call))
    {
        m_texts[name] = TextOf<Wide>(call);
        return {};
    }
    Outcome outcome = Made(call);
    m_kept[name] = outcome.word;
    return outcome;
}

bool Script::IsText(std::string_view text) const
{
    return text.find_first_of("\"'@") == 0 || m_texts.contains(text.substr(0, text.find(' ')));
}

template <class Text>
Text Script::TextOf(std::string_view pieces) const
{
    Text text;
    while (!(pieces = Trimmed(pieces)).empty())
    {
        const char quote = pieces[0];
        std::size_t end = std::min(pieces.find(' '), pieces.size());
        if (quote == '"' || quote == '\'')
        {
            std::string inner;
            for (end = 1; pieces.at(end) != quote || pieces.substr(end + 1).starts_with(quote); ++end)
                inner += pieces[end += pieces[end] == quote];
            text += Given<Text>(inner);
            ++end;
        }
        else if (quote == '@')
            Append(text, ToUtf8(m_texts.at("folder")) + "\\" + std::string(pieces.substr(1, end - 1)));
        else
            Append(text, ToUtf8(m_texts.at(std::string(pieces.substr(0, end)))));
        pieces.remove_prefix(end);
    }
    return text;
}

Word Script::NumberOf(std::string_view text) const
{
    Word number = 0;
    for (const std::string_view part : Split(text, "|"))
        if (const std::size_t plus = part.find('+'); plus != std::string_view::npos)
            number |= NumberOf(part.substr(0, plus)) + NumberOf(part.substr(plus + 1));
        else if (const auto constant = Constants().find(part); constant != Constants().end())
            number |= constant->second;
        else if (part.starts_with('$'))
            number |= m_kept.at(std::string(part.substr(1)));
        else
            number |= static_cast<Word>(std::stoll(std::string(part), nullptr, 0));
    return number;
}

template <class Text>
Word Script::Room(std::size_t size, bool isText, const std::string& name, Call& call)
{
    constexpr auto fill = static_cast<typename Text::value_type>('#');
    const auto room = std::make_shared<Text>(size + 1, fill);
    const auto address = reinterpret_cast<Word>(room->data());
    call.places.emplace_back([=] {
        EXPECT_EQ(fill, room->back()) << "written beyond the room";
        const std::size_t end = room->find_last_not_of(fill) + 1;
        const Text seen = room->substr(0, isText ? std::min(room->find(Text(1, 0)), end) : end);
        std::string shown = "untouched";
        if constexpr (std::is_same_v<Text, Wide>)
            shown = end == 0 ? shown : OnOneLine(ToUtf8(seen));
        else
            shown = end == 0 ? shown : OnOneLine(seen);
        return name.empty() ? "; " + shown : "";
    });
    m_memory.push_back(room);
    if (!name.empty())
        m_kept[name] = address;
    return address;
}

Argument Script::ArgumentOf(std::string_view text, Call& call)
{
    const auto keep = [this]<class Kept>(Kept given) {
        auto memory = std::make_shared<Kept>(std::move(given));
        m_memory.push_back(memory);
        return memory.get();
    };
    const auto word = [](const void* address) { return reinterpret_cast<Word>(address); };
    const std::string name(text.substr(1, text.find('=') - 1));
    if (text[0] == '&')
    {
        const std::size_t equals = text.find('=');
        std::uint64_t* const place = keep(std::uint64_t{77});
        if (equals != std::string_view::npos)
            *place = static_cast<DWORD>(NumberOf(text.substr(equals + 1)));
        call.places.emplace_back([this, name, place] {
            m_kept[name] = static_cast<Word>(*place);
            return "; " + name + "=" + std::to_string(static_cast<DWORD>(*place));
        });
        return {word(place)};
    }
    if (text[0] == '*')
    {
        void** const place = keep(text.ends_with("=null") ? nullptr : untouched);
        call.places.emplace_back([this, name, place, &call] {
            m_kept[name] = reinterpret_cast<Word>(*place);
            if (call.givesObjects && *place != nullptr && *place != untouched)
                m_objects.push_back(static_cast<IUnknown*>(*place));
            return "; " + name + (*place == nullptr ? "=null" : *place == untouched ? "=untouched" : "=set");
        });
        return {word(place)};
    }
    if (text == "~")
    {
        BSTR* const place = keep(BSTR{});
        call.places.emplace_back([place] {
            const std::string shown =
                "; " + (*place == nullptr ? "null" : OnOneLine(ToUtf8({*place, ::SysStringLen(*place)})));
            ::SysFreeString(*place);
            return shown;
        });
        return {word(place)};
    }
    if (const std::size_t bracket = text.find('['); bracket != std::string_view::npos && text.ends_with(']') &&
                                                    text.find_first_of("\"' ") == std::string_view::npos)
    {
        const std::size_t equals = text.find('=') + 1, size = std::stoul(std::string(text.substr(bracket + 1)));
        const std::string place(text.substr(0, equals - (equals > 0 ? 1 : 0)));
        const std::string_view kind = text.substr(equals, bracket - equals);
        const bool isText = kind == "text" || kind == "chars";
        return {
            kind == "units" || kind == "text" ? Room<Wide>(size, isText, place, call)
                                              : Room<std::string>(size, isText, place, call)};
    }
    if (text[0] == '\'')
    {
        const std::string* const bytes = keep(TextOf<std::string>(text));
        return {word(bytes->c_str()), true, bytes->size()};
    }
    if (IsText(text))
    {
        const Wide wide = TextOf<Wide>(text);
        m_memory.emplace_back(::SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())), [](void* given) {
            ::SysFreeString(static_cast<BSTR>(given));
        });
        return {word(m_memory.back().get()), true, wide.size()};
    }
    return {NumberOf(text)};
}

void RunScript(const char* file)
{
    std::string path = std::string("Z:" CALLS_FOLDER "/") + file + ".txt";
    std::ranges::replace(path, '/', '\\');
    std::istringstream lines(ReadFileBytes(ToWide(path)));
    std::optional<Script> script;
    std::string title;
    int compared = 0;
    for (std::string line; std::getline(lines, line);)
    {
        if (line.empty() || line.starts_with('#'))
            continue;
        if (line.starts_with("== "))
        {
            script.reset(); // before the next one, which takes its place
            script.emplace();
            title = line;
            continue;
        }
        if (!script)
            continue;
        if (line.starts_with("needs "))
        {
            if (script->Do(line.substr(6)).word != 0)
            {
                std::cout << file << ": left out here: " << title << '\n';
                script.reset();
            }
            continue;
        }
        SCOPED_TRACE(std::string(file) + ": " + title + "\n" + line);
        const bool isDifference = line.starts_with("! ");
        const std::string_view calls = std::string_view(line).substr(isDifference ? 2 : 0);
        const std::size_t arrow = calls.rfind(" -> ");
        std::string answer;
        ASSERT_NO_THROW(answer = script->Do(calls.substr(0, arrow)).answer);
        if (arrow == std::string_view::npos)
            continue;
        ++compared;
        const std::string expected = script->Expanded(std::string(calls.substr(arrow + 4)));
        if (isDifference && OnWine())
            EXPECT_NE(expected, answer);
        else
            EXPECT_EQ(expected, answer);
    }
    EXPECT_LT(0, compared) << file;
}

} // namespace test
