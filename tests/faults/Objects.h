// Objects of the document model: the methods that the agent calls are replaced in the tables of functions of the
// objects that it is given.
#pragma once

#include "Account.h"
#include "GuardPages.h"

#include <concepts>
#include <msxml.h>
#include <oleauto.h>

namespace faults
{

template <class Interface>
void Watch(Interface* object, const char* from);

inline void WatchAs(REFIID id, void* object, const char* from)
{
    if (IsEqualIID(id, IID_IXMLDOMDocument))
        Watch(static_cast<IXMLDOMDocument*>(object), from);
    else if (IsEqualIID(id, IID_IXMLDOMElement))
        Watch(static_cast<IXMLDOMElement*>(object), from);
    else
        Watch(static_cast<IUnknown*>(object), from);
}

/// What a call gives by one of its parameters: nothing when it failed.
template <class Parameter>
void Result([[maybe_unused]] Parameter parameter, [[maybe_unused]] const char* from, [[maybe_unused]] bool failed)
{
    if constexpr (std::is_same_v<Parameter, BSTR*>)
    {
        const BSTR text = failed ? nullptr : *parameter; // the document model's own gets guard pages too
        *parameter = text == nullptr ? nullptr : AllocateString(text, ::SysStringLen(text));
        ::SysFreeString(text);
        Give(*parameter, from);
    }
    else if constexpr (requires { static_cast<IUnknown*>(*parameter); } && std::is_pointer_v<Parameter>)
        failed ? void(*parameter = nullptr) : Watch(*parameter, from);
}

/// Whether the agent's own code called, not the document model or the search library.
inline bool IsAgents(const void* caller)
{
    HMODULE module = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    return ::GetModuleHandleExW(flags, static_cast<const wchar_t*>(caller), &module) != 0 &&
           module == ::GetModuleHandleW(nullptr);
}

template <auto Member>
struct Method;
template <class Interface, class Returned, class... Parameters, Returned (WINAPI Interface::*Member)(Parameters...)>
struct Method<Member>
{
    using Function = Returned WINAPI(Interface*, Parameters...);
    static inline std::string_view name;
    static inline std::array<std::pair<void**, Function*>, 16> originals; // by the table of each class of objects

    static auto* OriginalOf(void** table)
    {
        return std::ranges::find(originals, table, &std::pair<void**, Function*>::first);
    }

    static Returned Original(Function* original, Interface* object, Parameters... parameters)
    {
        const Timer timer(name.data());
        return original(object, parameters...);
    }

    static Returned WINAPI Call(Interface* object, Parameters... parameters)
    {
        Function* const original = OriginalOf(*reinterpret_cast<void***>(object))->second;
        if (!IsAgents(__builtin_return_address(0)))
            return original(object, parameters...);
        if constexpr (std::is_same_v<Returned, ULONG>) // AddRef and Release
        {
            name.ends_with("Release") ? TakeBack(object, name.data()) : Give(object, name.data());
            return Original(original, object, parameters...);
        }
        else
        {
            const bool failed = IsMet(name.data(), name.ends_with("save"));
            const HRESULT result = failed ? HRESULT_FROM_WIN32(error) : Original(original, object, parameters...);
            if constexpr ((std::is_same_v<Parameters, void**> || ...)) // QueryInterface
                SUCCEEDED(result) ? [](REFIID id, void** out) { WatchAs(id, *out, "query"); }(parameters...) : void();
            else
                (Result(parameters, name.data(), FAILED(result)), ...);
            return result;
        }
    }

    static void ReplaceIn(void** table, const char* ownName)
    {
        name = ownName;
        const auto member = Member;
        std::ptrdiff_t parts[2]; // its place in the table, plus one, and that of the table in the object
        static_assert(sizeof(parts) == sizeof(member));
        std::memcpy(parts, &member, sizeof(parts));
        void** const entry = table + static_cast<std::size_t>(parts[0]) / sizeof(void*);
        if (*entry == reinterpret_cast<void*>(&Call))
            return;
        *OriginalOf(nullptr) = {table, reinterpret_cast<Function*>(*entry)};
        DWORD protection = 0;
        ::VirtualProtect(entry, sizeof(void*), PAGE_READWRITE, &protection);
        *entry = reinterpret_cast<void*>(&Call);
    }
};

template <class Interface>
void Watch(Interface* object, const char* from)
{
    Give(object, from);
    if (object == nullptr)
        return;
    void** const table = *reinterpret_cast<void***>(object);
    constexpr auto query = static_cast<HRESULT (WINAPI IUnknown::*)(REFIID, void**)>(&IUnknown::QueryInterface);
    Method<query>::ReplaceIn(table, "QueryInterface");
    // clang-format off
#define METHOD(interface, method) \
    if constexpr (std::derived_from<Interface, interface>) \
        Method<&interface::method>::ReplaceIn(table, #interface "::" #method);
    METHOD(IUnknown, AddRef) METHOD(IUnknown, Release)
    METHOD(IXMLDOMNode, get_xml) METHOD(IXMLDOMNode, get_text) METHOD(IXMLDOMNode, appendChild)
    METHOD(IXMLDOMNode, selectSingleNode)
    METHOD(IXMLDOMElement, setAttribute)
    METHOD(IXMLDOMDocument, put_async) METHOD(IXMLDOMDocument, put_resolveExternals)
    METHOD(IXMLDOMDocument, put_validateOnParse) METHOD(IXMLDOMDocument, loadXML) METHOD(IXMLDOMDocument, load)
    METHOD(IXMLDOMDocument, save) METHOD(IXMLDOMDocument, createElement) METHOD(IXMLDOMDocument, createTextNode)
    METHOD(IXMLDOMDocument, createProcessingInstruction)
    // clang-format on
}

} // namespace faults
