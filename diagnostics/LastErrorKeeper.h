// Protects the thread's last error from work that must not change it.
#pragma once

#include <windows.h>

namespace scankelv
{

/// Saves the thread's last error when created and restores it when destroyed.
class LastErrorKeeper
{
public:
    LastErrorKeeper() noexcept : m_code(::GetLastError()) {}
    ~LastErrorKeeper() { ::SetLastError(m_code); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD m_code;
};

} // namespace scankelv
