#include "DeviceIdentifier.h"

#include "AsciiCase.h"

#include <algorithm>
#include <span>

namespace scankelv
{
namespace
{

constexpr std::size_t none = std::wstring_view::npos;

// constexpr, as compilers do not fold the length of a wide literal that is converted at run time.
constexpr std::wstring_view modeKeys[] = {L"MODE"};
constexpr std::wstring_view scanMode = L"SCN";
constexpr std::wstring_view manufacturerKeys[] = {L"MFG", L"MANUFACTURER"};
constexpr std::wstring_view modelKeys[] = {L"MDL", L"MODEL"};

inline bool BeginsWith(std::wstring_view text, std::wstring_view start)
{
    return EqualsIgnoringAsciiCase(text.substr(0, start.size()), start);
}

/// Iterates over the fields of an identifier and the values of the current field. Values are searched only on request:
/// a field without a colon finds its value in a later field, so that a search for every field would take quadratic
/// time.
class FieldCursor
{
public:
    explicit FieldCursor(std::wstring_view identifier) : m_text(identifier) {}

    bool AtField() const { return m_field < m_text.size(); }
    void NextField()
    {
        const std::size_t end = FieldEnd();
        m_field = end == none ? m_text.size() : end + 1;
        m_fieldEnd = m_field;
    }
    bool HasKey(std::wstring_view key) const
    {
        // No key contains a semicolon, so that the match ends in the field. Few fields have a key's first letter.
        return AtField() && UpperAscii(m_text[m_field]) == key[0] && BeginsWith(m_text.substr(m_field), key);
    }

    bool FirstValue() { return StartValueBehind(Find(L':', m_field)); }
    bool NextValue()
    {
        // A comma never ends a field, so that the field's end need not be searched.
        const bool atComma = m_valueEnd != none && m_text[m_valueEnd] == L',';
        return (atComma || m_valueEnd != FieldEnd()) && StartValueBehind(m_valueEnd);
    }

    std::wstring_view Value() const { return m_text.substr(m_value, m_valueEnd - m_value); }
    /// Not bounded by the value's end: a vendor's name may contain a comma.
    bool ValueBeginsWith(std::wstring_view start) const { return BeginsWith(m_text.substr(m_value), start); }

private:
    // Not by the text's own find, which calls the C library for each field.
    std::size_t Find(wchar_t delimiter, std::size_t from) const
    {
        return PositionOf(std::find(From(from), m_text.end(), delimiter));
    }
    using Position = std::wstring_view::const_iterator;
    Position From(std::size_t at) const { return m_text.begin() + static_cast<std::ptrdiff_t>(at); }
    std::size_t PositionOf(Position found) const
    {
        return found == m_text.end() ? none : static_cast<std::size_t>(found - m_text.begin());
    }
    std::size_t FieldEnd() // searched at most once per field, on request
    {
        if (m_fieldEnd == m_field)
            m_fieldEnd = Find(L';', m_field);
        return m_fieldEnd;
    }
    bool StartValueBehind(std::size_t separator)
    {
        if (separator == none || separator + 1 == m_text.size())
            return false;
        m_value = separator + 1;
        const auto isEnd = [](wchar_t c) { return c == L',' || c == L';'; };
        m_valueEnd = PositionOf(std::find_if(From(m_value), m_text.end(), isEnd));
        return true;
    }

    std::wstring_view m_text;
    std::size_t m_field = 0;
    std::size_t m_fieldEnd = 0;
    std::size_t m_value = 0;
    std::size_t m_valueEnd = none;
};

/// The first field with one of the keys; past the last field when there is none.
FieldCursor FirstField(std::wstring_view identifier, std::span<const std::wstring_view> keys)
{
    FieldCursor cursor(identifier);
    while (cursor.AtField() && std::ranges::none_of(keys, [&](std::wstring_view key) { return cursor.HasKey(key); }))
        cursor.NextField();
    return cursor;
}

} // namespace

bool DeviceIdHasScanMode(std::wstring_view identifier) noexcept
{
    FieldCursor field = FirstField(identifier, modeKeys);
    for (bool more = field.AtField() && field.FirstValue(); more; more = field.NextValue())
        if (field.ValueBeginsWith(scanMode))
            return true;
    return false;
}

bool DeviceIdManufacturerIs(std::wstring_view identifier, std::wstring_view vendor) noexcept
{
    FieldCursor field = FirstField(identifier, manufacturerKeys);
    const bool everyValue = field.HasKey(manufacturerKeys[0]);
    for (bool more = field.AtField() && field.FirstValue(); more; more = everyValue && field.NextValue())
        if (field.ValueBeginsWith(vendor))
            return true;
    return false;
}

bool DeviceIdModel(std::wstring_view identifier, std::wstring_view& model) noexcept
{
    FieldCursor field = FirstField(identifier, modelKeys);
    if (!field.AtField() || !field.FirstValue())
        return false;
    model = field.Value();
    return true;
}

} // namespace scankelv
