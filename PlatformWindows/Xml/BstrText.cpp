#include "BstrText.h"

#include "XmlError.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace scankelv
{
namespace
{

// A BSTR keeps its size in bytes, terminator and length prefix included, within 32 bits.
constexpr std::size_t longestText = (std::numeric_limits<UINT>::max() - sizeof(UINT)) / sizeof(wchar_t) - 1;

[[noreturn]] void OutOfMemory()
{
    throw XmlError(E_OUTOFMEMORY, IID{});
}

BSTR Allocate(const wchar_t* text, std::size_t length)
{
    const BSTR string = length <= longestText ? ::SysAllocStringLen(text, static_cast<UINT>(length)) : nullptr;
    if (string == nullptr)
        OutOfMemory();
    return string;
}

} // namespace

struct _bstr_t::Data
{
    explicit Data(BSTR owned) noexcept : text(owned) {}
    ~Data() { ::SysFreeString(text); }
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    BSTR text;
    std::optional<std::string> narrow;
    std::atomic<unsigned> references{1};
};

_bstr_t::_bstr_t(const wchar_t* text)
{
    if (text != nullptr)
        *this = _bstr_t(std::wstring_view(text));
}

_bstr_t::_bstr_t(std::wstring_view text) : _bstr_t(Adopt(Allocate(text.data(), text.size()))) {}

_bstr_t::_bstr_t(const _bstr_t& other) noexcept : m_data(other.m_data)
{
    if (m_data != nullptr)
        m_data->references.fetch_add(1, std::memory_order_relaxed);
}

_bstr_t::_bstr_t(_bstr_t&& other) noexcept : m_data(std::exchange(other.m_data, nullptr)) {}

_bstr_t& _bstr_t::operator=(_bstr_t other) noexcept
{
    std::swap(m_data, other.m_data);
    return *this;
}

_bstr_t::~_bstr_t()
{
    if (m_data != nullptr && m_data->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete m_data;
}

_bstr_t _bstr_t::Adopt(BSTR text)
{
    _bstr_t result;
    if (text == nullptr)
        return result;
    result.m_data = new (std::nothrow) Data(text);
    if (result.m_data == nullptr)
    {
        ::SysFreeString(text);
        OutOfMemory();
    }
    return result;
}

std::size_t _bstr_t::length() const noexcept
{
    return ::SysStringLen(Get());
}

BSTR _bstr_t::Get() const noexcept
{
    return m_data != nullptr ? m_data->text : nullptr;
}

const char* _bstr_t::Narrow() const
try
{
    if (m_data == nullptr)
        return nullptr;
    if (!m_data->narrow)
        m_data->narrow = NarrowFromWide(View());
    return m_data->narrow->c_str();
}
catch (const std::bad_alloc&)
{
    OutOfMemory();
}

_bstr_t operator+(const _bstr_t& left, const _bstr_t& right)
{
    // Where size_t has 32 bits the sum itself may overflow.
    if (right.length() > longestText - left.length())
        OutOfMemory();
    const BSTR joined = Allocate(nullptr, left.length() + right.length());
    const std::wstring_view first = left.View();
    const std::wstring_view second = right.View();
    std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), joined));
    return _bstr_t::Adopt(joined);
}

} // namespace scankelv
