// Calls of Windows functions as lines of text, each with what it gives.
//
//   == title                    begins a section, which has an empty folder of its own
//   needs call                  leaves the rest of the section out where the call does not give 0
//   hives                       gives it empty registry hives of its own
//   # remark
//   word := call                a word for a call, with $1, $2 ... for what the word is given
//   call                        is made, whatever it gives
//   call -> answer              gives this answer; {name} in it is the text of that name
//   ! call -> answer            does so on Windows, as documented, and on the stand-in, and must not under Wine
//   call ; - call               one after the other; their answers likewise, but for that of a quiet one
//   name = call                 keeps the result; $name is passed on later
//   name = "text"               names a text
//   name = start call ; call    in another process, which ends with the last result as its exit code
//   thread call ; call          in another thread
//   repeat 40 call ; call       again and again; % is the number of times before. Equal answers are one
//
// A call is a function's name and its arguments, parted by commas. An argument is one of
//
//   1  -1  0x1F  null  A|B  $n+1    a number, named ones too
//   "wide"  'bytes'             a text in pieces: "a" 'b' name @file. Quotes in it are doubled; ␀ to ␟, ‹D83D› and
//                               ‹3 a› as in all files of cases; @file is a path in the section's folder
//   $name                       what was kept
//   &name  &name=1              a place for a number, 77 before
//   *name  *name=null           a place for a pointer, which is none before
//   ~                           a place for a document's text
//   bytes[16]  units[16]        room, filled with # before; name=bytes[16] is kept, and not shown
//   chars[16]  text[16]         the same, for a text that ends with a zero
//
// An answer is the result; the last error, where the call has changed it and it means something; and what stands in
// each of the places.
#pragma once

#include "Role.h"

