// The binding of the device search library, which is stored beside the program.
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

    /// Loads a library without the system's error box. Does nothing when one is already loaded. Reports this, and a
    /// library that cannot be loaded, to the debugger console.
    /// @param path  in the system's 8-bit code page, terminated
    /// @return whether a module is loaded
    bool Load(const char* path);
    bool IsLoaded() const { return m_module != nullptr; }
    /// The function of this name; null, after a report to the debugger console, when there is none.
    FARPROC Resolve(const char* name) const;

private:
    HMODULE m_module = nullptr;
};

/// Loads the library and resolves its ten entry points. A library that cannot be loaded or lacks a required entry point
/// is reported to the "KELVFindwellLibrary" logger. Check IsValid afterwards, and an optional entry point for null
/// before each use.
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
        // Through void (*)(): compilers warn about a direct cast between two function types.
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
