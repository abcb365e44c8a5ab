// COM for one thread.
#pragma once

#include <windows.h>

namespace scankelv
{

/// Initialises COM for the calling thread as a single-threaded apartment, and uninitialises it when destroyed. Any
/// result but S_OK is reported to the "ODS" logger.
class ComThread
{
public:
    ComThread();
    ~ComThread();
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;

    /// Whether COM is initialised for the thread, also by an earlier call.
    bool IsValid() const { return m_result >= 0; }

private:
    HRESULT m_result;
};

} // namespace scankelv
