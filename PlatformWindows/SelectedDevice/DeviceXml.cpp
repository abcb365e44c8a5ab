#include "DeviceXml.h"

#include "AsciiCase.h"
#include "Loggers.h"
#include "Owners.h"
#include "ReplacedFile.h"
#include "VendorNames.h"
#include "XmlDocument.h"

#include <aclapi.h>
#include <memory>
#include <shlobj.h>

namespace scankelv
{
namespace
{

using Device = XmlParsedDeviceList;

struct DeviceXmlElement
{
    const wchar_t* name;
    _bstr_t Device::*text; ///< null: the UI mode, which is the same for every device
};

// In the order of the file.
constexpr DeviceXmlElement deviceXmlElements[] = {
    {L"Address", &Device::addressString},
    {L"Comment", &Device::commentString},
    {L"ConnectionType", &Device::ioTypeString}, // the text, not the number of the registry value
    {L"DeviceID", &Device::deviceIdString},
    {L"DeviceName", &Device::deviceNameString},
    {L"DeviceSelect", &Device::address2String}, // the device path, not the code of the registry value
    {L"ExtDeviceID", &Device::extDeviceIdString},
    {L"HostName", &Device::hostNameString},
    {L"Location", &Device::locationString},
    {L"MACAddress", &Device::macAddressString},
    {L"MDL", &Device::mdlString},
    {L"MFG", &Device::mfgString},
    {L"PID", &Device::pidString},
    {L"PortName", &Device::portNameString},
    {L"ProductName", &Device::productNameString},
    {L"Serial", &Device::serialNumberString},
    {L"SystemDeviceName", &Device::systemDeviceNameString},
    {L"UI_Mode", nullptr},
    {L"VID", &Device::vidString},
};
static_assert(std::size(deviceXmlElements) == 19);

struct SidRelease
{
    void operator()(void* sid) const { ::FreeSid(sid); }
};
struct LocalRelease
{
    void operator()(void* memory) const { ::LocalFree(memory); }
};
using OwnedSid = std::unique_ptr<void, SidRelease>;
template <class Content>
using OwnedLocal = std::unique_ptr<Content, LocalRelease>;

OwnedSid EveryoneSid()
{
    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    PSID sid = nullptr;
    ::AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0, &sid);
    return OwnedSid(sid);
}

/// Replaces the folder's access list by one entry that gives everyone every right on it and on what it holds. A
/// failure goes unnoticed: the folder then keeps the access list that it inherited.
void OpenFolderToEveryone(HANDLE folder)
{
    const OwnedSid everyone = EveryoneSid();
    EXPLICIT_ACCESSW access{};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    access.Trustee.ptstrName = static_cast<LPWSTR>(everyone.get());
    PACL list = nullptr;
    if (everyone)
        ::SetEntriesInAclW(1, &access, nullptr, &list);
    const OwnedLocal<ACL> ownedList(list);
    const OwnedLocal<void> descriptor(::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
    if (!ownedList || !descriptor)
        return;
    ::InitializeSecurityDescriptor(descriptor.get(), SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorDacl(descriptor.get(), TRUE, ownedList.get(), FALSE);
    ::SetKernelObjectSecurity(folder, DACL_SECURITY_INFORMATION, descriptor.get());
}

/// Opens the folder for a new access list. Null after a message when it cannot be opened, or when the path leads to
/// another folder: through a link that somebody made, everyone would get the rights on that folder.
OwnedHandle OpenOwnFolder(const std::wstring& path)
{
    OwnedHandle folder = Own(::CreateFileW(
        path.c_str(), READ_CONTROL | WRITE_DAC, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    wchar_t final[MAX_PATH]{};
    const DWORD length =
        folder == nullptr
            ? 0
            : ::GetFinalPathNameByHandleW(folder.get(), final, static_cast<DWORD>(std::size(final)), VOLUME_NAME_DOS);
    if (length < std::size(final) && EqualsIgnoringAsciiCase({final, length}, L"\\\\?\\" + path))
        return folder;
    AgentLogger().WriteLine("The access list of \"%ws\" stays: it cannot be opened, or is a link.", path);
    return nullptr;
}

/// Brings the file to the disk. @return whether it is whole, that is, has its last tag: the document model does not
/// tell when a full disk cuts it
bool IsWhole(const wchar_t* path)
{
    const OwnedHandle file = OpenShared(path, GENERIC_READ | GENERIC_WRITE);
    wchar_t last[32]{};
    DWORD count = 0;
    return file != nullptr &&
           ::SetFilePointer(file.get(), -LONG{sizeof(last)}, nullptr, FILE_END) != INVALID_SET_FILE_POINTER &&
           ::ReadFile(file.get(), last, sizeof(last), &count, nullptr) != 0 &&
           std::wstring_view(last, std::size(last)).find(L"</devicelist>") != std::wstring_view::npos &&
           ::FlushFileBuffers(file.get()) != 0;
}

/// @throws XmlError when the file is not replaced
void SaveDeviceXml(const XmlDocument& document, const ResourceLocationWide& path)
{
    const bool replaced = ReplacedFile(path).Replace(ReplacedFile::Begin::Empty, [&](const wchar_t* file) {
        XmlSave(document, file);
        return IsWhole(file);
    });
    if (!replaced)
        throw XmlError(E_FAIL, IID{});
}

} // namespace

bool ExportDeviceXml(const XmlParsedDeviceList& device)
{
    const XmlDocument document = XmlCreateDocumentInitialisingCom();
    if (!document)
        throw XmlError(E_FAIL, IID_IXMLDOMDocument);
    XmlAddDeclaration(document);
    const XmlElement list = XmlCreateElement(document, L"devicelist");
    XmlSetAttribute(list, L"version", L"1.0.2");
    const XmlElement element = XmlCreateElement(document, L"device");
    XmlAppend(list.Get(), element.Get());
    for (const auto& [name, text] : deviceXmlElements)
        XmlAddTextElement(document, element, name, text != nullptr ? device.*text : _bstr_t(L"1"));
    XmlAppend(document.Get(), list.Get());

    const ResourceLocationWide file = DeviceXmlLocation();
    if (file.IsEmpty())
        throw XmlError(E_FAIL, IID{});
    SaveDeviceXml(document, file);
    return true;
}

ResourceLocationWide DeviceXmlLocation()
{
    wchar_t root[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, root)) || root[0] == 0)
        return {};
    std::wstring path = std::wstring(root) + L"\\" VENDOR_DATA_FOLDER;
    ::SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
    // Always this folder, wherever the shell keeps its data: elsewhere the folder keeps its inherited access list.
    if (const OwnedHandle folder = OpenOwnFolder(L"C:\\ProgramData\\" VENDOR_DATA_FOLDER))
        OpenFolderToEveryone(folder.get());
    return ResourceLocationWide(path += L"\\device.xml");
}

} // namespace scankelv
