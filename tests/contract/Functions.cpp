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

using View = std::basic_string_view<WCHAR>;

const CLSID noClass = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

/// What scripts have set, as it was before.
std::map<Wide, std::optional<Wide>> variablesBefore;

std::string Content(IXMLDOMNode* node, HRESULT (WINAPI IXMLDOMNode::*member)(BSTR*))
{
    BSTR text = nullptr;
    EXPECT_EQ(S_OK, (node->*member)(&text));
    const std::string utf8 = ToUtf8({text, ::SysStringLen(text)});
    ::SysFreeString(text);
    return utf8;
}

std::map<std::string, Function, std::less<>> Helpers()
{
    return {
        {"read", Helper([](const WCHAR* path) { return OnOneLine(ReadFileBytes(path)); })},
        {"write", Helper([](const WCHAR* path, std::string_view bytes) { WriteFileBytes(path, bytes); })},
        // In UTF-16, with a mark before and what may follow; and what is behind such a mark.
        {"write16", Helper([](const WCHAR* path, View text, std::string_view mark, std::string_view end) {
             WriteFileBytes(path, std::string(mark) + Utf16Bytes(text) + std::string(end));
         })},
        {"read16",
         Helper([](const WCHAR* path) { return OnOneLine(ToUtf8(FromUtf16Bytes(ReadFileBytes(path)).substr(1))); })},
        {"copy", Helper([](const WCHAR* from, const WCHAR* to) { CopyFileTo(from, to); })},
        {"head", Helper([](const WCHAR* from, const WCHAR* to, std::size_t count) {
             WriteFileBytes(to, ReadFileBytes(from).substr(0, count));
         })},
        {"beginning",
         Helper([](const WCHAR* path, std::size_t count) { return OnOneLine(ReadFileBytes(path).substr(0, count)); })},
        {"count",
         Helper([](const WCHAR* path, const char* byte) { return std::ranges::count(ReadFileBytes(path), *byte); })},
        {"readonly", Helper([](const WCHAR* path, bool readOnly) { SetReadOnly(path, readOnly); })},
        {"exists", Helper([](const WCHAR* path) { return FileExists(path); })},
        {"await", Helper([](const WCHAR* path) { return Eventually([path] { return FileExists(path); }); })},
        // Of texts and of memory.
        {"size", Helper([](View text) { return text.size(); })},
        {"narrow", Helper([](const char* text) { return OnOneLine(text); })},
        {"wide", Helper([](const WCHAR* text) { return OnOneLine(ToUtf8(text)); })},
        {"ends", Helper([](const char* text, std::string_view end) { return std::string_view(text).ends_with(end); })},
        {"memory", Helper([](const char* bytes, std::size_t count) {
             return OnOneLine({bytes, count});
         })},
        {"equal", Helper([](const char* bytes, std::string_view others) {
             return others == std::string_view(bytes, others.size());
         })},
        {"number", Helper([](const LONG* place) { return *place; })},
        {"add", Helper([](LONG* place, LONG number) { return InterlockedExchangeAdd(place, number); })},
        {"same", Helper([](Word one, Word other) { return one == other; })},
        // Of processes.
        {"variable", Helper([](const WCHAR* name, const WCHAR* text) {
             WCHAR before[1024];
             const DWORD length = ::GetEnvironmentVariableW(name, before, 1024);
             variablesBefore.emplace(name, length == 0 ? std::nullopt : std::optional<Wide>(before));
             ::SetEnvironmentVariableW(name, text);
         })},
        {"wait", Helper([](const Child* child) { return child->Wait(); })},
        {"kill", Helper([](const Child* child) { child->Kill(); })},
        {"lasterror", Helper([] { return lastSeenError; })}, // of the call before
        {"Start", Helper(
                      [](const WCHAR* program, WCHAR* commandLine) {
                          STARTUPINFOW startup{};
                          startup.cb = sizeof(startup);
                          PROCESS_INFORMATION process{};
                          const BOOL started = ::CreateProcessW(
                              program, commandLine, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process);
                          if (started != 0)
                          {
                              ::WaitForSingleObject(process.hProcess, patience);
                              ::CloseHandle(process.hThread);
                              ::CloseHandle(process.hProcess);
                          }
                          return started;
                      },
                      loose)},
        // Without a message box, which would change the last error.
        {"Execute",
         Helper(
             [](const WCHAR* program, const WCHAR* parameters, const WCHAR* folder, DWORD* instance, HANDLE* process) {
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
             },
             loose)},
        {"ShellVersion", Helper(
                             [](DLLGETVERSIONPROC getVersion, DWORD size, DWORD* major, DWORD* minor) {
                                 DLLVERSIONINFO version{};
                                 version.cbSize = size;
                                 const HRESULT got = getVersion(&version);
                                 *major = version.dwMajorVersion;
                                 *minor = version.dwMinorVersion;
                                 return got;
                             },
                             result)},
        {"VersionOf", Helper([](const VS_FIXEDFILEINFO* information) {
             std::string version;
             for (const DWORD part : {information->dwFileVersionMS, information->dwFileVersionLS})
                 version += std::to_string(HIWORD(part)) + "." + std::to_string(LOWORD(part)) + ".";
             return version + " of type " + std::to_string(information->dwFileType);
         })},
        {"ListForEverything", Helper(
                                  [](PSID everyone, PACL* list) {
                                      EXPLICIT_ACCESSW access{};
                                      access.grfAccessPermissions = GENERIC_ALL;
                                      access.grfAccessMode = SET_ACCESS;
                                      access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
                                      access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
                                      access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
                                      access.Trustee.ptstrName = static_cast<LPWSTR>(everyone);
                                      return ::SetEntriesInAclW(1, &access, nullptr, list);
                                  },
                                  status)},
        // Of documents.
        {"new", Helper(
                    [](IXMLDOMDocument** document) {
                        const HRESULT made = ::CoCreateInstance(
                            CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                            reinterpret_cast<void**>(document));
                        return FAILED(made) ? made : (*document)->put_async(VARIANT_FALSE);
                    },
                    result)},
        // How many nodes a list has, and the text of each.
        {"texts", Helper([](IXMLDOMNodeList* list) {
             std::string all;
             IXMLDOMNode* item = nullptr;
             LONG count = 0, length = -1;
             for (; list->get_item(count, &item) == S_OK; ++count)
             {
                 all += OnOneLine(Content(item, &IXMLDOMNode::get_text));
                 item->Release();
             }
             EXPECT_TRUE(item == nullptr && list->get_length(&length) == S_OK && length == count);
             return std::to_string(count) + all;
         })},
        // Without what systems differ in: white space between tags, and the encoding in the declaration.
        {"plain", Helper([](IXMLDOMNode* node) {
             std::string xml = Content(node, &IXMLDOMNode::get_xml);
             for (const char* part : {" encoding=\"UTF-16\"", "\r\n", "\t"})
                 ReplaceAll(xml, part, "");
             return OnOneLine(xml);
         })},
    };
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

#define BOUND(form, function) Row(#function, Bind(&::function, form))
#define METHOD(type, member) Row(#member, Bind(&type::member))

const std::map<std::string, Function, std::less<>>& Functions()
{
    static const std::map<std::string, Function, std::less<>> functions = [] {
        using Row = std::pair<std::string, Function>;
        auto all = SystemFunctions();
        all.merge(Helpers());
        const auto add = [&all](auto... rows) { (all.insert(rows), ...); };
        add(BOUND(value, CreateFileW), BOUND(value, ReadFile), BOUND(value, WriteFile), BOUND(value, SetFilePointer),
            BOUND(value, CloseHandle), BOUND(value, DeleteFileW), BOUND(value, CreateDirectoryW),
            BOUND(value, CreateDirectoryA), BOUND(value, GetTempPathW), BOUND(value, GetTempPathA),
            BOUND(value, CreateFileMappingW), BOUND(value, OpenFileMappingW), BOUND(value, MapViewOfFile),
            BOUND(value, UnmapViewOfFile), BOUND(value, GetPrivateProfileStringW),
            BOUND(value, GetEnvironmentVariableW), BOUND(value, MultiByteToWideChar), BOUND(value, WideCharToMultiByte),
            BOUND(value, FormatMessageA), BOUND(value, OutputDebugStringA), BOUND(value, SetErrorMode),
            BOUND(value, GetProcAddress), BOUND(value, GetModuleHandleW), BOUND(value, GetModuleFileNameA),
            BOUND(value, GetModuleFileNameW), BOUND(value, VerQueryValueW), BOUND(value, FreeSid),
            BOUND(value, LocalFree), BOUND(value, Sleep), BOUND(value, WaitForSingleObject),
            BOUND(loose, RemoveDirectoryW), BOUND(loose, GetFileAttributesW), BOUND(loose, WritePrivateProfileStringW),
            BOUND(loose, LoadLibraryA), BOUND(loose, LoadLibraryW), BOUND(loose, FreeLibrary),
            BOUND(loose, GetModuleHandleExW), BOUND(loose, GetFileVersionInfoSizeW), BOUND(loose, GetFileVersionInfoW),
            BOUND(loose, InitializeSecurityDescriptor), BOUND(loose, SetSecurityDescriptorDacl),
            BOUND(loose, SetFileSecurityW), BOUND(loose, SHGetPathFromIDListA), BOUND(loose, AllocateAndInitializeSid),
            BOUND(plain, GetPrivateProfileIntA), BOUND(plain, GetPrivateProfileIntW), BOUND(plain, CoUninitialize),
            BOUND(plain, SysStringLen), BOUND(plain, SysFreeString), BOUND(status, RegOpenKeyExA),
            BOUND(status, RegOpenKeyExW), BOUND(status, RegCreateKeyExW), BOUND(status, RegCloseKey),
            BOUND(status, RegQueryValueExA), BOUND(status, RegQueryValueExW), BOUND(status, RegSetValueExA),
            BOUND(status, RegSetValueExW), BOUND(status, RegDeleteValueA), BOUND(status, RegDeleteValueW),
            BOUND(status, RegDeleteKeyW), BOUND(status, RegDeleteTreeW), BOUND(status, RegEnumValueW),
            BOUND(status, RegOverridePredefKey), BOUND(plainResult, SHGetSpecialFolderLocation),
            BOUND(plainResult, SHCreateDirectoryExW), BOUND(result, SHGetMalloc), BOUND(result, SHGetFolderPathW),
            BOUND(result, CoInitializeEx), BOUND(result, CoCreateInstance), BOUND(result, OleRun),
            METHOD(IXMLDOMNode, appendChild), METHOD(IXMLDOMNode, get_text), METHOD(IXMLDOMNode, get_xml),
            METHOD(IXMLDOMNode, selectNodes), METHOD(IXMLDOMNode, selectSingleNode), METHOD(IXMLDOMNodeList, get_item),
            METHOD(IXMLDOMNodeList, get_length), METHOD(IXMLDOMElement, setAttribute),
            METHOD(IXMLDOMDocument, get_documentElement), METHOD(IXMLDOMDocument, createElement),
            METHOD(IXMLDOMDocument, createTextNode), METHOD(IXMLDOMDocument, createProcessingInstruction),
            METHOD(IXMLDOMDocument, load), METHOD(IXMLDOMDocument, loadXML), METHOD(IXMLDOMDocument, save),
            METHOD(IXMLDOMDocument, get_parseError), METHOD(IXMLDOMDocument, get_async),
            METHOD(IXMLDOMDocument, put_async), METHOD(IXMLDOMDocument, get_preserveWhiteSpace),
            METHOD(IXMLDOMParseError, get_errorCode));
        add(Row("DidAlloc", Bind(&IMalloc::DidAlloc, plain)), Row("Free", Bind(&IMalloc::Free, plain)),
            Row("QueryInterface",
                Bind(static_cast<HRESULT (WINAPI IUnknown::*)(REFIID, void**)>(&IUnknown::QueryInterface))));
        return all;
    }();
    return functions;
}

#define NAMED(constant) Row(#constant, static_cast<Word>(constant))
#define PLACED(constant) Row(#constant, Address(&constant))

const std::map<std::string, Word, std::less<>>& Constants()
{
    static const std::map<std::string, Word, std::less<>> constants = [] {
        using Row = std::pair<std::string, Word>;
        const auto table = [](auto... rows) { return std::map<std::string, Word, std::less<>>({rows...}); };
        return table(
            Row("null", 0), Row("invalid", -1), Row("READ", GENERIC_READ),
            Row("WRITE", static_cast<Word>(GENERIC_WRITE)), Row("HKCU", Address(HKEY_CURRENT_USER)),
            Row("HKLM", Address(HKEY_LOCAL_MACHINE)), NAMED(FILE_SHARE_READ), NAMED(FILE_SHARE_WRITE),
            NAMED(CREATE_NEW), NAMED(CREATE_ALWAYS), NAMED(OPEN_EXISTING), NAMED(OPEN_ALWAYS),
            NAMED(FILE_FLAG_BACKUP_SEMANTICS), NAMED(FILE_BEGIN), NAMED(FILE_END), NAMED(PAGE_READONLY),
            NAMED(PAGE_READWRITE), NAMED(FILE_MAP_READ), NAMED(FILE_MAP_WRITE), NAMED(FILE_MAP_ALL_ACCESS),
            NAMED(KEY_READ), NAMED(KEY_WRITE), NAMED(KEY_ALL_ACCESS), NAMED(REG_OPTION_VOLATILE), NAMED(CP_UTF8),
            NAMED(CSIDL_LOCAL_APPDATA), NAMED(CSIDL_COMMON_APPDATA), NAMED(CSIDL_CDBURN_AREA), NAMED(CSIDL_CONTROLS),
            NAMED(CSIDL_FLAG_CREATE), NAMED(COINIT_APARTMENTTHREADED), NAMED(COINIT_MULTITHREADED),
            NAMED(CLSCTX_INPROC_SERVER), NAMED(CLSCTX_INPROC_HANDLER), NAMED(CLSCTX_LOCAL_SERVER),
            PLACED(CLSID_DOMDocument), PLACED(IID_IUnknown), PLACED(IID_IXMLDOMDocument), PLACED(IID_IXMLDOMNode),
            PLACED(IID_IXMLDOMElement), PLACED(noClass));
    }();
    return constants;
}

} // namespace test
