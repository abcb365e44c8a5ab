// What scripts may call and name: functions of Windows as they are, and beside them what scripts prepare and look with.
#include "Script.h"

#include <aclapi.h>
#include <algorithm>
#include <msxml.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

namespace test
{
namespace
{

const CLSID noClass = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

std::string WINAPI Read(const WCHAR* path)
{
    return Shown(ReadFileBytes(path));
}
void WINAPI Write(const WCHAR* path, std::string_view bytes)
{
    WriteFileBytes(path, bytes);
}
void WINAPI Copy(const WCHAR* from, const WCHAR* to)
{
    CopyFileTo(from, to);
}
void WINAPI ReadOnly(const WCHAR* path, BOOL readOnly)
{
    SetReadOnly(path, readOnly != 0);
}
BOOL WINAPI Exists(const WCHAR* path)
{
    return FileExists(path);
}
/// In UTF-16, between a mark and what follows.
void WINAPI Write16(const WCHAR* path, std::basic_string_view<WCHAR> text, std::string_view mark, std::string_view end)
{
    WriteFileBytes(path, std::string(mark) + Utf16Bytes(text) + std::string(end));
}
/// Behind the mark.
std::string WINAPI Read16(const WCHAR* path)
{
    return Shown(ToUtf8(FromUtf16Bytes(ReadFileBytes(path)).substr(1)));
}
/// The first bytes of a file, to another.
void WINAPI Head(const WCHAR* from, const WCHAR* to, std::size_t count)
{
    WriteFileBytes(to, ReadFileBytes(from).substr(0, count));
}
std::string WINAPI Beginning(const WCHAR* path, std::size_t count)
{
    return Shown(ReadFileBytes(path).substr(0, count));
}
std::ptrdiff_t WINAPI Count(const WCHAR* path, const char* byte)
{
    return std::ranges::count(ReadFileBytes(path), *byte);
}
std::size_t WINAPI Size(std::basic_string_view<WCHAR> text)
{
    return text.size();
}
std::string WINAPI Narrow(const char* text)
{
    return Shown(text);
}
std::string WINAPI TextAt(const WCHAR* text)
{
    return Shown(ToUtf8(text));
}
BOOL WINAPI Ends(const char* text, const char* end)
{
    return std::string_view(text).ends_with(end);
}
BOOL WINAPI Equal(const char* bytes, std::string_view others)
{
    return std::string_view(bytes, others.size()) == others;
}
BOOL WINAPI Equal16(const WCHAR* text, const WCHAR* other)
{
    return Wide(text) == other;
}
HRESULT WINAPI NewDocument(IXMLDOMDocument** document)
{
    const HRESULT result = ::CoCreateInstance(
        CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument, reinterpret_cast<void**>(document));
    return FAILED(result) ? result : (*document)->put_async(VARIANT_FALSE);
}
std::string TextOf(IXMLDOMNode* node, HRESULT (WINAPI IXMLDOMNode::*member)(BSTR*) = &IXMLDOMNode::get_text)
{
    BSTR text = nullptr;
    EXPECT_EQ(S_OK, (node->*member)(&text));
    const std::string utf8 = ToUtf8({text, ::SysStringLen(text)});
    ::SysFreeString(text);
    return utf8;
}
/// The texts of a list's nodes.
std::string WINAPI Texts(IXMLDOMNodeList* list)
{
    std::string all;
    IXMLDOMNode* item = nullptr;
    LONG count = 0, length = -1;
    for (; list->get_item(count, &item) == S_OK; ++count)
    {
        all += Shown(TextOf(item));
        item->Release();
    }
    EXPECT_TRUE(item == nullptr && list->get_length(&length) == S_OK && length == count);
    return std::to_string(count) + " " + all;
}
/// XML without white space between tags and without the encoding in the declaration, in which systems differ.
std::string WINAPI PlainXml(IXMLDOMNode* node)
{
    std::string xml = TextOf(node, &IXMLDOMNode::get_xml);
    for (const char* part : {" encoding=\"UTF-16\"", "\r\n", "\t"})
        ReplaceAll(xml, part, "");
    return Shown(xml);
}
std::string WINAPI Memory(const char* bytes, std::size_t count)
{
    return Shown({bytes, count});
}
LONG WINAPI Number(const LONG* place)
{
    return *place;
}
LONG WINAPI Add(LONG* place, LONG number)
{
    return InterlockedExchangeAdd(place, number);
}
BOOL WINAPI Same(const void* one, const void* other)
{
    return one == other;
}
BOOL WINAPI Await(const WCHAR* path)
{
    return Eventually([path] { return FileExists(path); });
}
std::map<Wide, std::optional<Wide>> variablesBefore;

void WINAPI Variable(const WCHAR* name, const WCHAR* text)
{
    WCHAR before[1024];
    const DWORD length = ::GetEnvironmentVariableW(name, before, 1024);
    variablesBefore.emplace(name, length == 0 ? std::nullopt : std::optional<Wide>(before));
    ::SetEnvironmentVariableW(name, text);
}
DWORD WINAPI Wait(const Child* child)
{
    return child->Wait();
}
void WINAPI Kill(const Child* child)
{
    child->Kill();
}
BOOL WINAPI Start(const WCHAR* program, WCHAR* commandLine)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    const BOOL started =
        ::CreateProcessW(program, commandLine, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process);
    if (started != 0)
    {
        ::WaitForSingleObject(process.hProcess, patience);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    return started;
}
/// Without a message box, which would change the last error.
BOOL WINAPI
Execute(const WCHAR* program, const WCHAR* parameters, const WCHAR* folder, DWORD* instance, HANDLE* process)
{
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
    info.lpFile = program;
    info.lpParameters = parameters;
    info.lpDirectory = folder;
    info.hProcess = *process;
    const BOOL started = ::ShellExecuteExW(&info);
    *instance = static_cast<DWORD>(reinterpret_cast<UINT_PTR>(info.hInstApp));
    *process = info.hProcess;
    return started;
}
HRESULT WINAPI ShellVersion(DLLGETVERSIONPROC getVersion, DWORD size, DWORD* major, DWORD* minor)
{
    DLLVERSIONINFO version{};
    version.cbSize = size;
    const HRESULT got = getVersion(&version);
    *major = version.dwMajorVersion;
    *minor = version.dwMinorVersion;
    return got;
}
DWORD WINAPI ListForEverything(PSID everyone, PACL* list)
{
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access.Trustee.ptstrName = static_cast<LPWSTR>(everyone);
    return ::SetEntriesInAclW(1, &access, nullptr, list);
}
PSID WINAPI Everyone(BYTE subAuthorities)
{
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID sid = nullptr;
    ::AllocateAndInitializeSid(&world, subAuthorities, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &sid);
    return sid;
}
/// Of the call before.
DWORD WINAPI LastSeenError()
{
    return lastSeenError;
}
std::string WINAPI VersionOf(const VS_FIXEDFILEINFO* information)
{
    const auto part = [](DWORD number) {
        return std::to_string(HIWORD(number)) + "." + std::to_string(LOWORD(number));
    };
    return part(information->dwFileVersionMS) + "." + part(information->dwFileVersionLS) + " of type " +
           std::to_string(information->dwFileType);
}

Word Address(const void* address)
{
    return reinterpret_cast<Word>(address);
}

} // namespace

void RestoreVariables()
{
    for (const auto& [name, text] : std::exchange(variablesBefore, {}))
        ::SetEnvironmentVariableW(name.c_str(), text ? text->c_str() : nullptr);
}

#define BOUND(form, function)                                                                                          \
    {                                                                                                                  \
#function, Bind(&::function, form)                                                                             \
    }
#define METHOD(type, member)                                                                                           \
    {                                                                                                                  \
#member, Bind(&type::member)                                                                                   \
    }

const std::map<std::string, Function, std::less<>>& Functions()
{
    static const std::map<std::string, Function, std::less<>> functions = [] {
        auto all = SystemFunctions();
        all.insert({
            {"read", Bind(&Read, plain)},
            {"write", Bind(&Write, plain)},
            {"exists", Bind(&Exists, plain)},
            {"await", Bind(&Await, plain)},
            {"readonly", Bind(&ReadOnly, plain)},
            {"copy", Bind(&Copy, plain)},
            {"write16", Bind(&Write16, plain)},
            {"read16", Bind(&Read16, plain)},
            {"head", Bind(&Head, plain)},
            {"beginning", Bind(&Beginning, plain)},
            {"count", Bind(&Count, plain)},
            {"size", Bind(&Size, plain)},
            {"narrow", Bind(&Narrow, plain)},
            {"wide", Bind(&TextAt, plain)},
            {"ends", Bind(&Ends, plain)},
            {"equal", Bind(&Equal, plain)},
            {"equal16", Bind(&Equal16, plain)},
            {"new", Bind(&NewDocument, result)},
            {"texts", Bind(&Texts, plain)},
            {"plain", Bind(&PlainXml, plain)},
            {"memory", Bind(&Memory, plain)},
            {"number", Bind(&Number, plain)},
            {"add", Bind(&Add, plain)},
            {"same", Bind(&Same, plain)},
            {"variable", Bind(&Variable, plain)},
            {"wait", Bind(&Wait, plain)},
            {"kill", Bind(&Kill, plain)},
            {"Start", Bind(&Start, loose)},
            {"Execute", Bind(&Execute, loose)},
            {"ShellVersion", Bind(&ShellVersion, result)},
            {"lasterror", Bind(&LastSeenError, plain)},
            {"ListForEverything", Bind(&ListForEverything, status)},
            {"Everyone", Bind(&Everyone, loose)},
            {"VersionOf", Bind(&VersionOf, plain)},
            BOUND(value, CreateFileW),
            BOUND(value, ReadFile),
            BOUND(value, WriteFile),
            BOUND(value, SetFilePointer),
            BOUND(value, CloseHandle),
            BOUND(value, DeleteFileW),
            BOUND(value, CreateDirectoryW),
            BOUND(value, CreateDirectoryA),
            BOUND(loose, RemoveDirectoryW),
            BOUND(loose, GetFileAttributesW),
            BOUND(value, GetTempPathW),
            BOUND(value, GetTempPathA),
            BOUND(value, CreateFileMappingW),
            BOUND(value, OpenFileMappingW),
            BOUND(value, MapViewOfFile),
            BOUND(value, UnmapViewOfFile),
            BOUND(status, RegOpenKeyExA),
            BOUND(status, RegOpenKeyExW),
            BOUND(status, RegCreateKeyExW),
            BOUND(status, RegCloseKey),
            BOUND(status, RegQueryValueExA),
            BOUND(status, RegQueryValueExW),
            BOUND(status, RegSetValueExA),
            BOUND(status, RegSetValueExW),
            BOUND(status, RegDeleteValueA),
            BOUND(status, RegDeleteValueW),
            BOUND(status, RegDeleteKeyW),
            BOUND(status, RegDeleteTreeW),
            BOUND(status, RegEnumValueW),
            BOUND(status, RegOverridePredefKey),
            BOUND(value, GetPrivateProfileStringW),
            BOUND(plain, GetPrivateProfileIntA),
            BOUND(plain, GetPrivateProfileIntW),
            BOUND(loose, WritePrivateProfileStringW),
            BOUND(value, GetEnvironmentVariableW),
            BOUND(value, MultiByteToWideChar),
            BOUND(value, WideCharToMultiByte),
            BOUND(value, FormatMessageA),
            BOUND(value, OutputDebugStringA),
            BOUND(value, SetErrorMode),
            BOUND(loose, LoadLibraryA),
            BOUND(loose, LoadLibraryW),
            BOUND(value, GetProcAddress),
            BOUND(loose, FreeLibrary),
            BOUND(value, GetModuleHandleW),
            BOUND(loose, GetModuleHandleExW),
            BOUND(value, GetModuleFileNameA),
            BOUND(value, GetModuleFileNameW),
            BOUND(loose, GetFileVersionInfoSizeW),
            BOUND(loose, GetFileVersionInfoW),
            BOUND(value, VerQueryValueW),
            BOUND(loose, InitializeSecurityDescriptor),
            BOUND(loose, SetSecurityDescriptorDacl),
            BOUND(loose, SetFileSecurityW),
            BOUND(value, FreeSid),
            BOUND(value, LocalFree),
            BOUND(result, SHGetMalloc),
            BOUND(plainResult, SHGetSpecialFolderLocation),
            BOUND(loose, SHGetPathFromIDListA),
            BOUND(result, SHGetFolderPathW),
            BOUND(plainResult, SHCreateDirectoryExW),
            BOUND(result, CoInitializeEx),
            BOUND(plain, CoUninitialize),
            BOUND(result, CoCreateInstance),
            BOUND(result, OleRun),
            BOUND(plain, SysStringLen),
            BOUND(plain, SysFreeString),
            BOUND(value, Sleep),
            BOUND(value, WaitForSingleObject),
            {"QueryInterface",
             Bind(static_cast<HRESULT (WINAPI IUnknown::*)(REFIID, void**)>(&IUnknown::QueryInterface))},
            {"DidAlloc", Bind(&IMalloc::DidAlloc, plain)},
            {"Free", Bind(&IMalloc::Free, plain)},
            METHOD(IXMLDOMNode, appendChild),
            METHOD(IXMLDOMNode, get_text),
            METHOD(IXMLDOMNode, get_xml),
            METHOD(IXMLDOMNode, selectNodes),
            METHOD(IXMLDOMNode, selectSingleNode),
            METHOD(IXMLDOMNodeList, get_item),
            METHOD(IXMLDOMNodeList, get_length),
            METHOD(IXMLDOMElement, setAttribute),
            METHOD(IXMLDOMDocument, get_documentElement),
            METHOD(IXMLDOMDocument, createElement),
            METHOD(IXMLDOMDocument, createTextNode),
            METHOD(IXMLDOMDocument, createProcessingInstruction),
            METHOD(IXMLDOMDocument, load),
            METHOD(IXMLDOMDocument, loadXML),
            METHOD(IXMLDOMDocument, save),
            METHOD(IXMLDOMDocument, get_parseError),
            METHOD(IXMLDOMDocument, get_async),
            METHOD(IXMLDOMDocument, put_async),
            METHOD(IXMLDOMDocument, get_preserveWhiteSpace),
            METHOD(IXMLDOMParseError, get_errorCode),
        });
        return all;
    }();
    return functions;
}

#define NAMED(constant)                                                                                                \
    {                                                                                                                  \
#constant, static_cast < Word>(constant)                                                                       \
    }
#define PLACED(constant)                                                                                               \
    {                                                                                                                  \
#constant, Address(&constant)                                                                                  \
    }

const std::map<std::string, Word, std::less<>>& Constants()
{
    static const std::map<std::string, Word, std::less<>> constants = {
        {"null", 0},
        {"invalid", -1},
        {"READ", GENERIC_READ},
        {"WRITE", static_cast<Word>(GENERIC_WRITE)},
        NAMED(FILE_SHARE_READ),
        NAMED(FILE_SHARE_WRITE),
        NAMED(CREATE_NEW),
        NAMED(CREATE_ALWAYS),
        NAMED(OPEN_EXISTING),
        NAMED(OPEN_ALWAYS),
        NAMED(FILE_FLAG_BACKUP_SEMANTICS),
        NAMED(FILE_BEGIN),
        NAMED(FILE_END),
        NAMED(PAGE_READONLY),
        NAMED(PAGE_READWRITE),
        NAMED(FILE_MAP_READ),
        NAMED(FILE_MAP_WRITE),
        NAMED(FILE_MAP_ALL_ACCESS),
        {"HKCU", Address(HKEY_CURRENT_USER)},
        {"HKLM", Address(HKEY_LOCAL_MACHINE)},
        NAMED(KEY_READ),
        NAMED(KEY_WRITE),
        NAMED(KEY_ALL_ACCESS),
        NAMED(REG_OPTION_VOLATILE),
        NAMED(CP_UTF8),
        NAMED(CSIDL_LOCAL_APPDATA),
        NAMED(CSIDL_COMMON_APPDATA),
        NAMED(CSIDL_CDBURN_AREA),
        NAMED(CSIDL_CONTROLS),
        NAMED(CSIDL_FLAG_CREATE),
        NAMED(COINIT_APARTMENTTHREADED),
        NAMED(COINIT_MULTITHREADED),
        NAMED(CLSCTX_INPROC_SERVER),
        NAMED(CLSCTX_INPROC_HANDLER),
        NAMED(CLSCTX_LOCAL_SERVER),
        PLACED(CLSID_DOMDocument),
        PLACED(IID_IUnknown),
        PLACED(IID_IXMLDOMDocument),
        PLACED(IID_IXMLDOMNode),
        PLACED(IID_IXMLDOMElement),
        PLACED(noClass),
    };
    return constants;
}

} // namespace test
