#include "XmlObjects.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <msxml.h>

namespace
{

// One for each thread, as on Windows; no thread sees another's.
// Where the last error is, for the same reason.
[[gnu::tls_model("initial-exec")]] thread_local unsigned initialisations = 0;
[[gnu::tls_model("initial-exec")]] thread_local DWORD threadModel = 0;

// A BSTR lies behind its length in bytes.
using Prefix = std::uint32_t;
constexpr UINT longestText = (std::numeric_limits<Prefix>::max() - sizeof(Prefix)) / sizeof(OLECHAR) - 1;

Prefix* PrefixOf(BSTR text)
{
    return reinterpret_cast<Prefix*>(text) - 1;
}

} // namespace

BSTR SysAllocStringLen(const OLECHAR* text, UINT length)
{
    if (length > longestText)
        return nullptr;
    const std::size_t bytes = std::size_t{length} * sizeof(OLECHAR);
    auto* const prefix = static_cast<Prefix*>(std::malloc(sizeof(Prefix) + bytes + sizeof(OLECHAR)));
    if (prefix == nullptr)
        return nullptr;
    *prefix = static_cast<Prefix>(bytes);
    BSTR copy = reinterpret_cast<BSTR>(prefix + 1);
    if (text != nullptr)
        std::copy_n(text, length, copy);
    copy[length] = 0;
    return copy;
}

void SysFreeString(BSTR text)
{
    if (text != nullptr)
        std::free(PrefixOf(text));
}

UINT SysStringLen(BSTR text)
{
    return text == nullptr ? 0 : static_cast<UINT>(*PrefixOf(text) / sizeof(OLECHAR));
}

HRESULT CoInitializeEx(LPVOID, DWORD model)
{
    model &= COINIT_APARTMENTTHREADED;
    if (initialisations != 0 && model != threadModel)
        return RPC_E_CHANGED_MODE;
    threadModel = model;
    return initialisations++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize()
{
    if (initialisations != 0)
        --initialisations;
}

HRESULT CoCreateInstance(REFCLSID classId, LPUNKNOWN, DWORD classContext, REFIID interfaceId, LPVOID* object)
{
    *object = nullptr;
    if (initialisations == 0)
        return CO_E_NOTINITIALIZED;
    if (!(classId == CLSID_DOMDocument) || (classContext & CLSCTX_INPROC_SERVER) == 0)
        return REGDB_E_CLASSNOTREG;
    return hostwindows::CreateXmlDocument(interfaceId, object);
}

HRESULT OleRun(LPUNKNOWN)
{
    return S_OK;
}
