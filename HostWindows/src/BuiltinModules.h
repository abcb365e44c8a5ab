// The system libraries that exist without a file: found by name, as Windows finds its own.
#pragma once

#include <span>
#include <string_view>
#include <windows.h>

namespace hostwindows
{

struct BuiltinExport
{
    std::string_view name; ///< letter case counts
    FARPROC function;
};

struct BuiltinModule
{
    std::u16string_view name; ///< a bare file name with ".dll"
    std::span<const BuiltinExport> exports;

    /// Null when it has no such export.
    FARPROC Find(std::string_view exportName) const;
};

/// The library of a file name without a folder, letter case ignored and ".dll" appended when it has no extension;
/// null when there is none. It lives as long as the process, so that its address serves as its handle.
const BuiltinModule* FindBuiltinModule(std::u16string_view fileName);

} // namespace hostwindows