#include <map>
#include <memory>
#include <ole2.h>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace test
{

using Word = std::intptr_t;

/// Of a call.
struct Argument
{
    Word word = 0;
    bool isText = false;
    std::size_t length = 0; ///< of a text, in units
};

struct Outcome
{
    Word word = 0;
    std::string answer;
};

constexpr DWORD kept = 7777; ///< no function sets it: the call left the last error alone

/// What the answer of a call takes from it.
struct Form
{
    bool isCode = false; ///< the result is an error's code
    enum
    {
        Always,
        OnFailure,
        Never
    } error = Always;          ///< when the last error tells something
    bool givesObjects = false; ///< to release
};
inline constexpr Form value{}, loose{false, Form::OnFailure}, plain{false, Form::Never}, status{true},
    plainResult{true, Form::Never}, result{true, Form::Never, true};

struct Function
{
    std::function<Outcome(const Argument* arguments)> call;
    Form form;
    std::size_t parameters;
};

/// What a call gave. To be called right behind it.
Outcome Told(Word word, std::string shown, bool failed, Form form);
/// The last error that a call left which tells of it.
extern DWORD lastSeenError;

/// An error's code in the form of answers.
std::string ErrorName(DWORD code);

/// A text as answers hold it.
std::string OnOneLine(std::string_view bytes);

template <class Parameter>
Parameter To(const Argument& argument)
{
    if constexpr (std::is_same_v<Parameter, VARIANT>)
    {
        VARIANT variant{};
        variant.vt = argument.isText ? VT_BSTR : argument.word != 0 ? VT_I4 : VT_EMPTY;
        if (argument.isText)
            variant.bstrVal = reinterpret_cast<BSTR>(argument.word);
        else
            variant.lVal = static_cast<LONG>(argument.word);
        return variant;
    }
    else if constexpr (std::is_same_v<Parameter, std::string_view>)
        return {reinterpret_cast<const char*>(argument.word), argument.length};
    else if constexpr (std::is_same_v<Parameter, std::basic_string_view<WCHAR>>)
        return {reinterpret_cast<const WCHAR*>(argument.word), argument.length};
    else if constexpr (std::is_reference_v<Parameter>)
        return *reinterpret_cast<std::remove_reference_t<Parameter>*>(argument.word);
    else if constexpr (std::is_pointer_v<Parameter>)
        return reinterpret_cast<Parameter>(argument.word);
    else
        return static_cast<Parameter>(argument.word);
}

template <class Result, class... Parameters, class Callable>
Function Bound(Callable callable, Form form)
{
    const auto call = [=]<std::size_t... i>([[maybe_unused]] const Argument* arguments, std::index_sequence<i...>)
                          ->Outcome
    {
        ::SetLastError(kept);
        if constexpr (std::is_void_v<Result>)
            return callable(To<Parameters>(arguments[i])...), Told(0, "done", false, form);
        else
        {
            const Result given = callable(To<Parameters>(arguments[i])...);
            if constexpr (std::is_same_v<Result, std::string>)
                return Told(0, given, false, form);
            else if constexpr (std::is_pointer_v<Result>)
            {
                const auto word = reinterpret_cast<Word>(given);
                return Told(word, word == 0 ? "null" : word == -1 ? "invalid" : "set", word == 0 || word == -1, form);
            }
            else
                return Told(static_cast<Word>(given), std::to_string(given), given == Result{}, form);
        }
    };
    return {
        [=](const Argument* arguments) { return call(arguments, std::index_sequence_for<Parameters...>()); }, form,
        sizeof...(Parameters)};
}
template <class Result, class... Parameters>
Function Bind(Result(WINAPI* function)(Parameters...), Form form)
{
    return Bound<Result, Parameters...>(function, form);
}
template <class Result, class Interface, class... Parameters>
Function Bind(Result (WINAPI Interface::*member)(Parameters...), Form form = result)
{
    return Bound<Result, Interface*, Parameters...>(
        [member](Interface* object, Parameters... parameters) { return (object->*member)(parameters...); }, form);
}
/// Of a script's own, a lambda.
template <class Callable>
Function Helper(Callable callable, Form form = plain)
{
    const auto bound = [=]<class Result, class... Parameters>(Result (Callable::*)(Parameters...) const) {
        return Bound<Result, Parameters...>(callable, form);
    };
    return bound(&Callable::operator());
}

/// What scripts may call on one system only.
std::map<std::string, Function, std::less<>> SystemFunctions();

/// What scripts may call and name.
const std::map<std::string, Function, std::less<>>& Functions();
const std::map<std::string, Word, std::less<>>& Constants();

/// Those that scripts have set.
void RestoreVariables();

/// One section.
class Script
{
public:
    /// @param folder an existing one, which is left as it is; empty: a new one
    explicit Script(const Wide& folder = {});
    ~Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    /// One line without its expected answer.
    Outcome Do(std::string_view line);
    /// With the named texts in their places.
    std::string Expanded(std::string answer) const;

private:
    struct Call;
    Outcome Made(std::string_view call);
    Outcome Kept(const std::string& name, std::string_view call);
    template <class Text>
    Word Room(std::size_t size, bool isText, const std::string& name, Call& call);
    Argument ArgumentOf(std::string_view text, Call& call);
    Word NumberOf(std::string_view text) const;
    bool IsText(std::string_view text) const;
    template <class Text>
    Text TextOf(std::string_view pieces) const;

    std::optional<TemporaryFolder> m_folder;
    std::optional<PrivateRegistry> m_registry;
    std::map<std::string, std::string, std::less<>> m_words;
    std::map<std::string, Word, std::less<>> m_kept;
    std::map<std::string, Wide, std::less<>> m_texts;
    std::vector<std::shared_ptr<void>> m_memory; ///< what arguments point to
    std::vector<IUnknown*> m_objects;            ///< handed out, and not released by the script
    std::vector<std::unique_ptr<Child>> m_children;
};

/// All sections of a file below tests/.
void RunScript(const char* file);

} // namespace test
