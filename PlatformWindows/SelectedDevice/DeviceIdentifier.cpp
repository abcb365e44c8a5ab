#include "DeviceIdentifier.h"

#include <cstring>

namespace scankelv
{
namespace
{

constexpr std::size_t none = WideView::npos;

// Constants, so that the compiler knows their lengths, which it does not of a wide literal that it meets at run time.
constexpr WideView modeKey = OLESTR("MODE");
constexpr WideView scanMode = OLESTR("SCN");
constexpr WideView manufacturerKeys[] = {OLESTR("MFG"), OLESTR("MANUFACTURER")};
constexpr WideView modelKeys[] = {OLESTR("MDL"), OLESTR("MODEL")};

/// Where the first such character lies, from `from` on; none when there is none. As find(), at the speed of memchr.
inline std::size_t FindFast(WideView text, WCHAR character, std::size_t from)
{
    static_assert(sizeof(WCHAR) == 2);
    const auto* const bytes = reinterpret_cast<const char*>(text.data());
    for (std::size_t at = from; at < text.size(); ++at)
    {
        const void* const found = std::memchr(&text[at], character & 0xFF, (text.size() - at) * sizeof(WCHAR));
        if (found == nullptr)
            break;
        at = static_cast<std::size_t>(static_cast<const char*>(found) - bytes) / sizeof(WCHAR);
        if (text[at] == character) // and not the byte of another one, or the other byte of one
            return at;
    }
    return none;
}

inline bool BeginsWith(WideView text, WideView start)
{
    return EqualsIgnoringAsciiCase(text.substr(0, start.size()), start);
}

/// Walks the fields of an identifier, and the values of the field that it stands on. Values are looked for only when
/// asked for: a field without a colon finds its value in a later field, and looking for every field would take time
/// with the square of the length.
class FieldCursor
{
public:
    explicit FieldCursor(WideView identifier) : m_text(identifier) {}

    bool AtField() const { return m_field < m_text.size(); }
    void NextField()
    {
        const std::size_t end = FieldEnd();
        m_field = end == none ? m_text.size() : end + 1;
        m_fieldEnd = m_field;
    }
    bool HasKey(WideView key) const { return BeginsWith(m_text.substr(m_field), key); } // no key holds a semicolon

    bool FirstValue() { return StartValueBehind(m_text.find(OLESTR(':'), m_field)); }
    bool NextValue()
    {
        // No field ends in a comma, so that its end need not be looked for.
        const bool atComma = m_valueEnd != none && m_text[m_valueEnd] == OLESTR(',');
        return (atComma || m_valueEnd != FieldEnd()) && StartValueBehind(m_valueEnd);
    }

    WideView Value() const { return m_text.substr(m_value, m_valueEnd - m_value); }
    /// Not bounded by the value's end: a vendor's name may hold a comma.
    bool ValueBeginsWith(WideView start) const { return BeginsWith(m_text.substr(m_value), start); }

private:
    std::size_t FieldEnd() // looked for once a field, and only when asked for
    {
        if (m_fieldEnd == m_field)
            m_fieldEnd = FindFast(m_text, OLESTR(';'), m_field);
        return m_fieldEnd;
    }
    bool StartValueBehind(std::size_t separator)
    {
        if (separator == none || separator + 1 == m_text.size())
            return false;
        m_value = separator + 1;
        m_valueEnd = m_value;
        while (m_valueEnd < m_text.size() && m_text[m_valueEnd] != OLESTR(',') && m_text[m_valueEnd] != OLESTR(';'))
            ++m_valueEnd;
        m_valueEnd = m_valueEnd == m_text.size() ? none : m_valueEnd;
        return true;
    }

    WideView m_text;
    std::size_t m_field = 0;
    std::size_t m_fieldEnd = 0;
    std::size_t m_value = 0;
    std::size_t m_valueEnd = none;
};

} // namespace

bool DeviceIdHasScanMode(WideView identifier) noexcept
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

bool DeviceIdManufacturerIs(WideView identifier, WideView vendor) noexcept
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

bool DeviceIdModel(WideView identifier, WideView& model) noexcept
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
