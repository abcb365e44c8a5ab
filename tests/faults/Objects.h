// Objects of the document model: the methods that the agent calls are replaced in the tables of functions of the
// objects that it is given.
#pragma once

#include "Account.h"

#include <concepts>
#include <msxml.h>
#include <oleauto.h>

namespace faults
{

template <class Interface>
void Watch(Interface* object, const char* from);

// What a failed call leaves in its parameters, and what a successful one gives by them.
template <class Parameter>
void Clear(Parameter)
{
}
inline void Clear(BSTR* out)
{
    *out = nullptr;
}
template <std::derived_from<IUnknown> Interface>
void Clear(Interface** out)
{
    *out = nullptr;
}
template <class Parameter>
void TakeOver(Parameter, const char*)
{
}
inline void TakeOver(BSTR* out, const char* from)
{
    Give(*out, from);
}
template <std::derived_from<IUnknown> Interface>
void TakeOver(Interface** out, const char* from)
{
    Watch(*out, from);
}

inline void WatchAs(REFIID id, void* object, const char* from)
{
    if (IsEqualIID(id, IID_IXMLDOMDocument))
        Watch(static_cast<IXMLDOMDocument*>(object), from);
    else if (IsEqualIID(id, IID_IXMLDOMElement))
        Watch(static_cast<IXMLDOMElement*>(object), from);
    else
        Watch(static_cast<IUnknown*>(object), from);
}

/// Whether the agent's own code called, not the document model or the search library.
inline bool IsAgents(const void* caller)
{
    static const auto program = reinterpret_cast<const char*>(::GetModuleHandleW(nullptr));
    static const DWORD size = reinterpret_cast<const IMAGE_NT_HEADERS*>(
                                  program + reinterpret_cast<const IMAGE_DOS_HEADER*>(program)->e_lfanew)
                                  ->OptionalHeader.SizeOfImage;
    return static_cast<std::size_t>(static_cast<const char*>(caller) - program) < size;
}

template <auto Member>
struct Method;
template <class Interface, class Result, class... Parameters, Result (WINAPI Interface::*Member)(Parameters...)>
struct Method<Member>
{
    using Function = Result WINAPI(Interface*, Parameters...);
    static inline const char* name = nullptr;
    static inline std::array<std::pair<void**, Function*>, 16> originals; // one for each class of objects

    static auto OriginalOf(void** table)
    {
        return std::ranges::find(originals, table, [](const auto& one) { return one.first; });
    }

    static Result WINAPI Call(Interface* object, Parameters... parameters)
    {
        void** const table = *reinterpret_cast<void***>(object);
        Function* const original = OriginalOf(table)->second;
        if (!IsAgents(__builtin_return_address(0)))
            return original(object, parameters...);
        constexpr bool writes = std::string_view(__PRETTY_FUNCTION__).find("::save") != std::string_view::npos;
        if constexpr (std::is_same_v<Result, ULONG>) // AddRef and Release
            std::string_view(name).ends_with("Release") ? TakeBack(object, name) : Give(object, name);
        else if (IsMet(name, writes))
        {
            (Clear(parameters), ...);
            return HRESULT_FROM_WIN32(error);
        }
        const Result result = original(object, parameters...);
        if constexpr ((std::is_same_v<Parameters, void**> || ...)) // QueryInterface
            SUCCEEDED(result) ? [](REFIID id, void** out) { WatchAs(id, *out, name); }(parameters...) : void();
        else if constexpr (std::is_same_v<Result, HRESULT>)
            SUCCEEDED(result) ? (TakeOver(parameters, name), ...) : void();
        return result;
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
        ::VirtualProtect(entry, sizeof(void*), protection, &protection);
    }
};

#define METHOD(interface, method)                                                                                      \
    if constexpr (std::derived_from<Interface, interface>)                                                             \
        Method<&interface::method>::ReplaceIn(table, #interface "::" #method);

template <class Interface>
void Watch(Interface* object, const char* from)
{
    Give(object, from);
    if (object == nullptr)
        return;
    void** const table = *reinterpret_cast<void***>(object);
    constexpr auto query = static_cast<HRESULT (WINAPI IUnknown::*)(REFIID, void**)>(&IUnknown::QueryInterface);
    Method<query>::ReplaceIn(table, "IUnknown::QueryInterface");
    METHOD(IUnknown, AddRef)
    METHOD(IUnknown, Release)
    METHOD(IXMLDOMNode, get_xml)
    METHOD(IXMLDOMNode, get_text)
    METHOD(IXMLDOMNode, appendChild)
    METHOD(IXMLDOMNode, selectSingleNode)
    METHOD(IXMLDOMNode, selectNodes)
    METHOD(IXMLDOMNodeList, get_length)
    METHOD(IXMLDOMNodeList, get_item)
    METHOD(IXMLDOMElement, setAttribute)
    METHOD(IXMLDOMDocument, put_async)
    METHOD(IXMLDOMDocument, put_resolveExternals)
    METHOD(IXMLDOMDocument, put_validateOnParse)
    METHOD(IXMLDOMDocument, loadXML)
    METHOD(IXMLDOMDocument, load)
    METHOD(IXMLDOMDocument, save)
    METHOD(IXMLDOMDocument, createElement)
    METHOD(IXMLDOMDocument, createTextNode)
    METHOD(IXMLDOMDocument, createProcessingInstruction)
}

} // namespace faults
