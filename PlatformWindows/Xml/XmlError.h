// The one exception of the document layer.
#pragma once

#include <exception>
#include <windows.h>

namespace scankelv
{

/// A failed call of the document model, an operation on an empty handle (E_POINTER), or no memory for a text
/// (E_OUTOFMEMORY, no interface).
class XmlError : public std::exception
{
public:
    XmlError(HRESULT code, const IID& interfaceId) noexcept : m_code(code), m_interface(interfaceId) {}
    HRESULT Code() const noexcept { return m_code; }
    /// The interface whose member failed; all zero for a text.
    const IID& Interface() const noexcept { return m_interface; }
    const char* what() const noexcept override { return "XML document operation failed"; }

private:
    HRESULT m_code;
    IID m_interface;
};

} // namespace scankelv
