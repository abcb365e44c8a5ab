// A search library that ends the process at its first call.
#include <windows.h>

#define ENTRY(name)                                                                                                    \
    extern "C" __declspec(dllexport) unsigned name()                                                                   \
    {                                                                                                                  \
        return ::TerminateProcess(::GetCurrentProcess(), 0) ? 0 : 1;                                                   \
    }

ENTRY(GetDeviceList_LCode)
ENTRY(GetDeviceInformation)
ENTRY(GetPrinterList)
ENTRY(GetSelectedDevice)
ENTRY(FreeDeviceList)
