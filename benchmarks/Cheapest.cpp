// The shortest way around the parts of a dialog run that have questions of their own (filter text, match, list), and
// its storing: a program with the results of the generic driver's run that knows its product and its arguments. Started
// with /first it does only what must be done before the library can be called.
#include "AgentOptions.h"
#include "DeviceListParsing.h"
#include "DeviceMatch.h"
#include "FilterText.h"
#include "FindwellDlg.h"
#include "StoredDevice.h"
#include "XmlDocument.h"

#include <cwchar>
#include <objbase.h>

using namespace scankelv;

namespace
{

struct Handler : IAppHandler
{
    std::uint32_t CheckDevice(const wchar_t* xml, const void*) override
    {
        return XmlDeviceMatch(*options, xml) ? 1 : 0;
    }
    const std::optional<AgentOptions> options = AgentOptions::Build(L"", L"");
};

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR arguments, int)
{
    wchar_t path[MAX_PATH];
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring folder(path, std::wcsrchr(path, L'\\'));
    const HANDLE guard = ::CreateFileMappingW(
        INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(DWORD), L"{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}");
    *static_cast<DWORD*>(::MapViewOfFile(guard, FILE_MAP_ALL_ACCESS, 0, 0, 0)) = ::GetCurrentProcessId();
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ::SetDllDirectoryW(folder.c_str());
    const HMODULE library = ::LoadLibraryW((folder + L"\\FindwellDlg.dll").c_str());
    const auto function = [library](const char* name) {
        return reinterpret_cast<void (*)()>(::GetProcAddress(library, name));
    };
    const auto get = reinterpret_cast<GetDeviceList_LCodeFunction*>(function("GetDeviceList_LCode"));
    std::uint32_t resultCode = 0;
    wchar_t* answer = nullptr;
    if (std::wcsstr(arguments, L"/first") != nullptr)
    {
        XmlDocument document;
        XmlOpenDocument(document);
        get(0, "en", L"", &resultCode, &answer, nullptr);
    }
    Handler handler;
    _bstr_t filter;
    parsedMultiDeviceInfo info;
    bool isParsed = false;
    XmlGenerateFilterText(*handler.options, DialogMode5, filter, info, isParsed);
    get(0, "en", filter, &resultCode, &answer, &handler);
    XmlParsedDeviceList device;
    const bool done = ParseDeviceList(answer, device) && StoreDeviceListAndUpdateIcc(*handler.options, device);
    reinterpret_cast<FreeDeviceListFunction*>(function("FreeDeviceList"))(&answer);
    return done ? 0 : 1;
}
