// PlatformWindows/Xml: documents of the platform's XML document model, the texts that it takes and gives, and the
// building operations that the generated texts are made of.
#pragma once

#include "CodePage.h"

#include <oleauto.h>
#include <string_view>

namespace scankelv
{

/// A shared wide text over the system's BSTR: copies share one block with an atomic count, the last one frees it. The
/// null text reads as empty. Running out of memory throws XmlError with E_OUTOFMEMORY.
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

    /// Takes the string over without a copy and frees it with the last reference.
    static _bstr_t Adopt(BSTR text);

    bool IsNull() const noexcept { return m_data == nullptr; }
    std::size_t length() const noexcept; ///< characters, terminator not counted
    /// The string as the document model takes it; null for the null text. Owned by this text.
    BSTR Get() const noexcept;
    /// Terminated; null for the null text.
    operator const wchar_t*() const noexcept { return Get(); }
    std::wstring_view View() const noexcept { return {IsNull() ? L"" : Get(), length()}; }
    /// Terminated, in the system's 8-bit code page, made on the first call; null for the null text.
    const char* Narrow() const;

    friend _bstr_t operator+(const _bstr_t& left, const _bstr_t& right);
    /// By content; the null text equals the empty one.
    friend bool operator==(const _bstr_t& left, const _bstr_t& right) noexcept { return left.View() == right.View(); }

private:
    struct Data;
    Data* m_data = nullptr;
};

} // namespace scankelv
