#include "ComThread.h"

#include "CheckedExpression.h"

#include <objbase.h>

namespace scankelv
{

ComThread::ComThread() : m_result(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))
{
    Checked(DebugConsoleLogger, CheckErrorCode, static_cast<DWORD>(m_result), "comInitResult", 0);
}

ComThread::~ComThread()
{
    if (IsValid())
        ::CoUninitialize();
}

} // namespace scankelv
