#include "BuiltinModules.h"

#include "LetterCase.h"
#include "Shell.h"

#include <algorithm>
#include <string>

namespace hostwindows
{

FARPROC BuiltinModule::Find(std::string_view exportName) const
{
    const auto found = std::ranges::find(exports, exportName, &BuiltinExport::name);
    return found == exports.end() ? nullptr : found->function;
}

const BuiltinModule* FindBuiltinModule(std::u16string_view fileName)
{
    // By way of the one function type that may become any other.
    static const BuiltinExport shellExports[] = {
        {"DllGetVersion", reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&ShellVersion))}};
    static const BuiltinModule modules[] = {{u"Shell32.dll", shellExports}};

    std::u16string name(fileName);
    if (name.find(u'.') == std::u16string::npos)
        name += u".dll";
    for (const BuiltinModule& module : modules)
        if (EqualWithoutCase(module.name, name))
            return &module;
    return nullptr;
}

} // namespace hostwindows
