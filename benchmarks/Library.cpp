// A search library that asks about seven devices and answers with the last one, at no cost of its own; or, with an
// argument /first, one that ends the process at its first call.
#include "FindwellDlg.h"

#include <cwchar>
#include <string>
#include <windows.h>

#define EXPORT extern "C" __declspec(dllexport)

namespace
{

std::wstring answer;

std::wstring Device(const wchar_t* name, const wchar_t* vendor)
{
    return std::wstring(L"<devicelist><device><iotype>Network</iotype><comment>desk</comment><devicepath>192.0.2.41"
                        L"</devicepath><deviceid>MFG:") +
           vendor + L";CMD:PJL,PDF,URF;MDL:" + name + L";MODE:PRN,SCN;</deviceid><devicename>" + name +
           L"</devicename><ext>EU</ext><hostname>scan.example.net</hostname><location>Room 3</location><macaddress>"
           L"00-00-5E-00-53-41</macaddress><modelname>" +
           name + L"</modelname><vendor>" + vendor + L"</vendor><pid>0x1c40</pid><port>192.0.2.41</port><productname>" +
           name +
           L"</productname><serialnumber>183-77</serialnumber><systemdevicename>S1</systemdevicename><vid>0x0f1d</vid>"
           L"</device></devicelist>";
}

} // namespace

EXPORT std::uint32_t GetDeviceList_LCode(
    std::uint32_t, const char*, const wchar_t*, std::uint32_t* resultCode, wchar_t** listText, IAppHandler* handler)
{
    if (std::wcsstr(::GetCommandLineW(), L"/first") != nullptr)
        ::TerminateProcess(::GetCurrentProcess(), 0);
    std::uint32_t accepted = 0;
    for (const wchar_t* const name : {L"A", L"B", L"C", L"D", L"E", L"F", L"Weir C40"})
    {
        answer = Device(name, *name == L'B' ? L"Other" : L"Quellon");
        accepted += handler->CheckDevice(answer.c_str(), nullptr);
    }
    constexpr std::uint32_t allButOne = 6;
    *resultCode = accepted == allButOne ? 1 : 0;
    *listText = answer.data();
    return 0;
}
EXPORT std::uint32_t FreeDeviceList(wchar_t** listText)
{
    *listText = nullptr;
    return 0;
}
EXPORT std::uint32_t GetDeviceList()
{
    return 1;
}
EXPORT std::uint32_t GetPrinterList()
{
    return 1;
}
EXPORT std::uint32_t GetSelectedDevice()
{
    return 1;
}
EXPORT std::uint32_t GetDeviceInformation()
{
    return 1;
}
EXPORT std::uint32_t GetMultiDeviceInformation()
{
    return 1;
}
EXPORT std::uint32_t MergeDevicelistXML()
{
    return 1;
}
EXPORT std::uint32_t QueryDeviceAddress()
{
    return 1;
}
EXPORT std::uint32_t ShowPropertiesUI()
{
    return 1;
}
