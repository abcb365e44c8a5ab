#include <windows.h>

namespace
{

// In the thread's own block, which is there from the start: a library's would be allocated by the first call, and the
// process ended where there is no memory for it.
[[gnu::tls_model("initial-exec")]] thread_local DWORD lastError = 0;

} // namespace

DWORD GetLastError()
{
    return lastError;
}

void SetLastError(DWORD code)
{
    lastError = code;
}
