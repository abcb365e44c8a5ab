#include "StoredValues.h"

#include "Loggers.h"

namespace scankelv
{
namespace
{

/// Reads the field of one row.
class ValueReader
{
public:
    ValueReader(CrossProductStorage& storage, ValueOf list, StoredValues& values)
        : m_storage(storage),
          m_list(list),
          m_values(values)
    {
    }

    void Read(const StoredValue& row, const TextField& field)
    {
        std::wstring& text = m_values.*field.member;
        ReadStoredText(m_storage, row.name, field.capacity, text);
        m_log.WriteLine("%s: %ws", row.label, text);
    }

    void Read(const StoredValue& row, const NumberField& field)
    {
        DWORD& number = m_values.*field.member;
        if (!m_storage.GetULong(row.name, &number) && !field.loggedWhenAbsent)
            return;
        if (m_list == ValueOf::CurrentDevice)
            m_log.WriteLine("%s: %lu", row.label, number);
        else
            LogBothWays(row.label, number);
    }

    void Read(const StoredValue& row, const IdentifierField& field)
    {
        DWORD number = 0;
        if (!m_storage.GetULong(row.name, &number))
            return;
        LogBothWays(row.label, number);
        std::wstring& text = m_values.*field.member;
        text = Format<wchar_t>("0x%lx", number);
        m_log.WriteLine("%s: %ws", field.textLabel, text);
    }

private:
    void LogBothWays(const char* label, DWORD number) { m_log.WriteLine("%s: %lu (0x%lx)", label, number, number); }

    CrossProductStorage& m_storage;
    ValueOf m_list;
    StoredValues& m_values;
    LoggerTypeAbstract& m_log = AgentLogger();
};

} // namespace

void ReadStoredValues(CrossProductStorage& storage, ValueOf list, StoredValues& values)
{
    ValueReader reader(storage, list, values);
    for (const StoredValue& row : storedValues)
        if (row.BelongsTo(list))
            std::visit([&](const auto& field) { reader.Read(row, field); }, row.field);
}

bool ReadStoredText(CrossProductStorage& storage, const wchar_t* name, DWORD capacity, std::wstring& text)
{
    // Read into a separate buffer, as a failed read leaves its content unspecified.
    wchar_t stored[longCapacity] = {};
    if (!storage.GetString(name, stored, capacity))
        return false;
    stored[capacity - 1] = 0;
    text = stored;
    return true;
}

} // namespace scankelv
