// PlatformWindows/Xml: documents of the platform's XML document model, the text type for its strings, and the
// operations that build the generated texts.
#pragma once

#include "CodePage.h"

#include <oleauto.h>
#include <string_view>

namespace scankelv
{

/// A shared wide text in a BSTR: copies share one block with an atomic reference count, and the last one frees it. The
/// null text reads as empty. Throws XmlError with E_OUTOFMEMORY when memory runs out.
class _bstr_t
{
public:
    _bstr_t() noexcept = default;
    _bstr_t(const wchar_t* text); ///< a copy up to the terminator; null gives the null text
    explicit _bstr_t(std::wstring_view text);
    _bstr_t(const _bstr_t& other) noexcept;
    _bstr_t(_bstr_t&& other) noexcept;
    _bstr_t& operator=(_bstr_t other) noexcept;
    ~_bstr_t();

    /// Takes ownership of the string without a copy; the last reference frees it.
    static _bstr_t Adopt(BSTR text);

    bool IsNull() const noexcept { return m_data == nullptr; }
    std::size_t length() const noexcept; ///< characters, terminator not counted
    /// The string as the document model takes it; null for the null text. Owned by this text.
    BSTR Get() const noexcept;
    /// Terminated; null for the null text.
    operator const wchar_t*() const noexcept { return Get(); }
    std::wstring_view View() const noexcept { return {IsNull() ? L"" : Get(), length()}; }
    /// The text in the system's 8-bit code page, terminated, converted on the first call; null for the null text. Valid
    /// as long as a copy of this text exists.
    const char* Narrow() const;

    friend _bstr_t operator+(const _bstr_t& left, const _bstr_t& right);
    /// By content; the null text equals the empty one.
    friend bool operator==(const _bstr_t& left, const _bstr_t& right) noexcept { return left.View() == right.View(); }

private:
    struct Data;
    Data* m_data = nullptr;
};

} // namespace scankelv
