// What the agents of one logon share, seen from another program.
#pragma once

#include <windows.h>
#include <wtypes.h>

namespace test
{

/// The instance word, held by this process as another program would.
class InstanceWord
{
public:
    explicit InstanceWord(DWORD value)
        : m_mapping(::CreateFileMappingW(
              INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD),
              OLESTR("{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}"))),
          m_word(static_cast<DWORD*>(::MapViewOfFile(m_mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(DWORD))))
    {
        *m_word = value;
    }
    ~InstanceWord()
    {
        ::UnmapViewOfFile(m_word);
        ::CloseHandle(m_mapping);
    }
    InstanceWord(const InstanceWord&) = delete;
    InstanceWord& operator=(const InstanceWord&) = delete;
    DWORD Value() const { return *m_word; }

private:
    HANDLE m_mapping;
    DWORD* m_word;
};

} // namespace test
