#include "DeviceIdentifier.h"

#include "AsciiCase.h"

namespace scankelv
{
namespace
{

constexpr std::size_t none = std::wstring_view::npos;

// constexpr, as compilers do not fold the length of a wide literal that is converted at run time.
constexpr std::wstring_view modeKey = L"MODE";
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
        return BeginsWith(m_text.substr(m_field), key);
    } // no key contains a semicolon

    bool FirstValue() { return StartValueBehind(m_text.find(L':', m_field)); }
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
    std::size_t FieldEnd() // searched at most once per field, on request
    {
        if (m_fieldEnd == m_field)
            m_fieldEnd = m_text.find(L';', m_field);
        return m_fieldEnd;
    }
    bool StartValueBehind(std::size_t separator)
    {
        if (separator == none || separator + 1 == m_text.size())
            return false;
        m_value = separator + 1;
        m_valueEnd = m_value;
        while (m_valueEnd < m_text.size() && m_text[m_valueEnd] != L',' && m_text[m_valueEnd] != L';')
            ++m_valueEnd;
        m_valueEnd = m_valueEnd == m_text.size() ? none : m_valueEnd;
        return true;
    }

    std::wstring_view m_text;
    std::size_t m_field = 0;
    std::size_t m_fieldEnd = 0;
    std::size_t m_value = 0;
    std::size_t m_valueEnd = none;
};

} // namespace

bool DeviceIdHasScanMode(std::wstring_view identifier) noexcept
{
    for (FieldCursor cursor(identifier); cursor.AtField(); cursor.NextField())
    {
        if (!cursor.HasKey(modeKey))
            continue;
        for (bool more = cursor.FirstValue(); more; more = cursor.NextValue())
            if (cursor.ValueBeginsWith(scanMode))
                return true;
        return false;
    }
    return false;
}

bool DeviceIdManufacturerIs(std::wstring_view identifier, std::wstring_view vendor) noexcept
{
    for (FieldCursor cursor(identifier); cursor.AtField(); cursor.NextField())
    {
        const bool everyValue = cursor.HasKey(manufacturerKeys[0]);
        if (!everyValue && !cursor.HasKey(manufacturerKeys[1]))
            continue;
        for (bool more = cursor.FirstValue(); more; more = everyValue && cursor.NextValue())
            if (cursor.ValueBeginsWith(vendor))
                return true;
        return false;
    }
    return false;
}

bool DeviceIdModel(std::wstring_view identifier, std::wstring_view& model) noexcept
{
    for (FieldCursor cursor(identifier); cursor.AtField(); cursor.NextField())
    {
        if (!cursor.HasKey(modelKeys[0]) && !cursor.HasKey(modelKeys[1]))
            continue;
        if (!cursor.FirstValue())
            return false;
        model = cursor.Value();
        return true;
    }
    return false;
}

} // namespace scankelv
