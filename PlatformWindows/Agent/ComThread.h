// COM for one thread.
#pragma once

#include <windows.h>

namespace scankelv
{

/// Initialises COM for the calling thread as a single-threaded apartment, and ends that again. A thread that had COM
/// before, in either model, keeps it.
class ComApartment
{
public:
    ComApartment();
    ~ComApartment();
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

protected:
    HRESULT m_result;
};

/// The same for the agent's own thread: any result but a first initialisation is reported to the "ODS" logger.
class ComThread : public ComApartment
{
public:
    ComThread();

    /// The thread has COM as a single-threaded apartment, also when it had it so before.
    bool IsValid() const { return m_result >= 0; }
};

} // namespace scankelv
