// COM for one thread.
#pragma once

#include <windows.h>

namespace scankelv
{

/// Initialises COM for the calling thread as a single-threaded apartment, and ends that again. Any result but a first
/// initialisation is reported to the "ODS" logger.
class ComThread
{
public:
    ComThread();
    ~ComThread();
    ComThread(const ComThread&) = delete;
    ComThread& operator=(const ComThread&) = delete;

    /// The thread has COM, also when it had it before.
    bool IsValid() const { return m_result >= 0; }

private:
    HRESULT m_result;
};

} // namespace scankelv
