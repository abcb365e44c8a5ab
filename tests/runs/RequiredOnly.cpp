// A search library with the required entry points only, whose user cancels; with WITHOUT_GETPRINTERLIST it lacks one.
#include "Export.h"
#include "FindwellDlg.h"

FINDWELL_EXPORT GetDeviceList_LCodeFunction GetDeviceList_LCode;
FINDWELL_EXPORT FreeDeviceListFunction FreeDeviceList;
FINDWELL_EXPORT GetDeviceInformationFunction GetDeviceInformation;
FINDWELL_EXPORT std::uint32_t GetSelectedDevice();
FINDWELL_EXPORT std::uint32_t GetPrinterList();

std::uint32_t
GetDeviceList_LCode(std::uint32_t, const char*, const WCHAR*, std::uint32_t* resultCode, WCHAR**, IAppHandler*)
{
    *resultCode = 0;
    return 0;
}

std::uint32_t FreeDeviceList(WCHAR**)
{
    return 0;
}

std::uint32_t GetDeviceInformation(const WCHAR*, WCHAR**, const WCHAR*)
{
    return 1;
}

std::uint32_t GetSelectedDevice()
{
    return 1;
}

#ifndef WITHOUT_GETPRINTERLIST
std::uint32_t GetPrinterList()
{
    return 1;
}
#endif
