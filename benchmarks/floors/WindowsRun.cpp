// WindowsRun RECORDED PROGRAM: an empty Windows program plus the calls that a dialog run in single-model mode must
// make. What the agent works out is read from RECORDED, the folder that an agent's run was copied to.
#include "Recorded.h"

#include <msxml.h>
#include <objbase.h>
#include <oleauto.h>
#include <shellapi.h>
#include <shlobj.h>
#include <string>
#include <vector>
#include <windows.h>

namespace
{

using Wide = std::wstring;

std::string ReadWhole(const Wide& path)
{
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    std::string bytes(file == INVALID_HANDLE_VALUE ? 0 : ::GetFileSize(file, nullptr), '\0');
    DWORD count = 0;
    ::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    ::CloseHandle(file);
    return bytes;
}

/// One write for each line.
void WriteLines(HANDLE file, const std::string& lines)
{
    for (std::size_t begin = 0, end = 0; begin < lines.size(); begin = end)
    {
        end = std::min(lines.find('\n', begin), lines.size() - 1) + 1;
        DWORD count = 0;
        ::WriteFile(file, lines.data() + begin, static_cast<DWORD>(end - begin), &count, nullptr);
    }
}

/// A document of the text; one element of it is looked at.
IXMLDOMDocument* Parse(const WCHAR* text, const WCHAR* query)
{
    IXMLDOMDocument* document = nullptr;
    ::CoCreateInstance(
        CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, reinterpret_cast<void**>(&document));
    const BSTR source = ::SysAllocString(text);
    const BSTR asked = ::SysAllocString(query);
    VARIANT_BOOL loaded = VARIANT_FALSE;
    IXMLDOMNode* node = nullptr;
    document->loadXML(source, &loaded);
    if (document->selectSingleNode(asked, &node) == S_OK)
    {
        BSTR found = nullptr;
        node->get_text(&found);
        ::SysFreeString(found);
        node->Release();
    }
    ::SysFreeString(asked);
    ::SysFreeString(source);
    return document;
}

/// The values of the stored device, read and written again one by one.
void WriteAgain(const Wide& path)
{
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    WCHAR name[64];
    BYTE data[1024];
    DWORD length = 64, size = sizeof(data), type = 0;
    for (DWORD i = 0; ::RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size) == ERROR_SUCCESS; ++i)
    {
        ::RegSetValueExW(key, name, 0, type, data, size);
        length = 64;
        size = sizeof(data);
    }
    ::RegCloseKey(key);
}

} // namespace

int main()
{
    int count = 0;
    WCHAR** const arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    const Wide recorded = arguments[1] + Wide(L"\\");
    const Wide program = arguments[2] + Wide(L"\\");
    WCHAR local[MAX_PATH];
    WCHAR common[MAX_PATH];
    ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, local);
    ::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, common);
    ReadWhole(local + Wide(L"\\ScanKELV\\Debug.ini"));
    ReadWhole(program + L"ScanKELV.ini");
    const Wide logPath = local + Wide(L"\\ScanKELV\\Log.txt");
    const HANDLE log = ::CreateFileW(
        logPath.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0, nullptr);
    benchmarks::ForEachText(
        ReadWhole(recorded + L"console.txt"), [](const char* text, std::size_t) { ::OutputDebugStringA(text); });
    WriteLines(log, ReadWhole(recorded + L"Log.txt"));
    ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, L"Local\\ScanKELVBenchmark");
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);

    const HMODULE library = ::LoadLibraryW((program + L"FindwellDlg.dll").c_str());
    const auto resolve = [library](const char* name) {
        return reinterpret_cast<void (*)()>(::GetProcAddress(library, name));
    };
    const auto getDeviceList = reinterpret_cast<GetDeviceList_LCodeFunction*>(resolve("GetDeviceList_LCode"));
    const auto freeDeviceList = reinterpret_cast<FreeDeviceListFunction*>(resolve("FreeDeviceList"));
    const std::string filter = ReadWhole(recorded + L"Filter.xml");
    benchmarks::Handler handler(
        ReadWhole(recorded + L"library.txt"), [](const WCHAR* text) { Parse(text, L"//deviceid")->Release(); });
    std::uint32_t result = 0;
    WCHAR* list = nullptr;
    getDeviceList(0, "en", Wide(filter.begin(), filter.end()).c_str(), &result, &list, &handler);
    IXMLDOMDocument* const answer = Parse(list, L"//deviceid");

    const Wide updater = program + L"Hueward.exe";
    SHELLEXECUTEINFOW start{};
    start.cbSize = sizeof(start);
    start.fMask = SEE_MASK_NOCLOSEPROCESS;
    start.lpFile = updater.c_str();
    start.lpDirectory = program.c_str(); // it writes there
    ::ShellExecuteExW(&start);
    VARIANT path{};
    path.vt = VT_BSTR;
    path.bstrVal = ::SysAllocString((common + Wide(L"\\Quellon\\ScanKELV\\device.xml")).c_str());
    answer->save(path);
    WriteAgain(L"Software\\QLScan\\Quellon Weir C40");
    answer->Release();
    freeDeviceList(&list);
    return 0;
}
