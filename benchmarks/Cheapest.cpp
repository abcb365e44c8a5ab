// The cheapest program with the results of a dialog run of the generic driver, on a machine with a device stored and no
// log: the same calls of the library, values, files and lines on the debugger console, by bare calls, each made once.
// It knows its product, its arguments and that nothing fails. With the argument /first it does only what must be done
// before the library can be called.
#include "Bare.h"
#include "FindwellDlg.h"

#include <aclapi.h>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <shellapi.h>
#include <shlobj.h>
#include <string>

namespace
{

using bare::Text;

constexpr std::wstring_view queries[] = {
    L"//iotype", L"//comment",  L"//devicepath",  L"//scannerport",  L"//deviceid",         L"//devicename",
    L"//ext",    L"//hostname", L"//location",    L"//macaddress",   L"//modelname",        L"//vendor",
    L"//pid",    L"//port",     L"//productname", L"//serialnumber", L"//systemdevicename", L"//userlocation",
    L"//vid"};
/// Names of what is stored, and the query of its text; below 0: a number, by the table below.
struct Stored
{
    const wchar_t* name;
    int query;
    const wchar_t* element; ///< in the filter text
};
constexpr Stored stored[] = {
    {L"Address", 2, L"devicepath"},
    {L"Comment", 1, L"comment"},
    {L"ConnectionType", -1, L"iotype"},
    {L"DeviceID", 4, L"deviceid"},
    {L"DeviceName", 5, L"devicename"},
    {L"DeviceSelect", -2, nullptr},
    {L"ExtDeviceID", 6, L"ext"},
    {L"HostName", 7, L"hostname"},
    {L"Location", 8, L"location"},
    {L"MACAddress", 9, L"macaddress"},
    {L"MDL", 10, L"modelname"},
    {L"MFG", 11, L"vendor"},
    {L"PID", -3, L"pid"},
    {L"PortName", 13, L"port"},
    {L"ProductName", 14, L"productname"},
    {L"Serial", 15, L"serialnumber"},
    {L"SystemDeviceName", 16, L"systemdevicename"},
    {L"UI_Mode", -4, nullptr},
    {L"VID", -5, L"vid"}};
constexpr const wchar_t* filterOrder[] = {
    L"ipaddress", L"devicepath",   L"comment",      L"iotype",           L"deviceid",   L"ext",    L"hostname",
    L"location",  L"userlocation", L"macaddress",   L"modelname",        L"devicename", L"vendor", L"pid",
    L"port",      L"productname",  L"serialnumber", L"systemdevicename", L"vid"};

struct Handler : IAppHandler
{
    std::uint32_t CheckDevice(const wchar_t* xml, const void*) override { return bare::Matches(xml) ? 1 : 0; }
};

bool Exists(const std::wstring& path, bool folder)
{
    const DWORD attributes = FILE_ATTRIBUTE_NORMAL | (folder ? FILE_FLAG_BACKUP_SEMANTICS : 0U);
    const HANDLE file = ::CreateFileW(path.c_str(), 0, 0, nullptr, OPEN_EXISTING, attributes, nullptr);
    const bool exists = file != INVALID_HANDLE_VALUE;
    ::CloseHandle(file);
    ::OutputDebugStringW((L"File \"" + path + L"\" does" + (exists ? L" exist.\r\n" : L" not exist!\r\n")).c_str());
    return exists;
}

void OpenToEveryone(const wchar_t* path)
{
    HANDLE folder =
        ::CreateFileW(path, READ_CONTROL | WRITE_DAC, 7, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    wchar_t final[MAX_PATH];
    ::GetFinalPathNameByHandleW(folder, final, MAX_PATH, VOLUME_NAME_DOS);
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID everyone = nullptr;
    ::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &everyone);
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access.Trustee.ptstrName = static_cast<wchar_t*>(everyone);
    PACL list = nullptr;
    ::SetEntriesInAclW(1, &access, nullptr, &list);
    SECURITY_DESCRIPTOR descriptor;
    ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE);
    ::SetKernelObjectSecurity(folder, DACL_SECURITY_INFORMATION, &descriptor);
    ::LocalFree(list);
    ::FreeSid(everyone);
    ::CloseHandle(folder);
}

