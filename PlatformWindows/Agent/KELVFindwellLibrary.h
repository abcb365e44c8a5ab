// The binding of the device search library FindwellDlg.dll, which lies beside the program.
#pragma once

#include "FindwellDlg.h"

namespace scankelv
{

/// Owns one loaded module.
class LibraryModule
{
public:
    LibraryModule() = default;
    ~LibraryModule();
    LibraryModule(const LibraryModule&) = delete;
    LibraryModule& operator=(const LibraryModule&) = delete;

    /// Loads without the system's error box. What is held already stays, and is said on the debugger console, as is a
    /// library that cannot be loaded. @return whether a module is held
    bool Load(const char* path);
    bool IsLoaded() const { return m_module != nullptr; }
    /// Null when no module is held, or it lacks the name, which is then said on the debugger console.
    FARPROC Resolve(const char* name) const;

private:
    HMODULE m_module = nullptr;
};

/// Loads the library and resolves its ten entry points. What is missing is reported to the library's logger; ask
/// IsValid afterwards, and an optional entry for null before its use.
class KELVFindwellLibrary
{
public:
    KELVFindwellLibrary();

    /// The module is loaded and has every required entry point.
    bool IsValid() const;

    auto GetDeviceList_LCode() const { return As<GetDeviceList_LCodeFunction>(m_getDeviceList_LCode); }
    auto FreeDeviceList() const { return As<FreeDeviceListFunction>(m_freeDeviceList); }
    auto GetDeviceInformation() const { return As<GetDeviceInformationFunction>(m_getDeviceInformation); }
    auto MergeDevicelistXML() const { return As<MergeDevicelistXMLFunction>(m_mergeDevicelistXML); } ///< optional
    auto QueryDeviceAddress() const { return As<QueryDeviceAddressFunction>(m_queryDeviceAddress); } ///< optional
    auto ShowPropertiesUI() const { return As<ShowPropertiesUIFunction>(m_showPropertiesUI); }       ///< optional

private:
    struct EntrySlot
    {
        const char* name;
        FARPROC KELVFindwellLibrary::*entry;
        bool required;
    };
    static const EntrySlot entrySlots[10];

    template <class Function>
    static Function* As(FARPROC entry)
    {
        // By way of the one function type that compilers let stand for any other.
        return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(entry));
    }

    FARPROC m_getDeviceList = nullptr;
    FARPROC m_getDeviceList_LCode = nullptr;
    FARPROC m_freeDeviceList = nullptr;
    FARPROC m_getPrinterList = nullptr;
    FARPROC m_getSelectedDevice = nullptr;
    FARPROC m_getDeviceInformation = nullptr;
    FARPROC m_getMultiDeviceInformation = nullptr;
    FARPROC m_mergeDevicelistXML = nullptr;
    FARPROC m_queryDeviceAddress = nullptr;
    FARPROC m_showPropertiesUI = nullptr;
    LibraryModule m_module;
};

} // namespace scankelv
