// The thread's last error, kept over work that must not change it.
#pragma once

#include <windows.h>

namespace scankelv
{

/// The thread's last error is at the end of this object's life what it was at the start.
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