/// Writes a new file beside the old one, checks its end, brings it to the disk and moves it over the old one.
template <class Write>
void Replace(const std::wstring& path, bool asCopy, Write write)
{
    const std::wstring made = path + L".ScanKELV-" + std::to_wstring(::GetCurrentProcessId()) + L"-0";
    WIN32_FIND_DATAW found;
    ::FindClose(::FindFirstFileW((path + L".ScanKELV-*").c_str(), &found));
    WIN32_FILE_ATTRIBUTE_DATA before{}, now{};
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &before);
    ::CloseHandle(::CreateFileW(path.c_str(), GENERIC_WRITE, 3, nullptr, OPEN_EXISTING, 0, nullptr));
    if (asCopy)
        ::CopyFileW(path.c_str(), made.c_str(), TRUE);
    else
        ::CloseHandle(::CreateFileW(made.c_str(), GENERIC_WRITE, 3, nullptr, CREATE_NEW, 0, nullptr));
    const HANDLE held =
        asCopy ? ::CreateFileW(made.c_str(), GENERIC_READ, 3, nullptr, OPEN_EXISTING, 0, nullptr) : nullptr;
    char last[64];
    DWORD count = 0;
    if (asCopy)
        ::ReadFile(held, last, 2, &count, nullptr);
    write(made.c_str());
    const HANDLE file =
        ::CreateFileW(made.c_str(), GENERIC_READ | GENERIC_WRITE, 3, nullptr, OPEN_EXISTING, 0, nullptr);
    constexpr LONG end = 58; // bytes in UTF-16, what marks the end of Config.ini
    ::SetFilePointer(file, -end, nullptr, FILE_END);
    ::ReadFile(file, last, end, &count, nullptr);
    if (asCopy)
    {
        ::SetFilePointer(file, -end, nullptr, FILE_END);
        ::SetEndOfFile(file);
    }
    ::FlushFileBuffers(file);
    ::CloseHandle(file);
    alignas(8) char descriptor[0x1000];
    DWORD size = 0;
    ::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor, sizeof(descriptor), &size);
    ::SetFileSecurityW(made.c_str(), DACL_SECURITY_INFORMATION, descriptor);
    ::SetFileAttributesW(made.c_str(), before.dwFileAttributes);
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &now);
    if (held != nullptr)
        ::CloseHandle(held);
    ::MoveFileExW(made.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

std::wstring Filter(const std::wstring& deviceXml, const wchar_t* key)
{
    const auto document = bare::Document();
    bare::Declare(document.Get());
    const auto option = bare::Element(document.Get(), Text(std::wstring_view(L"option")).text);
    bare::AddSearch(document.Get(), option.Get());
    const auto list = bare::List(document.Get(), L"1.0.1");
    const auto device = bare::Element(document.Get(), Text(std::wstring_view(L"device")).text);

    const auto preset = bare::Closed();
    VARIANT_BOOL success = VARIANT_FALSE;
    preset->load(bare::Variant(Text(deviceXml)), &success);
    bare::ComPtr<IXMLDOMNode> old;
    preset->selectSingleNode(Text(std::wstring_view(L"/devicelist/device")).text, old.GetAddressOf());
    HKEY storage = nullptr;
    ::RegOpenKeyExW(HKEY_CURRENT_USER, key, 0, KEY_READ, &storage);
    std::wstring values[std::size(stored)];
    wchar_t buffer[1024];
    for (std::size_t i = 0; i < std::size(stored); ++i)
        if (stored[i].query >= 0)
        {
            const Text text(bare::Find(old.Get(), stored[i].name));
            values[i] = bare::Read(storage, stored[i].name, buffer);
        }
        else
        {
            std::swprintf(buffer, 64, L"0x%lx", bare::Read(storage, stored[i].name));
            values[i] = stored[i].query == -1 ? L"Network" : buffer;
        }
    ::RegCloseKey(storage);
    for (const std::wstring_view name : filterOrder)
        for (std::size_t i = 0; i < std::size(stored); ++i)
        {
            const std::wstring_view source = name == L"ipaddress"      ? L"devicepath"
                                             : name == L"userlocation" ? L"location"
                                                                       : name;
            if (stored[i].element != nullptr && source == stored[i].element)
                bare::Add(document.Get(), device.Get(), name, values[i]);
        }
    bare::Append(list.Get(), device.Get());
    bare::Append(option.Get(), list.Get());
    bare::Append(document.Get(), option.Get());
    BSTR xml = nullptr;
    document->get_xml(&xml);
    return std::wstring(Text(xml).View());
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR arguments, int)
{
    wchar_t path[MAX_PATH];
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own(path, std::wcsrchr(path, L'\\') + 1);
    const bool isFirst = std::wcsstr(arguments, L"/first") != nullptr;
    DWORD* word = nullptr;
    HANDLE mapping = nullptr;
    if (!isFirst)
    {
        const std::wstring file = path;
        char data[4096];
        void* version = nullptr;
        UINT length = 0;
        ::GetFileVersionInfoW(file.c_str(), 0, sizeof(data), data);
        ::VerQueryValueW(data, L"\\", &version, &length);
        ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, path);
        const std::wstring log = std::wstring(path) + L"\\ScanKELV\\";
        for (const wchar_t* const module : {L"KELVClient", L"Agent"})
        {
            ::GetPrivateProfileIntW(L"Modules", module, 0, (log + L"Debug.ini").c_str());
            const std::wstring line = std::wstring(L"w4 Module ") + module + L" does not log. For settings see: ";
            ::OutputDebugStringW((line + log + L"Debug.ini\r\n").c_str());
        }
        mapping = ::CreateFileMappingW(
            INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4, L"{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}");
        word = static_cast<DWORD*>(::MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 4));
        *word = ::GetCurrentProcessId();
    }
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    std::wstring filter, common, deviceXml;
    const wchar_t* const key = L"Software\\QLScan\\Quellon Generic Scan Driver";
    if (isFirst)
        bare::Document();
    ::SetDllDirectoryW(own.c_str());
    const HMODULE library = ::LoadLibraryW((own + L"FindwellDlg.dll").c_str());
    const auto function = [library](const char* name) {
        return reinterpret_cast<void (*)()>(::GetProcAddress(library, name));
    };
    const auto get = reinterpret_cast<GetDeviceList_LCodeFunction*>(function("GetDeviceList_LCode"));
    const auto release = reinterpret_cast<FreeDeviceListFunction*>(function("FreeDeviceList"));
    if (!isFirst)
    {
        Exists(own + L"ScanKELV.ini", false);
        ::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path);
        common = path;
        const std::wstring folder = common + L"\\Quellon\\ScanKELV";
        ::SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
        OpenToEveryone(folder.c_str());
        deviceXml = folder + L"\\device.xml";
        filter = Filter(deviceXml, key);
    }
    Handler handler;
    std::uint32_t resultCode = 0;
    wchar_t* answer = nullptr;
    get(0, "en", filter.c_str(), &resultCode, &answer, &handler);

    const auto list = bare::Loaded(answer);
    std::unique_ptr<Text> texts[std::size(queries)];
    for (std::size_t i = 0; i < std::size(queries); ++i)
        texts[i] = std::make_unique<Text>(bare::Find(list.Get(), queries[i]));
    const auto number = [&texts](int query) -> DWORD { // by the table above
        constexpr int pid = 12, vid = 18;
        return query == -2                  ? 0
               : query == -3 || query == -5 ? std::wcstoul(texts[query == -3 ? pid : vid]->text, nullptr, 16)
                                            : 1;
    };
    const std::wstring updater = own + L"Hueward.exe", name = L"\"\"\"" + std::wstring(texts[14]->View()) + L"\"\"\"";
    Exists(updater, false);
    SHELLEXECUTEINFOW start{};
    start.cbSize = sizeof(start);
    start.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC;
    start.lpVerb = L"open";
    start.lpFile = updater.c_str();
    start.lpParameters = name.c_str();
    const std::wstring folder = own.substr(0, own.size() - 1);
    start.lpDirectory = folder.c_str();
    ::OutputDebugStringW((L"about to [open] <" + updater + L"> with argument \"" + name + L"\"...\r\n").c_str());
    ::ShellExecuteExW(&start);
    ::CloseHandle(start.hProcess);
    ::OutputDebugStringW((L"start <" + updater + L"> successful, not waiting for finish\r\n").c_str());

    HKEY storage = nullptr;
    ::RegOpenKeyExW(HKEY_CURRENT_USER, key, 0, KEY_WRITE, &storage);
    const auto document = bare::Document();
    bare::Declare(document.Get());
    const auto root = bare::List(document.Get(), L"1.0.2");
    const auto device = bare::Element(document.Get(), Text(std::wstring_view(L"device")).text);
    bare::Append(root.Get(), device.Get());
    constexpr int xmlTexts[] = {0, 2, 12, -4, 18}; // of the numbers: connection, selection, pid, mode, vid
    int next = 0;
    for (const Stored& value : stored)
    {
        const int query = value.query >= 0 ? value.query : xmlTexts[next++];
        bare::Add(document.Get(), device.Get(), value.name, query < 0 ? L"1" : texts[query]->View());
    }
    bare::Append(document.Get(), root.Get());
    Replace(
        deviceXml, false, [&](const wchar_t* made) { document->save(bare::Variant(Text(std::wstring_view(made)))); });

    for (const Stored& value : stored)
        if (value.query < 0)
        {
            const DWORD content = number(value.query);
            ::RegSetValueExW(
                storage, value.name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&content), sizeof(content));
        }
        else
        {
            const std::wstring content(texts[value.query]->View());
            ::RegSetValueExW(
                storage, value.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(content.c_str()),
                static_cast<DWORD>((content.size() + 1) * sizeof(wchar_t)));
        }
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    char savedAt[64];
    const int length = std::snprintf(
        savedAt, 64, "%4u/%02u/%02u %02u:%02u:%02u.%03u", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
        now.wSecond, now.wMilliseconds);
    ::RegSetValueExA(storage, "savedAt", 0, REG_SZ, reinterpret_cast<BYTE*>(savedAt), static_cast<DWORD>(length) + 1);
    ::RegCloseKey(storage);

    std::wstring config = common;
    Exists(config, true);
    for (const wchar_t* const part : {L"\\QLScan", L"\\Quellon Generic Scan Driver"})
        Exists(config += part, true);
    config += L"\\Config.ini";
    Exists(config, false);
    Replace(config, true, [&](const wchar_t* made) {
        const auto write = [made](const wchar_t* entry, const wchar_t* content) {
            ::WritePrivateProfileStringW(L"IO", entry, content, made);
        };
        for (const Stored& value : stored)
        {
            if (value.query >= 0)
                write(value.name, texts[value.query]->text);
            else if (value.query != -4)
                write(value.name, std::to_wstring(number(value.query)).c_str());
            if (value.query == 2)
                write(L"Address2", texts[2]->text);
        }
        ::WritePrivateProfileStringW(L"ScanKELV-EndOfFile", L"end", L"1", made);
    });
    release(&answer);
    ::FreeLibrary(library);
    ::UnmapViewOfFile(word);
    ::CloseHandle(mapping);
    return resultCode == 1 ? 0 : 1;
}
