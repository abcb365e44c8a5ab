#include "KELVFindwellLibrary.h"

#include "CheckedExpression.h"
#include "Loggers.h"
#include "LogSinks.h"
#include "ResourceLocation.h"
#include "VendorNames.h"

#include <algorithm>

namespace scankelv
{
namespace
{

/// Suppresses the system's error box for a library that cannot be opened, as long as this object exists.
class NoOpenFileErrorBox
{
public:
    NoOpenFileErrorBox() : m_previous(::SetErrorMode(SEM_NOOPENFILEERRORBOX)) {}
    ~NoOpenFileErrorBox() { ::SetErrorMode(m_previous); }
    NoOpenFileErrorBox(const NoOpenFileErrorBox&) = delete;
    NoOpenFileErrorBox& operator=(const NoOpenFileErrorBox&) = delete;

private:
    UINT m_previous;
};

void WritePieces(std::initializer_list<std::string_view> pieces)
{
    std::ranges::for_each(pieces, DebugConsoleWrite);
}

} // namespace

LibraryModule::~LibraryModule()
{
    if (m_module != nullptr && ::FreeLibrary(m_module) == 0)
        DebugConsoleWrite("FreeLibrary failed!!!\n");
}

bool LibraryModule::Load(const char* path)
{
    if (m_module != nullptr)
    {
        DebugConsoleWrite("Attempt to load already loaded library\n");
        return true;
    }
    const NoOpenFileErrorBox noErrorBox;
    m_module = ::LoadLibraryA(path);
    if (m_module == nullptr)
        WritePieces({"Library ", path, " not found!\n"});
    return m_module != nullptr;
}

FARPROC LibraryModule::Resolve(const char* name) const
{
    const FARPROC entry = ::GetProcAddress(m_module, name);
    if (entry == nullptr)
    {
        const DWORD lastError = ::GetLastError();
        WritePieces({"Function ", name, " not resolved due to <", Format<char>("%lu", lastError), ">!\n"});
    }
    return entry;
}

const KELVFindwellLibrary::EntrySlot KELVFindwellLibrary::entrySlots[10] = {
    {"GetDeviceList", &KELVFindwellLibrary::m_getDeviceList, false},
    {"GetDeviceList_LCode", &KELVFindwellLibrary::m_getDeviceList_LCode, true},
    {"FreeDeviceList", &KELVFindwellLibrary::m_freeDeviceList, true},
    {"GetPrinterList", &KELVFindwellLibrary::m_getPrinterList, true},
    {"GetSelectedDevice", &KELVFindwellLibrary::m_getSelectedDevice, true},
    {"GetDeviceInformation", &KELVFindwellLibrary::m_getDeviceInformation, true},
    {"GetMultiDeviceInformation", &KELVFindwellLibrary::m_getMultiDeviceInformation, false},
    {"MergeDevicelistXML", &KELVFindwellLibrary::m_mergeDevicelistXML, false},
    {"QueryDeviceAddress", &KELVFindwellLibrary::m_queryDeviceAddress, false},
    {"ShowPropertiesUI", &KELVFindwellLibrary::m_showPropertiesUI, false},
};

KELVFindwellLibrary::KELVFindwellLibrary()
{
    const ResourceLocation path = LocationOfModuleFile(VENDOR_LIBRARY ".dll");
    // What the library depends on is then searched there and not in the current folder, where anybody may put files.
    ::SetDllDirectoryW(ModuleFolderLocation<wchar_t>().Text());
    const bool loadLibrary = m_module.Load(path.Text());
    const CheckKind context = path.IsEmpty() ? "empty path to library" : path.Text();
    if (!Checked(FindwellLibraryLogger, context, loadLibrary, "loadLibrary", 1))
        return;
    for (const EntrySlot& slot : entrySlots)
        this->*slot.entry = m_module.Resolve(slot.name);
    Checked(FindwellLibraryLogger, "functions should be resolved", IsValid(), "IsValid()", 1);
}

bool KELVFindwellLibrary::IsValid() const
{
    return m_module.IsLoaded() && std::ranges::all_of(entrySlots, [this](const EntrySlot& slot) {
               return !slot.required || this->*slot.entry != nullptr;
           });
}

} // namespace scankelv
