#include "ComThread.h"

#include "CheckedExpression.h"

#include <objbase.h>

namespace scankelv
{

ComApartment::ComApartment() : m_result(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}

ComApartment::~ComApartment()
{
    if (SUCCEEDED(m_result))
        ::CoUninitialize();
}

ComThread::ComThread()
{
    Checked(DebugConsoleLogger, CheckErrorCode, static_cast<DWORD>(m_result), "comInitResult", 0);
}

} // namespace scankelv
