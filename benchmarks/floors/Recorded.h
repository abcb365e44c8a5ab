// What both bare programs take from the record of an agent's run.
#pragma once

#include <FindwellDlg.h>

#include <string>

namespace benchmarks
{

/// Has each device's text read; whether it is one to show is in the recorded answers.
class Handler : public IAppHandler
{
public:
    Handler(std::string recorded, void (*read)(const WCHAR*)) : m_recorded(std::move(recorded)), m_read(read) {}
    std::uint32_t CheckDevice(const WCHAR* deviceXml, const void*) override
    {
        m_read(deviceXml);
        m_at = m_recorded.find(" -> ", m_recorded.find("CheckDevice(", m_at)) + 4;
        return m_recorded.at(m_at) == '1';
    }
    std::uint32_t HandleEvent(const WCHAR* event, std::uint32_t, std::uint32_t, std::uint32_t* out) override
    {
        *out = event[0] == 'a' ? 1 : 0;
        return *out != 0 ? 6 : 0;
    }

private:
    std::string m_recorded;
    std::size_t m_at = 0;
    void (*m_read)(const WCHAR*);
};

/// Hands over the console's texts one by one: each is there when its call returns. The record holds a zero behind each.
template <class Use>
void ForEachText(const std::string& recorded, Use use)
{
    for (std::size_t begin = 0, end = 0; begin < recorded.size(); begin = end + 1)
    {
        end = std::min(recorded.find('\0', begin), recorded.size());
        use(recorded.c_str() + begin, end - begin);
    }
}

} // namespace benchmarks
